// Iterators would throw when the system refuses to read.
#include "mtlpublish/file_content.h"

#include <cerrno>
#include <cstddef>
#include <fstream>
#include <memory>

namespace mtlpublish {

std::error_code readContent(const std::filesystem::path& file, std::string& content) {
  constexpr std::size_t kPiece = 65536;
  const auto lastError = [] {
    return std::error_code(errno != 0 ? errno : EIO, std::generic_category());
  };
  content.clear();
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return lastError();
  const std::unique_ptr<char[]> piece(new char[kPiece]);
  while (stream) {
    stream.read(piece.get(), static_cast<std::streamsize>(kPiece));
    content.append(piece.get(), static_cast<std::size_t>(stream.gcount()));
  }
  return stream.bad() ? lastError() : std::error_code();
}

}  // namespace mtlpublish
