// Reads in pieces, so that a file of any size needs little memory.
#include "digest/file_digest.h"

#include <cerrno>
#include <fstream>
#include <vector>

#include "digest/sha256.h"

namespace digest {

namespace {

constexpr std::size_t kPiece = 262144;

std::error_code lastError() {
  return {errno != 0 ? errno : EIO, std::generic_category()};
}

}  // namespace

std::error_code digestFile(const std::filesystem::path& file, FileDigest& digest,
                           const std::function<bool(std::uint64_t)>& goOn) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return lastError();
  digest.size = 0;
  Sha256 sha256;
  std::vector<char> piece(kPiece);
  while (stream) {
    stream.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    const auto count = static_cast<std::size_t>(stream.gcount());
    sha256.update({piece.data(), count});
    digest.size += count;
    if (goOn && !goOn(digest.size)) return std::make_error_code(std::errc::operation_canceled);
  }
  if (stream.bad()) return lastError();
  digest.sha256 = sha256.finish();
  if (digest.sha256.empty()) return std::make_error_code(std::errc::function_not_supported);
  return {};
}

}  // namespace digest
