// The stamp comes first: when it differs, so may everything else.
#include "mtlsync/verify.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "mtlsync/comparison.h"
#include "mtlsync/local_copy.h"

namespace mtlsync {

namespace {

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

void tellStamp(const LocalFile& stamp, SyncObserver& observer) {
  std::error_code error;
  if (std::filesystem::exists(stamp.path, error)) {
    observer.difference(stamp.name, "stamp", "is not the library's, which has changed since");
  } else {
    observer.difference(stamp.name, "missing", "is missing: no run has been completed");
  }
}

}  // namespace

mtlhost::Result verifyCopy(const Options& options, mtlhost::Library& library,
                           SyncObserver& observer, ErrorEntries& problem) {
  mtlhost::Result result = library.check();
  if (result.code < 0) return result;
  try {
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
  } catch (const std::system_error& error) {
    // A name that this system cannot have.
    problem = {ownError("Could not look for the listed files"), ownError(error.what())};
    return {};
  }
  result.code = observer.record().differences > 0 ? 1 : 0;
  return result;
}

}  // namespace mtlsync
