// The standard library does it all.
#include "mtlpublish/link.h"

namespace mtlpublish {

namespace fs = std::filesystem;

bool isLink(const fs::path& path) {
  std::error_code error;
  return fs::is_symlink(fs::symlink_status(path, error));
}

fs::path canonicalPath(const fs::path& path, std::error_code& error) {
  return fs::canonical(path, error);
}

}  // namespace mtlpublish
