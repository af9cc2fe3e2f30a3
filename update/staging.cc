// Implements the stage. A staged file has no mark that says it is complete: whoever finds one
// reads it.
#include "update/staging.h"

#include <system_error>
#include <utility>
#include <vector>

#include "update/own_files.h"

namespace mtlupdate {

namespace {

constexpr const char* kValidatorEnd = ".validator";

Failure notDigested() {
  return {Failure::Kind::kDisk, "the system's cryptography library does not work"};
}

Outcome outcomeOf(const char* what, const std::string& path, const std::error_code& error) {
  if (!error) return {};
  if (error == std::errc::operation_canceled) {
    return Failure{Failure::Kind::kCancelled, "the run was stopped"};
  }
  return diskFailure(what, path, error);
}

}  // namespace

std::string stagedPath(const Entry& entry, std::string_view stamp) {
  std::optional<Digest> name = entry.sha256;
  if (!name) {
    Sha256 sha256;
    sha256.update(entry.remotePath);
    sha256.update({"\0", 1});
    sha256.update(stamp);
    name = sha256.finish();
  }
  return std::string(kStageFolder) + '/' + hexText(name);
}

Outcome StagedFile::append(std::string_view bytes) {
  if (const std::error_code error = file_.write(bytes)) {
    return diskFailure("cannot be written", path_, error);
  }
  size_ += bytes.size();
  return {};
}

Outcome StagedFile::restart() {
  sha256_ = Sha256();
  size_ = 0;
  return outcomeOf("cannot be emptied", path_, file_.cutAt(0));
}

Outcome StagedFile::finish(std::optional<Digest>& digest, FileIdentity& identity) {
  std::error_code error = file_.identity(identity);
  const std::error_code closeError = file_.close();
  if (!error) error = closeError;
  if (error) return diskFailure("cannot be written", path_, error);
  digest.reset();
  if (!isDigested_) return {};
  digest = sha256_.finish();
  return digest ? Outcome() : notDigested();
}

Outcome Staging::find(const Entry& entry, const ShouldContinue& shouldContinue, Found& found) {
  found = {};
  const std::string path = stagedPath(entry, stamp_);
  Look look;
  if (Outcome failure = outcomeOf("cannot be examined", path, folder_.look(path, look))) {
    return failure;
  }
  const std::uint64_t size = look.identity.size;
  const bool isAsLarge = !entry.size || size == *entry.size;
  if (look.kind != FileKind::kFile) return {};
  if (entry.sha256 && isAsLarge) {
    Digest digest{};
    const std::error_code error = FolderDisk(folder_).digest(path, shouldContinue, digest);
    if (Outcome failure = outcomeOf("cannot be read", path, error)) return failure;
    if (digest == *entry.sha256) {
      found = {Found::State::kWhole, size, digest, look.identity};
      return {};
    }
  }
  const bool mayBePart = size > 0 && (entry.size ? size < *entry.size : true);
  if (!mayBePart) return discard(entry);
  found.state = Found::State::kPart;
  found.size = size;
  return {};
}

Outcome Staging::open(const Entry& entry, bool anew, StagedFile& file) {
  StagedFile opened;
  opened.path_ = stagedPath(entry, stamp_);
  opened.isDigested_ = entry.sha256.has_value();
  // As a rule there is none.
  std::error_code error = folder_.makeFile(opened.path_, opened.file_);
  if (error == std::errc::no_such_file_or_directory) {
    error = folder_.makeFolders(kStageFolder);
    if (!error) error = folder_.makeFile(opened.path_, opened.file_);
  }
  if (!error) {
    file = std::move(opened);
    return {};
  }
  if (error == std::errc::file_exists) error = folder_.openToAppend(opened.path_, opened.file_);
  if (error == std::errc::too_many_links) {
    error = makeOwnFile(folder_, opened.path_, opened.file_);
  }
  FileIdentity identity;
  if (!error) error = opened.file_.identity(identity);
  if (error) return diskFailure("cannot be opened", opened.path_, error);
  opened.size_ = identity.size;
  if (anew && identity.size > 0) {
    if (Outcome failure = opened.restart()) return failure;
  } else if (opened.isDigested_ && identity.size > 0) {
    if (Outcome failure = readPart(opened)) return failure;
  }
  file = std::move(opened);
  return {};
}

// Writing continues where reading ended, at the end of the file as it was when it was opened.
Outcome Staging::readPart(StagedFile& file) {
  File part;
  std::error_code error = folder_.openToRead(file.path_, part);
  if (!error) {
    error = digestRest(
        part,
        [&](std::uint64_t bytes) {
          file.size_ = bytes;
          return true;
        },
        file.sha256_);
  }
  return outcomeOf("cannot be read", file.path_, error);
}

Outcome Staging::copy(const Entry& entry, std::string_view path,
                      const ShouldContinue& shouldContinue, Found& found) {
  if (Outcome failure = discard(entry)) return failure;
  std::error_code error = folder_.makeFolders(kStageFolder);
  if (Outcome failure = outcomeOf("cannot be made", kStageFolder, error)) return failure;
  const auto isNotTheSame = [&] {
    return Failure{Failure::Kind::kContent, "has changed in the meantime", std::string(path)};
  };
  error = copyFile(folder_, path, stagedPath(entry, stamp_), shouldContinue);
  if (error == std::errc::no_such_file_or_directory) return isNotTheSame();
  if (Outcome failure = outcomeOf("cannot be copied", std::string(path), error)) return failure;
  if (Outcome failure = find(entry, shouldContinue, found)) return failure;
  if (found.state == Found::State::kWhole) return {};
  found = {};
  if (Outcome failure = discard(entry)) return failure;
  return isNotTheSame();
}

std::string Staging::validator(const Entry& entry) {
  std::string text;
  const bool isThere = !readOwnFile(folder_, stagedPath(entry, stamp_) + kValidatorEnd, text);
  return isThere ? text : "";
}

Outcome Staging::keepValidator(const Entry& entry, std::string_view validator) {
  return writeOwnFile(folder_, stagedPath(entry, stamp_) + kValidatorEnd, validator);
}

Outcome Staging::discard(const Entry& entry) {
  const std::string path = stagedPath(entry, stamp_);
  std::error_code error = folder_.removeFile(path);
  if (!error) error = folder_.removeFile(path + kValidatorEnd);
  return outcomeOf("cannot be removed", path, error);
}

Outcome Staging::keepOnly(const std::unordered_set<std::string>& paths) {
  std::vector<std::string> names;
  if (folder_.names(kStageFolder, names)) return {};
  for (const std::string& name : names) {
    const std::string path = std::string(kStageFolder) + '/' + name;
    const std::string content = path.substr(0, path.rfind(kValidatorEnd));
    if (paths.count(content) != 0) continue;
    const std::error_code error = folder_.removeFile(path);
    if (Outcome failure = outcomeOf("cannot be removed", path, error)) return failure;
  }
  return outcomeOf("cannot be removed", kStageFolder,
                   paths.empty() ? folder_.removeFolder(kStageFolder) : std::error_code());
}

bool hasStagedContents(Folder& folder) {
  std::vector<std::string> names;
  return !folder.names(kStageFolder, names) && !names.empty();
}

}  // namespace mtlupdate
