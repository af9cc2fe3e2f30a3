// Reads and writes the engine's own files. Those that are read whole are small, or as long as the
// list.
#include "update/own_files.h"

#include <cstddef>
#include <vector>

namespace mtlupdate {

Failure diskFailure(const char* what, std::string_view path, const std::error_code& error) {
  Failure failure{Failure::Kind::kDisk, std::string(what) + ": " + systemText(error),
                  std::string(path)};
  failure.system = error;
  return failure;
}

std::error_code readOwnFile(Folder& folder, std::string_view path, std::string& bytes) {
  File file;
  FileIdentity identity;
  std::error_code error = folder.openToRead(path, file);
  if (!error) error = file.identity(identity);
  if (error) return error;
  bytes.resize(static_cast<std::size_t>(identity.size));
  std::size_t size = 0;
  std::size_t count = 1;
  while (!error && count > 0 && size < bytes.size()) {
    error = file.read(bytes.data() + size, bytes.size() - size, count);
    size += count;
  }
  bytes.resize(size);
  return error;
}

std::error_code readPieces(Folder& folder, std::string_view path,
                           const std::function<Outcome(std::string_view)>& take, Outcome& failure) {
  constexpr std::size_t kPiece = 65536;
  File file;
  if (const std::error_code error = folder.openToRead(path, file)) return error;
  std::string piece(kPiece, '\0');
  std::size_t count = 0;
  do {
    if (const std::error_code error = file.read(piece.data(), piece.size(), count)) return error;
    if (count > 0) failure = take({piece.data(), count});
  } while (count > 0 && !failure);
  return {};
}

std::error_code makeOwnFile(Folder& folder, std::string_view path, File& file) {
  const std::error_code error = folder.removeFile(path);
  return error ? error : folder.makeFile(path, file);
}

void dropOldFiles(Folder& folder) {
  std::vector<std::string> names;
  if (folder.names(kOldFolder, names)) return;
  for (const std::string& name : names)
    folder.removeFile(std::string(kOldFolder) + '/' + name);
  folder.removeFolder(kOldFolder);
}

Outcome writeOwnFile(Folder& folder, std::string_view path, std::string_view bytes) {
  File file;
  std::error_code error = makeOwnFile(folder, path, file);
  if (!error) error = file.write(bytes);
  if (!error) error = file.close();
  if (error) return diskFailure("cannot be written", path, error);
  return {};
}

}  // namespace mtlupdate
