// A temporary file beside the old one, renamed over it when it is complete.
#include "mtlpublish/replace_file.h"

#include <cerrno>
#include <fstream>
#include <random>
#include <string>

#include "mtlpublish/system.h"
#include "mtlpublish/tree_scan.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

fs::path temporaryIn(const fs::path& folder) {
  std::random_device random;
  std::string name(kTemporaryPrefix);
  name += std::to_string(random()) + std::to_string(random());
  name += kTemporarySuffix;
  return folder / name;
}

std::error_code writeFile(const fs::path& file, std::string_view content) {
  errno = 0;
  std::ofstream stream(file, std::ios::binary);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  stream.close();
  if (stream) return {};
  return {errno != 0 ? errno : EIO, std::generic_category()};
}

}  // namespace

std::error_code replaceFile(const fs::path& folder, std::string_view name,
                            std::string_view content) {
  const fs::path temporary = temporaryIn(folder);
  std::error_code error = writeFile(temporary, content);
  if (!error) error = renameOver(temporary, folder / fs::u8path(name));
  if (error) {
    std::error_code ignored;
    fs::remove(temporary, ignored);
  }
  return error;
}

}  // namespace mtlpublish
