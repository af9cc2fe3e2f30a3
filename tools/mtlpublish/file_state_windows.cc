// The time of the last change of any kind is told of an open file only.
#include "mtlpublish/file_state.h"
#include "platform/win32.h"

namespace mtlpublish {

namespace {

/// The system counts tenths of microseconds since 1601.
std::int64_t nanosecondsOf(const LARGE_INTEGER& time) {
  constexpr std::int64_t kUntil1970 = 116'444'736'000'000'000;
  constexpr std::uint64_t kPerTick = 100;
  if (time.QuadPart == 0) return 0;
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.QuadPart - kUntil1970) *
                                   kPerTick);
}

std::error_code lastError() {
  return {static_cast<int>(GetLastError()), std::system_category()};
}

}  // namespace

std::error_code readFileState(const std::filesystem::path& path, FileState& state) {
  constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShared, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return lastError();
  FILE_BASIC_INFO times{};
  BY_HANDLE_FILE_INFORMATION info{};
  std::error_code error;
  if (GetFileInformationByHandleEx(file, FileBasicInfo, &times, sizeof(times)) == 0 ||
      GetFileInformationByHandle(file, &info) == 0) {
    error = lastError();
  }
  CloseHandle(file);
  const auto joined = [](DWORD high, DWORD low) {
    return (static_cast<std::uint64_t>(high) << 32U) | low;
  };
  state = {joined(info.nFileSizeHigh, info.nFileSizeLow), nanosecondsOf(times.LastWriteTime),
           nanosecondsOf(times.ChangeTime), joined(info.nFileIndexHigh, info.nFileIndexLow)};
  return error;
}

}  // namespace mtlpublish
