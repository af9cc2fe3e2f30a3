// A server that is sending the old file, or a virus scanner that has found the new one,
// is done soon.
#include "mtlpublish/rename_over.h"
#include "platform/win32.h"

namespace mtlpublish {

std::error_code renameOver(const std::filesystem::path& file, const std::filesystem::path& target) {
  constexpr int kAttempts = 40;
  constexpr DWORD kPauseMilliseconds = 50;
  DWORD code = ERROR_SUCCESS;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (MoveFileExW(file.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING) != 0) return {};
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
