// All that can be refused is found before anything is removed; then the stamp goes first,
// so that a repair that is cut short is made good by any later run.
#include "mtlsync/repair.h"

#include <filesystem>
#include <system_error>

#include "mtlsync/comparison.h"
#include "mtlsync/local_copy.h"
#include "mtlsync/printable.h"

namespace mtlsync {

namespace {

namespace fs = std::filesystem;
using library_list::ListedFile;

/// Finds the files whose size or content is wrong. Links and folders in their place are only
/// told of.
bool findDamaged(const Options& options, const std::vector<ListedFile>& files,
                 SyncObserver& observer, std::vector<LocalFile>& damaged, ErrorEntries& problem) {
  using Kind = Difference::Kind;
  return compareCopy(options, files, observer, [&](const Difference& difference) {
    const LocalFile& file = difference.file;
    if (difference.kind == Kind::kUnreadable) {
      problem = {ownError("Could not look at \"" + file.path.u8string() + "\""),
                 ownError(reasonText(difference.error))};
      return false;
    }
    if (difference.kind == Kind::kIrregular) {
      observer.survived(
          ownError('"' + printableLine(file.name) + "\" is not a regular file; left as it is"));
    } else if (difference.kind != Kind::kMissing) {
      damaged.push_back(file);
    }
    return true;
  });
}

bool removeFile(const LocalFile& file, SyncObserver& observer, ErrorEntries& problem) {
  std::error_code error;
  if (fs::remove(file.path, error)) {
    observer.showRemoved(file.name);
  } else if (error) {
    problem = {ownError("Could not remove \"" + file.path.u8string() + "\""),
               ownError(reasonText(error))};
  }
  return !error;
}

// Something that is no file would stay, and the run would take the copy for complete.
bool isRemovable(const LocalFile& stamp, ErrorEntries& problem) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(stamp.path, error);
  if (!fs::exists(status) || fs::is_regular_file(status)) return true;
  problem = {ownError("The stamp \"" + stamp.path.u8string() + "\" is not a regular file")};
  return false;
}

}  // namespace

bool removeDamaged(const Options& options, const std::vector<ListedFile>& files,
                   SyncObserver& observer, ErrorEntries& problem) {
  try {
    const LocalFile stamp = stampFile(options);
    std::vector<LocalFile> damaged;
    if (!findDamaged(options, files, observer, damaged, problem)) return false;
    if (!isRemovable(stamp, problem) || !removeFile(stamp, observer, problem)) return false;
    for (const LocalFile& file : damaged) {
      if (!removeFile(file, observer, problem)) return false;
    }
    return true;
  } catch (const std::system_error& error) {
    // A name that this system cannot have.
    problem = {ownError("Could not look for the listed files"), ownError(error.what())};
    return false;
  }
}

bool prepareRepair(const Options& options, SyncObserver& observer, ErrorEntries& problem) {
  std::vector<ListedFile> files;
  return fetchFiles(options, observer, files, problem) &&
         removeDamaged(options, files, observer, problem);
}

}  // namespace mtlsync
