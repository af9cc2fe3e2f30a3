// Reads and replaces whole files.
#include "mtlpublish/whole_file.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <memory>
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

std::error_code readContent(const fs::path& file, std::string& content, std::size_t limit) {
  constexpr std::size_t kPiece = 65536;
  const auto lastError = [] {
    return std::error_code(errno != 0 ? errno : EIO, std::generic_category());
  };
  // Iterators would throw when the system refuses to read.
  content.clear();
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return lastError();
  const std::unique_ptr<char[]> piece(new char[kPiece]);
  while (stream && content.size() < limit) {
    const std::size_t size = std::min(kPiece, limit - content.size());
    stream.read(piece.get(), static_cast<std::streamsize>(size));
    content.append(piece.get(), static_cast<std::size_t>(stream.gcount()));
  }
  return stream.bad() ? lastError() : std::error_code();
}

std::string contentOf(const fs::path& file, std::size_t limit) {
  std::string content;
  return readContent(file, content, limit) ? std::string() : content;
}

std::error_code replaceFile(const fs::path& folder, std::string_view name,
                            std::string_view content) {
  // A temporary file beside the old one is renamed over it when it is complete.
  const fs::path temporary = temporaryIn(folder);
  std::error_code error = writeFile(temporary, content);
  if (!error) error = renameOver(temporary, folder / fs::u8path(name));
  if (error) {
    std::error_code ignored;
    fs::remove(temporary, ignored);
  }
  return error;
}

std::string errorMessage(const std::error_code& error) {
  // Portable errors have portable texts.
  const std::error_condition condition = error.default_error_condition();
  return condition.category() == std::generic_category() ? condition.message() : error.message();
}

}  // namespace mtlpublish
