// Rolls back. Everything that could go wrong is checked first; then files are placed, then list
// and stamp written, as in a build, and last what only the newer list has is removed: clients that
// still have that list find all of it until then. A rollback that was cut is finished by the next
// one, which finds the files that are already in place.
#include "mtlpublish/rollback.h"

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "mtlpublish/build_lock.h"
#include "mtlpublish/contained_path.h"
#include "mtlpublish/file_name.h"
#include "mtlpublish/kept_builds.h"
#include "mtlpublish/release_parts.h"
#include "mtlpublish/system.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/views.h"
#include "mtlpublish/whole_file.h"
#include "rules/printable.h"
#include "update/file_digest.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

/// The digests of a build's files by their paths as they are where capitals do not matter.
std::map<std::string, std::string> byFoldedPath(const BuildRecord& build) {
  std::map<std::string, std::string> digests;
  for (const BuildRecord::File& file : build.files)
    digests.emplace(foldedPath(file.path), file.sha256);
  return digests;
}

class Rollback {
 public:
  Rollback(fs::path root, const SigningOptions& signing, std::size_t differences,
           std::chrono::system_clock::time_point now)
      : root_(std::move(root)),
        lockProblem_(lock_.take(root_)),
        signing_(signing),
        signer_(root_, signing_),
        differences_(differences),
        now_(now),
        builds_(root_) {}

  RollbackResult run() {
    addProblem(lockProblem_);
    addProblem(signer_.problem());
    if (result_.problems.empty()) choose();
    if (result_.problems.empty()) compare();
    if (result_.problems.empty()) clearTheWay();
    if (result_.problems.empty()) placeAll();
    if (result_.problems.empty()) publish();
    if (result_.problems.empty()) removeAll(toRemove_);
    if (result_.problems.empty()) builds_.forget(lastNumber_);
    return std::move(result_);
  }

 private:
  void addProblem(std::string problem) {
    if (!problem.empty()) result_.problems.push_back(std::move(problem));
  }
  void addProblem(const std::string& path, const std::string& problem) {
    addProblem(mtlrules::printable(path) + ": " + problem);
  }

  void choose();
  void compare();
  bool hasOtherFiles(const fs::path& folder, const std::map<std::string, std::string>& known) const;
  void clearTheWay();
  void placeAll();
  void removeAll(const std::vector<std::string>& paths);
  void publish();

  fs::path place(const std::string& path) const { return root_ / fs::u8path(path); }
  /// "" for a file that is not there, or is a folder now; none when it cannot be read.
  static std::optional<std::string> digestOf(const fs::path& file);

  fs::path root_;
  // Taken before anything is read, such as the last serial.
  BuildLock lock_;
  std::string lockProblem_;
  const SigningOptions& signing_;
  LibrarySigner signer_;
  std::size_t differences_;
  struct SignedView {
    SignedView(const fs::path& folder, SigningOptions options)
        : signing(std::move(options)), signer(folder, signing) {}
    SigningOptions signing;
    LibrarySigner signer;
  };
  std::deque<SignedView> views_;  // Of the build before.
  std::chrono::system_clock::time_point now_;
  KeptBuilds builds_;
  std::uint64_t lastNumber_ = 0;
  BuildRecord last_;
  BuildRecord before_;
  std::vector<BuildRecord::File> toPlace_;
  std::vector<std::string> toRemove_;
  RollbackResult result_;
};

std::optional<std::string> Rollback::digestOf(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::not_found || fs::is_directory(status)) return "";
  mtlupdate::FileDigest digest;
  if (mtlupdate::digestFile(file, digest)) return std::nullopt;
  return mtlupdate::hexText(*digest.sha256);
}

void Rollback::choose() {
  const std::vector<std::uint64_t> numbers = builds_.numbers();
  if (numbers.size() < 2) {
    return addProblem("no build before the last one is kept: say keep = 1 or more in library.toml");
  }
  lastNumber_ = numbers.back();
  auto last = builds_.read(numbers.back());
  auto before = builds_.read(numbers[numbers.size() - 2]);
  if (!last || !before) return addProblem(std::string(kKeptFolderName), "is damaged");
  last_ = *std::move(last);
  before_ = *std::move(before);
  for (const auto& [subPath, list] : before_.views) {
    SigningOptions signing = signing_;
    signing.library = signer_.libraryName();
    signing.subPath = subPath;
    const SignedView& view = views_.emplace_back(root_ / fs::u8path(subPath), std::move(signing));
    addProblem(view.signer.problem());
  }
}

/// Whether there is anything but folders and these files.
bool Rollback::hasOtherFiles(const fs::path& folder,
                             const std::map<std::string, std::string>& known) const {
  std::error_code error;
  if (!fs::is_directory(fs::symlink_status(folder, error))) return false;
  fs::recursive_directory_iterator entry(folder, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    if (fs::is_directory(entry->symlink_status(error))) continue;
    const fs::path path = entry->path().lexically_relative(root_);
    if (known.count(path.generic_u8string()) == 0) return true;
  }
  return static_cast<bool>(error);
}

