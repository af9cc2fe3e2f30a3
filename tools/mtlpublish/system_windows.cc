// The Windows implementation of system.h.
#include "mtlpublish/system.h"

#include <winsock2.h>
// After the above, which must come first.
#include "platform/win32.h"

#include <algorithm>
#include <string_view>

#include "common/system.h"
#include "platform/windows/wide_text.h"

namespace mtlpublish {

namespace fs = std::filesystem;

namespace {

constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::error_code lastError() {
  return {static_cast<int>(GetLastError()), std::system_category()};
}

/// The system counts tenths of microseconds since 1601.
std::int64_t nanosecondsOf(const LARGE_INTEGER& time) {
  constexpr std::int64_t kUntil1970 = 116'444'736'000'000'000;
  constexpr std::uint64_t kPerTick = 100;
  if (time.QuadPart == 0) return 0;
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.QuadPart - kUntil1970) *
                                   kPerTick);
}

/// "\\?\C:\a" as "C:\a" and "\\?\UNC\server\a" as "\\server\a".
std::wstring withoutPrefix(std::wstring name) {
  constexpr std::wstring_view kShare = L"\\\\?\\UNC\\";
  constexpr std::wstring_view kPrefix = L"\\\\?\\";
  if (name.compare(0, kShare.size(), kShare) == 0) return L"\\\\" + name.substr(kShare.size());
  if (name.compare(0, kPrefix.size(), kPrefix) == 0) return name.substr(kPrefix.size());
  return name;
}

/// Waits until the content is on the disk.
DWORD flush(const fs::path& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return GetLastError();
  const DWORD code = FlushFileBuffers(file) != 0 ? ERROR_SUCCESS : GetLastError();
  CloseHandle(file);
  return code;
}

BOOL WINAPI end(DWORD /*event*/) {
  common::StandardStreams::restore();
  TerminateProcess(GetCurrentProcess(), 0);
  return TRUE;
}

bool isReady(Socket socket, short event, std::chrono::milliseconds time) {
  WSAPOLLFD wait{socket, event, 0};
  return WSAPoll(&wait, 1, static_cast<int>(time.count())) > 0;
}

int sizeOfPiece(std::size_t size) {
  return static_cast<int>(std::min<std::size_t>(size, 1U << 20U));
}

/// Whether a call has failed for this moment only.
bool isToBeRepeated() {
  return WSAGetLastError() == WSAEWOULDBLOCK;
}

}  // namespace

// The time of the last change of any kind is known of an open file only.
std::error_code readFileState(const fs::path& path, FileState& state) {
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

bool isLink(const fs::directory_entry& entry) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(entry.path().c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return false;
  FindClose(search);
  return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         (found.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
          found.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT);
}

// Windows knows what a handle stands for.
fs::path canonicalPath(const fs::path& path, std::error_code& error) {
  // The flag lets folders be opened too.
  const HANDLE file = CreateFileW(path.c_str(), 0, kShared, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    error = lastError();
    return {};
  }
  // As long as a name can be.
  std::wstring name(32768, L'\0');
  const DWORD length =
      GetFinalPathNameByHandleW(file, name.data(), static_cast<DWORD>(name.size()), 0);
  error = length != 0 ? std::error_code() : lastError();
  CloseHandle(file);
  name.resize(length);
  return withoutPrefix(std::move(name));
}

// A server that is sending the old file, or a virus scanner that has found the new one, is
// done soon. A power loss could otherwise leave an empty list, or the new id beside the old list.
std::error_code renameOver(const fs::path& file, const fs::path& target) {
  constexpr int kAttempts = 40;
  constexpr DWORD kPauseMilliseconds = 50;
  constexpr DWORD kHow = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
  DWORD code = flush(file);
  if (code != ERROR_SUCCESS) return {static_cast<int>(code), std::system_category()};
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (MoveFileExW(file.c_str(), target.c_str(), kHow) != 0) return {};
    code = GetLastError();
    const DWORD attributes = GetFileAttributesW(target.c_str());
    const bool isFile = attributes != INVALID_FILE_ATTRIBUTES &&
                        (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) == 0;
    if (!isFile || (code != ERROR_SHARING_VIOLATION && code != ERROR_ACCESS_DENIED)) break;
    Sleep(kPauseMilliseconds);
  }
  return {static_cast<int>(code), std::system_category()};
}

// As the system compares the names of files.
std::error_code createFile(const fs::path& file, std::string_view content, bool /*onlyForUser*/) {
  const HANDLE handle = CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return lastError();
  std::error_code error;
  DWORD written = 0;
  if (WriteFile(handle, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) ==
          0 ||
      FlushFileBuffers(handle) == 0) {
    error = lastError();
  }
  CloseHandle(handle);
  if (error) DeleteFileW(file.c_str());
  return error;
}

std::optional<std::string> askPassword(const std::string& prompt) {
  constexpr DWORD kLongestLine = 1024;
  const auto console = [](const wchar_t* name) {
    return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       nullptr, OPEN_EXISTING, 0, nullptr);
  };
  const HANDLE keyboard = console(L"CONIN$");
  const HANDLE screen = console(L"CONOUT$");
  std::optional<std::string> line;
  DWORD mode = 0;
  if (screen != INVALID_HANDLE_VALUE && GetConsoleMode(keyboard, &mode) != 0) {
    const auto show = [screen](const std::wstring& text) {
      WriteConsoleW(screen, text.data(), static_cast<DWORD>(text.size()), nullptr, nullptr);
    };
    constexpr DWORD kHidden = ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT;
    show(Platform::wideOf(prompt));
    std::wstring typed(kLongestLine, L'\0');
    DWORD length = 0;
    SetConsoleMode(keyboard, (mode | kHidden) & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
    const bool isRead = ReadConsoleW(keyboard, typed.data(), kLongestLine, &length, nullptr) != 0;
    SetConsoleMode(keyboard, mode);
    show(L"\n");
    typed.resize(length);
    typed.resize(std::min(typed.find_first_of(L"\r\n"), typed.size()));
    if (isRead) line = Platform::utf8Of(typed);
  }
  for (const HANDLE handle : {keyboard, screen}) {
    if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
  }
  return line;
}

void endWhenInterrupted() {
  SetConsoleCtrlHandler(end, TRUE);
}

// Other programs may join a port otherwise.
void setSocketOptions(Socket socket) {
  const BOOL yes = TRUE;
  setsockopt(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&yes),
             sizeof(yes));
}

void setUpConnection(Socket socket) {
  u_long yes = 1;
  ioctlsocket(socket, FIONBIO, &yes);
}

std::ptrdiff_t receiveWithin(std::chrono::milliseconds time, Socket socket, char* data,
                             std::size_t size) {
  if (!isReady(socket, POLLRDNORM, time)) return 0;
  const int count = recv(socket, data, sizeOfPiece(size), 0);
  if (count > 0) return count;
  return count < 0 && isToBeRepeated() ? 0 : -1;
}

std::ptrdiff_t sendWithin(std::chrono::milliseconds time, Socket socket, const char* data,
                          std::size_t size) {
  const int count = send(socket, data, sizeOfPiece(size), 0);
  if (count >= 0) return count;
  if (!isToBeRepeated()) return -1;
  // Asked only now: the socket mostly has room.
  isReady(socket, POLLWRNORM, time);
  return 0;
}

void endSending(Socket socket) {
  shutdown(socket, SD_SEND);
}

void closeSocket(Socket socket) {
  closesocket(socket);
}

}  // namespace mtlpublish
