// Fuzz target: the length-prefixed texts of streams, read from any bytes.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "host.h"
#include "qutils/mem_stream.h"

namespace {

// A text is made as long as it is announced before it is read; only those count here
// that take no time.
bool announcesAShortText(QUtils::PStream& stream) {
  constexpr std::int32_t kLongest = 1 << 20;
  std::int32_t length = 0;
  const std::int64_t position = stream.Tell();
  const bool read = !stream.ReadBuffer(&length, sizeof(length));
  stream.Seek(position);
  return !read || length <= kLongest;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  QUtils::PMemStream stream(64);
  stream.WriteBuffer(bytes, static_cast<std::uint32_t>(size));
  std::vector<char> buffer(65535);
  std::uint32_t read = 0;

  stream.Seek(0);
  while (!stream.IsEof()) {
    std::uint16_t length = 0;
    if (stream.ReadPascalStr(buffer.data(), length, read)) break;
  }
  stream.Seek(0);
  while (!stream.IsEof()) {
    std::uint16_t length = 256;
    if (stream.ReadPascalStr1(buffer.data(), length, read)) break;
    require(length <= 256);
  }
  stream.Seek(0);
  while (!stream.IsEof() && announcesAShortText(stream)) {
    QUtils::CharString text;
    if (stream.ReadCharString(text)) break;
    require(static_cast<std::size_t>(text.length()) <= size);
  }
  return 0;
}