void Rollback::compare() {
  std::map<std::string, std::string> latest;
  for (const BuildRecord::File& file : last_.files)
    latest.emplace(file.path, file.sha256);
  const auto latestFolded = byFoldedPath(last_);
  const auto beforeFolded = byFoldedPath(before_);
  for (const BuildRecord::File& file : before_.files) {
    const auto entry = latest.find(file.path);
    const bool isInLast = entry != latest.end();
    const std::string lastDigest = isInLast ? entry->second : "";
    if (isInLast) latest.erase(entry);
    if (lastDigest == file.sha256) continue;
    // Where capitals do not matter, that is the file that is found, and removed.
    const auto namesake = isInLast ? latestFolded.end() : latestFolded.find(foldedPath(file.path));
    const bool hasNamesake = namesake != latestFolded.end();
    const std::optional<std::string> found = digestOf(place(file.path));
    const bool isExpected = found && (*found == file.sha256 || *found == lastDigest ||
                                      (hasNamesake && *found == namesake->second));
    if (!isExpected) {
      addProblem(file.path, "has changed since the last build");
    } else if (*found != file.sha256 || hasNamesake) {
      if (digestOf(builds_.contentFile(file.sha256)) != file.sha256) {
        addProblem(file.path, "its former content is not kept, or damaged");
      }
      toPlace_.push_back(file);
    }
  }
  for (const auto& [path, digest] : latest) {
    const std::optional<std::string> found = digestOf(place(path));
    // After a rollback that was cut.
    const auto namesake = beforeFolded.find(foldedPath(path));
    const bool isPlaced = namesake != beforeFolded.end() && found == namesake->second;
    if (!found || (*found != digest && !found->empty() && !isPlaced)) {
      addProblem(path, "has changed since the last build");
    } else if (!found->empty()) {
      toRemove_.push_back(path);
    }
  }
  for (const BuildRecord::File& file : toPlace_) {
    if (hasOtherFiles(place(file.path), latest)) {
      addProblem(file.path, "a folder has its place, with files that were not published");
    }
  }
}

/// Some files cannot stay until the new list is there: those in the place of a folder that is
/// needed, those below a folder in the place of a file, and those that are the same where capitals
/// do not matter.
void Rollback::clearTheWay() {
  std::set<std::string> needed;  // Files and folders.
  std::set<std::string> files;
  for (const BuildRecord::File& file : toPlace_) {
    std::string path = foldedPath(file.path);
    files.insert(path);
    for (; !path.empty(); path.resize(path.rfind('/') == path.npos ? 0 : path.rfind('/')))
      needed.insert(path);
  }
  const auto canStay = [&](const std::string& removed) {
    std::string path = foldedPath(removed);
    if (needed.count(path) != 0) return false;
    for (; !path.empty(); path.resize(path.rfind('/') == path.npos ? 0 : path.rfind('/'))) {
      if (files.count(path) != 0) return false;
    }
    return true;
  };
  const auto first = std::stable_partition(toRemove_.begin(), toRemove_.end(), canStay);
  const std::vector<std::string> inTheWay(first, toRemove_.end());
  toRemove_.erase(first, toRemove_.end());
  removeAll(inTheWay);
}

void Rollback::removeAll(const std::vector<std::string>& paths) {
  std::error_code error;
  for (const std::string& path : paths) {
    if (!fs::remove(place(path), error))
      return addProblem(path, "cannot be removed: " + errorMessage(error));
    ++result_.removed;
    // A folder that is empty now may be where a file goes.
    for (fs::path folder = place(path).parent_path();
         folder != root_ && fs::is_empty(folder, error) && !error; folder = folder.parent_path())
      fs::remove(folder, error);
  }
}

void Rollback::placeAll() {
  std::error_code error;
  for (const BuildRecord::File& file : toPlace_) {
    const fs::path target = place(file.path);
    const fs::path unfinished = target.parent_path() / (std::string(kTemporaryPrefix) + "rollback" +
                                                        std::string(kTemporarySuffix));
    fs::create_directories(target.parent_path(), error);
    if (!error) fs::remove(unfinished, error);
    if (!error) fs::copy_file(builds_.contentFile(file.sha256), unfinished, error);
    if (!error) error = renameOver(unfinished, target);
    if (error) return addProblem(file.path, "cannot be written: " + errorMessage(error));
    ++result_.placed;
  }
}

void Rollback::publish() {
  std::deque<ReleaseParts> made;
  std::vector<PlacedParts> parts;
  PublishedViews views{readViews(root_).addressPath, {}};
  made.push_back(makeParts(root_, before_, signer_, now_, true, differences_));
  parts.push_back({root_, made.back()});
  for (std::size_t i = 0; i < before_.views.size(); ++i) {
    const auto& [subPath, list] = before_.views[i];
    const fs::path folder = root_ / fs::u8path(subPath);
    made.push_back(makeParts(folder, {{}, list, {}}, views_[i].signer, now_, true, differences_));
    parts.push_back({folder, made.back()});
    views.subPaths.push_back(subPath);
  }
  addProblem(writeParts(root_, parts, views));
  if (!result_.problems.empty()) return;
  result_.id = std::move(made.front().id);
  result_.release = std::move(made.front().release);
}

}  // namespace

RollbackResult rollback(const fs::path& folder, const SigningOptions& signing,
                        std::size_t differences, std::chrono::system_clock::time_point now) {
  std::error_code error;
  const fs::path root = canonicalFolder(folder, error);
  if (!error) return Rollback(root, signing, differences, now).run();
  RollbackResult result;
  result.problems.push_back(mtlrules::printable(folder.u8string()) + ": " + errorMessage(error));
  return result;
}

}  // namespace mtlpublish
