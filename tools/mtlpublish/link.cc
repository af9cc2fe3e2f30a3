// What all systems have in common.
#include "mtlpublish/link.h"

namespace mtlpublish {

std::filesystem::path canonicalFolder(const std::filesystem::path& path, std::error_code& error) {
  std::filesystem::path folder = canonicalPath(path, error);
  if (!error && !std::filesystem::is_directory(folder, error) && !error) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  return folder;
}

}  // namespace mtlpublish
