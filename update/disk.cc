// Reads files in pieces, so that a file of any size needs little memory.
#include "update/disk.h"

#include <cstddef>
#include <memory>

namespace mtlupdate {

namespace {

/// Calls `take` with each piece of the rest of the file, until it returns an error.
template <typename Take>
std::error_code readRest(File& file, const ShouldContinue& shouldContinue, Take take) {
  constexpr std::size_t kPiece = 262144;
  // Not a vector, which would be filled first: most files are far smaller.
  const std::unique_ptr<char[]> piece(new char[kPiece]);
  std::uint64_t bytes = 0;
  std::size_t count = 0;
  do {
    std::error_code error = file.read(piece.get(), kPiece, count);
    if (!error) error = take(std::string_view(piece.get(), count));
    if (error) return error;
    bytes += count;
    if (shouldContinue && !shouldContinue(bytes))
      return std::make_error_code(std::errc::operation_canceled);
  } while (count > 0);
  return {};
}

}  // namespace

std::error_code digestRest(File& file, const ShouldContinue& shouldContinue, Sha256& sha256) {
  return readRest(file, shouldContinue, [&](std::string_view piece) {
    sha256.update(piece);
    return std::error_code();
  });
}

std::error_code copyFile(Folder& folder, std::string_view from, std::string_view to,
                         const ShouldContinue& shouldContinue) {
  if (!folder.clone(from, to)) return {};
  File source;
  File copy;
  std::error_code error = folder.openToRead(from, source);
  if (!error) error = folder.openToAppend(to, copy);
  if (error) return error;
  error =
      readRest(source, shouldContinue, [&](std::string_view piece) { return copy.write(piece); });
  const std::error_code closeError = copy.close();
  return error ? error : closeError;
}

std::error_code FolderDisk::look(std::string_view path, Look& found) {
  return folder_.look(path, found);
}

std::error_code FolderDisk::names(std::string_view path, std::vector<std::string>& names) {
  return folder_.names(path, names);
}

std::error_code FolderDisk::digest(std::string_view path, const ShouldContinue& shouldContinue,
                                   Digest& digest) {
  File file;
  Sha256 sha256;
  std::error_code error = folder_.openToRead(path, file);
  if (!error) error = digestRest(file, shouldContinue, sha256);
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
