// All that can be refused is found before anything is removed; then the stamp goes first,
// so that a repair that is cut short is made good by any later run. Where nothing differs it
// stays, so that nothing is fetched.
#include "mtlsync/repair.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#include "mtlhost/system.h"
#include "mtlsync/comparison.h"
#include "mtlsync/local_copy.h"

namespace mtlsync {

namespace {

namespace fs = std::filesystem;
using library_list::ListedFile;

/// What a run can make good.
struct Damage {
  std::vector<LocalFile> wrong;  ///< Of another size or content.
  bool isMissing = false;        ///< Whether any file is.
};

/// Links and folders in the place of files are only told of.
bool findDamage(const Options& options, const std::vector<ListedFile>& files,
                SyncObserver& observer, Damage& damage, ErrorEntries& problem) {
  using Kind = Difference::Kind;
  return compareCopy(options, files, observer, [&](const Difference& difference) {
    const LocalFile& file = difference.file;
    if (difference.kind == Kind::kUnreadable) {
      problem = {ownError("Could not look at \"" + file.path.u8string() + "\""),
                 ownError(mtlhost::systemErrorText(difference.error))};
      return false;
    }
    if (difference.kind == Kind::kIrregular) {
      observer.leftAsItIs(file.name);
    } else if (difference.kind == Kind::kMissing) {
      damage.isMissing = true;
    } else {
      damage.wrong.push_back(file);
    }
    return true;
  });
}

bool removeFile(const LocalFile& file, SyncObserver& observer, ErrorEntries& problem) {
  std::error_code error;
  if (fs::remove(file.path, error)) {
    observer.showRemoved(file.name);
    return true;
  }
  // Where the copy's folder is a file, the run says it better.
  if (!error || error == std::errc::not_a_directory) return true;
  problem = {ownError("Could not remove \"" + file.path.u8string() + "\""),
             ownError(mtlhost::systemErrorText(error))};
  return false;
}

// Something that is not a file would stay, and the run would take the copy for complete.
bool isRemovable(const LocalFile& stamp, ErrorEntries& problem) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(stamp.path, error);
  if (!fs::exists(status) || fs::is_regular_file(status)) return true;
  problem = {ownError("The stamp \"" + stamp.path.u8string() + "\" is not a regular file")};
  return false;
}

/// Whether a run would find anything in it.
bool isReadable(const LocalFile& stamp) {
  std::ifstream stream(stamp.path, std::ios::binary);
  return stream.peek() != std::ifstream::traits_type::eof();
}

}  // namespace

bool removeDamaged(const Options& options, const std::vector<ListedFile>& files,
                   SyncObserver& observer, ErrorEntries& problem) {
  try {
    const LocalFile stamp = stampFile(options);
    Damage damage;
    if (!findDamage(options, files, observer, damage, problem)) return false;
    if (damage.wrong.empty() && !damage.isMissing && isReadable(stamp)) return true;
    if (!isRemovable(stamp, problem) || !removeFile(stamp, observer, problem)) return false;
    for (const LocalFile& file : damage.wrong) {
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

std::string leftText(const RunRecord& record) {
  const std::string first = '"' + record.firstLeft + '"';
  if (record.leftAsTheyAre == 1) {
    return "1 listed file is not a regular file, " + first + ": remove it and repair again";
  }
  return std::to_string(record.leftAsTheyAre) +
         " listed files are not regular files, the first of them " + first +
         ": remove them and repair again";
}

}  // namespace mtlsync
