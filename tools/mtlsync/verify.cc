// The stamp comes first: when it differs, so may everything else.
#include "mtlsync/verify.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "mtlhost/system.h"
#include "mtlsync/comparison.h"
#include "mtlsync/local_copy.h"
#include "update/file_digest.h"

namespace mtlsync {

namespace {

namespace fs = std::filesystem;

/// The name that programs know the difference by.
const char* nameOf(Difference::Kind kind) {
  switch (kind) {
    case Difference::Kind::kMissing:
      return "missing";
    case Difference::Kind::kIrregular:
      return "irregular";
    case Difference::Kind::kSize:
      return "size";
    case Difference::Kind::kContent:
      return "content";
    case Difference::Kind::kUnreadable:
      return "unreadable";
  }
  return "";
}

bool isFileInPlaceOfFolder(const Options& options) {
  std::error_code error;
  const fs::file_status status = fs::status(fs::u8path(options.directory), error);
  return fs::exists(status) && !fs::is_directory(status);
}

/// The library does not tell why the stamp is not its own.
void tellStamp(const LocalFile& stamp, SyncObserver& observer) {
  using Kind = Difference::Kind;
  const auto tell = [&](Kind kind, const std::string& text) {
    observer.difference(stamp.name, nameOf(kind), text);
  };
  std::error_code error;
  const fs::file_status status = fs::status(stamp.path, error);
  if (!fs::status_known(status)) {
    return tell(Kind::kUnreadable, "cannot be looked at: " + mtlhost::systemErrorText(error));
  }
  if (!fs::exists(status)) return tell(Kind::kMissing, "is missing: no run has been completed");
  if (!fs::is_regular_file(status)) return tell(Kind::kIrregular, "is not a regular file");
  mtlupdate::FileDigest digest;
  error = mtlupdate::digestFile(stamp.path, digest);
  if (error) return tell(Kind::kUnreadable, "cannot be read: " + mtlhost::systemErrorText(error));
  observer.difference(stamp.name, "stamp", "is not the library's, which has changed since");
}

}  // namespace

mtlhost::Result verifyCopy(const Options& options, mtlhost::Library& library,
                           SyncObserver& observer, ErrorEntries& problem) {
  try {
    if (isFileInPlaceOfFolder(options)) {
      problem = {ownError('"' + options.directory + "\" is not a folder")};
      return {};
    }
    mtlhost::Result result = library.check();
    if (result.code < 0) return result;
    if (result.code > 0) tellStamp(stampFile(options), observer);
    std::vector<library_list::ListedFile> files;
    const auto tell = [&](const Difference& difference) {
      observer.difference(difference.file.name, nameOf(difference.kind), difference.text);
      return true;
    };
    if (!fetchFiles(options, observer, files, problem) ||
        !compareCopy(options, files, observer, tell)) {
      return {};
    }
    result.code = observer.record().differences > 0 ? 1 : 0;
    return result;
  } catch (const std::system_error& error) {
    // A name that this system cannot have.
    problem = {ownError("Could not look for the listed files"), ownError(error.what())};
    return {};
  }
}

void tellDifferences(const mtlhost::Result& result, SyncObserver& observer) {
  using Kind = mtlhost::Difference::Kind;
  for (const mtlhost::Difference& difference : result.differences) {
    switch (difference.kind) {
      case Kind::kDamaged:
        observer.difference(difference.path, "content", "is not as the library has it");
        break;
      case Kind::kMissing:
        observer.difference(difference.path, "missing", "is missing");
        break;
      case Kind::kExtra:
        observer.difference(difference.path, "extra", "is not of the library");
        break;
      case Kind::kChanged:
        observer.difference(difference.path, "changed", "was changed, as the library allows");
        break;
    }
  }
}

}  // namespace mtlsync
