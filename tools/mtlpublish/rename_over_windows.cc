// A server that is sending the old file, or a virus scanner that has found the new one,
// is done soon.
#include "mtlpublish/rename_over.h"
#include "platform/win32.h"

namespace mtlpublish {

namespace {

/// Waits until the content is on the disk.
DWORD flush(const std::filesystem::path& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return GetLastError();
  const DWORD code = FlushFileBuffers(file) != 0 ? ERROR_SUCCESS : GetLastError();
  CloseHandle(file);
  return code;
}

}  // namespace

// A power loss could otherwise leave an empty list, or the new id beside the old list.
std::error_code renameOver(const std::filesystem::path& file, const std::filesystem::path& target) {
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

}  // namespace mtlpublish
