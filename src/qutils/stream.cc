// Implements the string formats that all streams share, in terms of Read and Write. Lengths are
// little-endian on every machine.
#include "qutils/stream.h"

#include <cstring>
#include <utility>

#include "plugin/error_chain.h"

namespace QUtils {
namespace {

// Gives `text` a record of its own and a length of `length`: what is longer is cut,
// what is shorter is filled with spaces. False when memory runs out.
bool resizeText(CharString& text, std::int32_t length) {
  if (length <= 0) {
    text.release();
    return true;
  }
  const std::int64_t size = std::int64_t{length} + 1;
  CharString resized = CharString::withSize(size);
  if (resized.data() == nullptr) return false;
  const auto kept = boundedCopy(resized.data(), text.text(), size) - 1;
  std::memset(resized.data() + kept, ' ', static_cast<std::size_t>(length - kept));
  resized.data()[length] = '\0';
  text = std::move(resized);
  return true;
}

}  // namespace

PStream::~PStream() = default;

ErrorChain PStream::WritePascalStr(const char* text, std::uint16_t length, std::uint32_t& written) {
  if (ErrorChain error = Write2(length, written)) return error;
  if (written < 2) {
    return makeError("PStream::WritePascalStr", -1, "%i of %i bytes written", written, 2);
  }
  if (length == 0) return {};
  if (ErrorChain error = Write(text, length, written)) return error;
  written += 2;
  return {};
}

ErrorChain PStream::ReadBuffer(void* bytes, std::uint32_t size) {
  std::uint32_t read = 0;
  ErrorChain error = Read(bytes, static_cast<std::int32_t>(size), read);
  if (!error && read != size) {
    pushError(error, "PStream::ReadBuffer", -1, "Expected %i bytes, got %i", size, read);
  }
  return error;
}

ErrorChain PStream::ReadPascalStr(char* buffer, std::uint16_t& length, std::uint32_t& read) {
  length = 0;
  std::uint16_t stored = 0;
  if (ErrorChain error = Read2(stored, read)) return error;
  if (read != 2) {
    return makeError("PStream::ReadPascalStr", -1, "expected %i bytes, got %i", 2, read);
  }
  if (stored == 0) return {};
  if (ErrorChain error = ReadBuffer(buffer, stored)) return error;
  read += 2;
  length = stored;
  return {};
}

ErrorChain PStream::ReadPascalStr1(char* buffer, std::uint16_t& length, std::uint32_t& read) {
  constexpr const char* kTag = "PStream::ReadPascalStr1";
  std::uint16_t stored = 0;
  if (ErrorChain error = Read2(stored, read)) return error;
  if (read != 2) return makeError(kTag, -1, "expected %i bytes, got %i", 2, read);
  if (stored == 0) return {};
  if (stored > length - 1) {
    return makeError(kTag, -1, "Buffer length = %i too short for %i characters", length, stored);
  }
  if (ErrorChain error = ReadBuffer(buffer, stored)) return error;
  buffer[stored] = '\0';
  read += 2;
  length = stored;
  return {};
}

ErrorChain PStream::WriteCharString(const CharString& text) {
  const auto length = static_cast<std::uint32_t>(text.length());
  if (ErrorChain error = WriteBuffer4(static_cast<std::int32_t>(length))) return error;
  std::uint32_t written = 0;
  ErrorChain error = Write(text.text(), length, written);
  if (written != length) {
    pushError(error, "PStream::WriteBuffer", -1, "%i of %i bytes written", written, length);
  }
  return error;
}

ErrorChain PStream::ReadCharString(CharString& text) {
  constexpr const char* kTag = "PStream::ReadCharString";
  std::int32_t length = 0;
  if (ErrorChain error = ReadBuffer4(length)) return error;
  // The length comes from outside and may be anything.
  if (!resizeText(text, length)) return makeError(kTag, -1, "Out of memory");
  char nothing = '\0';
  std::uint32_t read = 0;
  if (ErrorChain error = Read(length > 0 ? text.data() : &nothing, length, read)) return error;
  if (read != static_cast<std::uint32_t>(length)) {
    return makeError(kTag, -1, "expected %i bytes, got %i", length, read);
  }
  return {};
}

ErrorChain PStream::Truncate() {
  return makeError("PStream::Truncate", -1, "Not implemented");
}

ErrorChain PStream::WriteBuffer(const void* bytes, std::uint32_t size) {
  std::uint32_t written = 0;
  ErrorChain error = Write(bytes, size, written);
  if (!error && written != size) {
    pushError(error, "PStream::WriteBuffer", -1, "%i of %i bytes written", written, size);
  }
  return error;
}

ErrorChain PStream::Read2(std::uint16_t& value, std::uint32_t& read) {
  unsigned char bytes[2] = {};
  ErrorChain error = Read(bytes, sizeof(bytes), read);
  value = static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
  return error;
}

ErrorChain PStream::Write2(std::uint16_t value, std::uint32_t& written) {
  const unsigned char bytes[2] = {static_cast<unsigned char>(value),
                                  static_cast<unsigned char>(value >> 8)};
  return Write(bytes, sizeof(bytes), written);
}

ErrorChain PStream::ReadBuffer4(std::int32_t& value) {
  unsigned char bytes[4] = {};
  ErrorChain error = ReadBuffer(bytes, sizeof(bytes));
  std::uint32_t result = 0;
  for (int i = 3; i >= 0; --i)
    result = result << 8 | bytes[i];
  value = static_cast<std::int32_t>(result);
  return error;
}

ErrorChain PStream::WriteBuffer4(std::int32_t value) {
  unsigned char bytes[4];
  auto rest = static_cast<std::uint32_t>(value);
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(rest);
    rest >>= 8;
  }
  return WriteBuffer(bytes, sizeof(bytes));
}

}  // namespace QUtils
