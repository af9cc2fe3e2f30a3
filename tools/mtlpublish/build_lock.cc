// Locks a library's folder. The lock file is never removed: otherwise a build could remove the
// file that another build has just locked.
#include "mtlpublish/build_lock.h"

#include <cstdint>
#include <system_error>

#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"

namespace mtlpublish {

std::string BuildLock::take(const std::filesystem::path& root) {
  std::error_code error = folder_.open(root.u8string(), false);
  std::int64_t holder = 0;
  if (!error) error = folder_.lock(kLockName, file_, holder);
  if (!error) return {};
  if (error != std::errc::resource_unavailable_try_again) {
    return std::string(kLockName) + ": cannot be locked: " + errorMessage(error);
  }
  return "another build is at work on this folder" +
         (holder != 0 ? ": process " + std::to_string(holder) : std::string());
}

}  // namespace mtlpublish
