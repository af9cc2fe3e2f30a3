// Files are read in pieces, so that one of any size needs little memory.
#include "update/disk.h"

#include <cstddef>
#include <memory>

namespace mtlupdate {

std::error_code digestRest(File& file, const GoOn& goOn, Sha256& sha256) {
  constexpr std::size_t kPiece = 262144;
  // Not a vector, which would be filled first: most files are far smaller.
  const std::unique_ptr<char[]> piece(new char[kPiece]);
  std::uint64_t bytes = 0;
  std::size_t count = 0;
  do {
    if (const std::error_code error = file.read(piece.get(), kPiece, count)) return error;
    sha256.update({piece.get(), count});
    bytes += count;
    if (goOn && !goOn(bytes)) return std::make_error_code(std::errc::operation_canceled);
  } while (count > 0);
  return {};
}

std::error_code FolderDisk::look(std::string_view path, Look& found) {
  return folder_.look(path, found);
}

std::error_code FolderDisk::digest(std::string_view path, const GoOn& goOn, Digest& digest) {
  File file;
  Sha256 sha256;
  std::error_code error = folder_.openToRead(path, file);
  if (!error) error = digestRest(file, goOn, sha256);
  if (error) return error;
  const std::optional<Digest> result = sha256.finish();
  if (!result) return std::make_error_code(std::errc::function_not_supported);
  digest = *result;
  return {};
}

std::optional<std::uint64_t> FolderDisk::freeRoom() {
  return folder_.freeRoom();
}

}  // namespace mtlupdate
