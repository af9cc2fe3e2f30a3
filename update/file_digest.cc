// Reads files in pieces, so that a file of any size needs little memory.
#include "update/file_digest.h"

#include <cerrno>
#include <fstream>
#include <memory>

namespace mtlupdate {

namespace {

constexpr std::size_t kPiece = 262144;

std::error_code streamError() {
  return {errno != 0 ? errno : EIO, std::generic_category()};
}

}  // namespace

std::error_code digestFile(const std::filesystem::path& file, FileDigest& digest,
                           const std::function<bool(std::uint64_t)>& shouldContinue) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return streamError();
  digest.size = 0;
  Sha256 sha256;
  // Not a vector, which would be filled first: most files are far smaller.
  const std::unique_ptr<char[]> piece(new char[kPiece]);
  while (stream) {
    stream.read(piece.get(), static_cast<std::streamsize>(kPiece));
    const auto count = static_cast<std::size_t>(stream.gcount());
    sha256.update({piece.get(), count});
    digest.size += count;
    if (shouldContinue && !shouldContinue(digest.size))
      return std::make_error_code(std::errc::operation_canceled);
  }
  if (stream.bad()) return streamError();
  digest.sha256 = sha256.finish();
  if (!digest.sha256) return std::make_error_code(std::errc::function_not_supported);
  return {};
}

}  // namespace mtlupdate
