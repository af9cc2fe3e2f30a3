// Windows knows what a handle stands for; the tag of a name tells whether it is a link.
#include "mtlpublish/link.h"

#include <string>
#include <string_view>

#include "platform/win32.h"

namespace mtlpublish {

namespace fs = std::filesystem;

namespace {

/// "\\?\C:\a" as "C:\a" and "\\?\UNC\server\a" as "\\server\a".
std::wstring withoutPrefix(std::wstring name) {
  constexpr std::wstring_view kShare = L"\\\\?\\UNC\\";
  constexpr std::wstring_view kPrefix = L"\\\\?\\";
  if (name.compare(0, kShare.size(), kShare) == 0) return L"\\\\" + name.substr(kShare.size());
  if (name.compare(0, kPrefix.size(), kPrefix) == 0) return name.substr(kPrefix.size());
  return name;
}

std::error_code lastError() {
  return {static_cast<int>(GetLastError()), std::system_category()};
}

}  // namespace

bool isLink(const fs::path& path) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return false;
  FindClose(search);
  return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         (found.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
          found.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT);
}

fs::path canonicalPath(const fs::path& path, std::error_code& error) {
  constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
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

}  // namespace mtlpublish
