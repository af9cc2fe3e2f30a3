// Readers keep the old file.
#include "mtlpublish/rename_over.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

/// Waits until the file, or the names in the folder, are on the disk.
std::error_code flush(const fs::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return {errno, std::generic_category()};
  std::error_code error;
  if (fsync(descriptor) != 0) error = {errno, std::generic_category()};
  close(descriptor);
  return error;
}

}  // namespace

// A system may put names on the disk before contents, and one name before another that was
// made earlier. Without the first flush, a power loss could leave an empty list; without the
// second, the new id beside the old list.
std::error_code renameOver(const fs::path& file, const fs::path& target) {
  std::error_code error = flush(file);
  if (!error) fs::rename(file, target, error);
  // Some file systems cannot do that to a folder; the new name is there all the same.
  if (!error) static_cast<void>(flush(target.parent_path()));
  return error;
}

}  // namespace mtlpublish
