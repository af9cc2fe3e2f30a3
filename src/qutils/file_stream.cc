// Implements PFileStream. Each operation is one system call; if it fails, the system's message
// becomes the error record.
#include "qutils/file_stream.h"

#include <cstring>
#include <utility>

#include "plugin/error_chain.h"
#include "qutils/system_error.h"

namespace QUtils {
namespace {

constexpr std::uint32_t kLowModeBits = 3;

ErrorChain systemError(const char* tag, DWORD code) {
  return makeError(tag, static_cast<std::int32_t>(code), "%s", systemErrorText(code).text());
}

ErrorChain resultOf(BOOL success, const char* tag) {
  if (success != FALSE) return {};
  return systemError(tag, GetLastError());
}

// 64 bits as the system calls return them: the low half as the result, the high half
// through a pointer.
struct Halves {
  DWORD low;
  DWORD high;

  // The low half alone does not show this: it may be that of a position.
  bool failed() const { return low == INVALID_SET_FILE_POINTER && GetLastError() != ERROR_SUCCESS; }
  // -1 on failure.
  std::int64_t join() const {
    return failed() ? -1 : static_cast<std::int64_t>(std::uint64_t{high} << 32 | low);
  }
};

Halves movePointer(HANDLE handle, std::int64_t offset, DWORD method) {
  auto high = static_cast<LONG>(offset >> 32);
  const DWORD low = SetFilePointer(handle, static_cast<LONG>(offset), &high, method);
  return {low, static_cast<DWORD>(high)};
}

Platform::Utf8Text duplicate(const char* text) {
  if (text == nullptr) return nullptr;
  const std::size_t size = std::strlen(text) + 1;
  Platform::Utf8Text copy(static_cast<char*>(qmalloc(size)));
  if (copy != nullptr) std::memcpy(copy.get(), text, size);
  return copy;
}

DWORD openDisposition(std::uint32_t mode) {
  if ((mode & PFS_MODE_CREATE_NEW) != 0) return CREATE_NEW;
  switch (mode & kLowModeBits) {
    case PFS_MODE_OPEN_ALWAYS:
      return OPEN_ALWAYS;
    case PFS_MODE_CREATE_ALWAYS:
      return CREATE_ALWAYS;
    default:
      return OPEN_EXISTING;
  }
}

DWORD createDisposition(std::uint32_t mode) {
  if ((mode & PFS_MODE_CREATE_NEW) != 0) return CREATE_NEW;
  return (mode & kLowModeBits) == PFS_MODE_APPEND ? OPEN_ALWAYS : CREATE_ALWAYS;
}

DWORD fileFlags(std::uint32_t mode) {
  DWORD flags = 0;
  if ((mode & PFS_MODE_SEQUENTIAL) != 0) flags |= FILE_FLAG_SEQUENTIAL_SCAN;
  if ((mode & PFS_MODE_WRITE_THROUGH) != 0) flags |= FILE_FLAG_WRITE_THROUGH;
  return flags;
}

}  // namespace

PFileStream::~PFileStream() {
  if (handle != nullptr) CloseHandle(handle);
}

ErrorChain PFileStream::Open() {
  return openHandle("PFileStream::Open", access, shareMode, openDisposition(mode), mode);
}

ErrorChain PFileStream::Create(const char* name, std::uint32_t createMode) {
  if (name != nullptr) fileName = duplicate(name);
  const DWORD disposition = createDisposition(createMode);
  ErrorChain error = openHandle("PFileStream::Create", GENERIC_READ | GENERIC_WRITE,
                                FILE_SHARE_READ, disposition, createMode);
  if (!error && disposition == OPEN_ALWAYS) movePointer(handle, 0, FILE_END);
  return error;
}

ErrorChain PFileStream::openHandle(const char* tag, std::uint32_t desiredAccess,
                                   std::uint32_t sharing, std::uint32_t disposition,
                                   std::uint32_t openMode) {
  if (fileName == nullptr || fileName[0] == '\0') return makeError(tag, -1, "Empty file name");
  const Platform::WideText name = Platform::duplicateAsWide(fileName.get());
  handle = CreateFileW(name.get(), desiredAccess, sharing, nullptr, disposition,
                       fileFlags(openMode), nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    const DWORD code = GetLastError();
    handle = nullptr;
    return systemError(tag, code);
  }
  ++openCount;
  return {};
}

ErrorChain PFileStream::OpenFile(const char* name, std::uint32_t desiredAccess,
                                 std::uint32_t sharing, std::uint32_t openMode) {
  if (ErrorChain error = SetFileParams(name, desiredAccess, sharing, openMode)) return error;
  return Open();
}

ErrorChain PFileStream::SetFileParams(const char* name, std::uint32_t desiredAccess,
                                      std::uint32_t sharing, std::uint32_t openMode) {
  fileName = duplicate(name);
  access = desiredAccess;
  shareMode = sharing;
  mode = openMode;
  return {};
}

ErrorChain PFileStream::Close() {
  const BOOL success = CloseHandle(std::exchange(handle, nullptr));
  if (success != FALSE) --openCount;
  return resultOf(success, "PFileStream::Close");
}

ErrorChain PFileStream::Flush() {
  return resultOf(FlushFileBuffers(handle), "PFileStream::Flush");
}

ErrorChain PFileStream::Write(const void* bytes, std::uint32_t size, std::uint32_t& written) {
  DWORD count = 0;
  const BOOL success = WriteFile(handle, bytes, size, &count, nullptr);
  written = static_cast<std::uint32_t>(count);
  return resultOf(success, "PFileStream::Write");
}

ErrorChain PFileStream::WriteString(const char* text) {
  const auto length = static_cast<std::uint32_t>(std::strlen(text));
  std::uint32_t written = 0;
  ErrorChain error = Write(text, length, written);
  if (written != length) {
    pushError(error, "PStream::WriteBuffer", -1, "%i of %i bytes written", written, length);
  }
  return error;
}

ErrorChain PFileStream::Read(void* bytes, std::int32_t size, std::uint32_t& read) {
  read = 0;
  // The system would take a negative size, which can come out of a damaged file, for
  // one of gigabytes and write past the buffer.
  if (size < 0) return makeError("PFileStream::Read", -1, "Invalid read size (%d)", size);
  DWORD count = 0;
  const BOOL success = ReadFile(handle, bytes, static_cast<DWORD>(size), &count, nullptr);
  read = static_cast<std::uint32_t>(count);
  return resultOf(success, "PFileStream::Read");
}

ErrorChain PFileStream::Seek(std::int64_t position) {
  return seekFrom("PFileStream::Seek", position, FILE_BEGIN);
}

ErrorChain PFileStream::SeekOff(std::int64_t offset) {
  return seekFrom("PFileStream::SeekOff", offset, FILE_CURRENT);
}

ErrorChain PFileStream::SeekEnd(std::int64_t offset) {
  return seekFrom("PFileStream::SeekEnd", offset, FILE_END);
}

ErrorChain PFileStream::seekFrom(const char* tag, std::int64_t offset, DWORD method) {
  return resultOf(movePointer(handle, offset, method).failed() ? FALSE : TRUE, tag);
}

std::int64_t PFileStream::GetSize() {
  DWORD high = 0;
  const DWORD low = GetFileSize(handle, &high);
  return Halves{low, high}.join();
}

ErrorChain PFileStream::Truncate() {
  return resultOf(SetEndOfFile(handle), "PFileStream::Truncate");
}

std::int64_t PFileStream::Tell() {
  return movePointer(handle, 0, FILE_CURRENT).join();
}

bool PFileStream::IsEof() {
  return Tell() >= GetSize();
}

int PFileStream::IsOpened() {
  return openCount;
}

std::int64_t PFileStream::GetFileSizeByName(const char* name) {
  WIN32_FIND_DATAW data;
  HANDLE search = FindFirstFileW(Platform::duplicateAsWide(name).get(), &data);
  if (search == INVALID_HANDLE_VALUE) return -1;
  FindClose(search);
  return static_cast<std::int64_t>(std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow);
}

}  // namespace QUtils
