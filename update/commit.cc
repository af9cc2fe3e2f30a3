// Commits an update. Everything that takes time, or can fail for lack of room, is done before the
// first rename: creating folders, copying contents that several files have, and writing the state
// and the stamp.
#include "update/commit.h"

#include <algorithm>
#include <cstddef>
#include <system_error>
#include <utility>

#include "rules/own_names.h"
#include "rules/path.h"
#include "update/disk.h"
#include "update/own_files.h"
#include "update/staging.h"

namespace mtlupdate {

namespace {

std::string folderOf(std::string_view path) {
  const std::size_t end = path.rfind('/');
  return std::string(path.substr(0, end == path.npos ? 0 : end));
}

class Commit {
 public:
  Commit(Folder& folder, Plan& plan, const StagedContents& staged, const CommitTarget& target,
         CommitResult& result)
      : folder_(folder), plan_(plan), staged_(staged), target_(target), result_(result) {}

  Outcome run() {
    stampPath_ = mtlrules::plainPath(mtlrules::stampName(target_.subPath));
    if (Outcome failure = checkStamp()) return failure;
    if (Outcome failure = prepareFiles()) return failure;
    if (Outcome failure = prepareState()) return failure;
    if (Outcome failure = flush()) return failure;
    if (!target_.trusted.empty()) {
      if (Outcome failure = rename(kNewTrustedFile, kTrustedFile)) return failure;
    }
    keepOldFiles();
    if (Outcome failure = clearTheWay()) return failure;
    if (Outcome failure = placeFiles()) return failure;
    if (Outcome failure = removeWithdrawn()) return failure;
    return result_.busy.empty() ? finish() : Outcome{};
  }

 private:
  // Renaming over a link would remove it.
  Outcome checkStamp() {
    Look look;
    if (const std::error_code error = folder_.look(stampPath_, look)) {
      return diskFailure("cannot be examined", stampPath_, error);
    }
    if (look.kind == FileKind::kNone) return {};
    if (look.kind == FileKind::kFile && look.blockedBy.empty()) return {};
    return Failure{Failure::Kind::kDisk, "what is in the place of the stamp is not a file",
                   look.blockedBy.empty() ? stampPath_ : look.blockedBy};
  }

  Outcome prepareFiles() {
    if (Outcome failure = makeFolder(kNewStateFile)) return failure;
    if (Outcome failure = makeFolder(stampPath_)) return failure;
    isWayFree_ = plan_.foldersInTheWay.empty() &&
                 std::none_of(plan_.withdrawn.begin(), plan_.withdrawn.end(),
                              [](const Plan::Withdrawn& file) { return file.isInTheWay; });
    uses_.assign(plan_.contents, 0);
    for (const Plan::Place& place : plan_.place) {
      // Otherwise something may still be there.
      if (isWayFree_) {
        if (Outcome failure = makeFolder(place.entry->path)) return failure;
      }
      if (Outcome failure = prepare(place)) return failure;
    }
    return {};
  }

  /// Where the content of a file is until it is in its place: the first of those that have one
  /// takes the content itself, all others a copy.
  std::string preparedPath(const Plan::Place& place, std::size_t use) const {
    std::string path = stagedPath(*place.entry, target_.stamp);
    if (use > 0) path.append(1, '.').append(std::to_string(use));
    return path;
  }

  Outcome prepare(const Plan::Place& place) {
    const Entry& entry = *place.entry;
    const Staging::Found& content = staged_.at(place.content);
    if (content.state != Staging::Found::State::kWhole) {
      return Failure{Failure::Kind::kContent, "is not staged", std::string(entry.path)};
    }
    FileIdentity identity = content.identity;
    if (const std::size_t use = uses_[place.content]++; use > 0) {
      if (Outcome failure =
              copyContent(preparedPath(place, 0), preparedPath(place, use), identity)) {
        return failure;
      }
    }
    plan_.next.add({entry.path, identity, content.digest, true});
    return {};
  }

  Outcome copyContent(const std::string& from, const std::string& to, FileIdentity& identity) {
    std::error_code error = folder_.removeFile(to);
    if (!error) error = copyFile(folder_, from, to);
    Look look;
    if (!error) error = folder_.look(to, look);
    if (error) return diskFailure("cannot be copied", from, error);
    identity = look.identity;
    return {};
  }

  Outcome makeFolder(std::string_view path) {
    const std::string name = folderOf(path);
    if (name == lastFolder_) return {};
    if (const std::error_code error = folder_.makeFolders(name)) {
      return diskFailure("the folder cannot be made", name, error);
    }
    lastFolder_ = name;
    return {};
  }

  Outcome prepareState() {
    plan_.next.address = target_.address;
    plan_.next.subPath = target_.subPath;
    plan_.next.stamp = target_.stamp;
    if (Outcome failure = writeOwnFile(folder_, kNewStateFile, stateBytes(plan_.next)))
      return failure;
    if (!target_.trusted.empty()) {
      if (Outcome failure = writeOwnFile(folder_, kNewTrustedFile, target_.trusted)) return failure;
    }
    return writeOwnFile(folder_, kNewStampFile, target_.stamp);
  }

  Outcome flush() {
    std::vector<const char*> own{kNewStateFile, kNewStampFile};
    if (target_.hasNewList) own.push_back(kNewListFile);
    if (!target_.trusted.empty()) own.push_back(kNewTrustedFile);
    uses_.assign(plan_.contents, 0);
    const auto path = [&](std::size_t i) {
      if (i < own.size()) return std::string(own[i]);
      const Plan::Place& place = plan_.place[i - own.size()];
      return preparedPath(place, uses_[place.content]++);
    };
    if (const std::error_code error = folder_.flush(own.size() + plan_.place.size(), path)) {
      return diskFailure("cannot be made durable", "", error);
    }
    return {};
  }

  // So that renaming over them takes no time.
  void keepOldFiles() {
    bool isKept = plan_.filesReplaced > 0 && !folder_.makeFolders(kOldFolder);
    std::size_t number = 0;
    for (const Plan::Place& place : plan_.place) {
      if (!isKept) return;
      if (!place.replaces) continue;
      const std::string old = std::string(kOldFolder) + '/' + std::to_string(number++);
      isKept = !folder_.link(place.entry->path, old);
    }
  }

  // Files and folders whose names the list has now given to folders and files.
  Outcome clearTheWay() {
    for (const Plan::Withdrawn& file : plan_.withdrawn) {
      if (!file.isInTheWay) continue;
      if (Outcome failure = remove(file)) return failure;
    }
    for (const std::string& path : plan_.foldersInTheWay) {
      const std::error_code error = folder_.removeFolder(path);
      if (Outcome failure = judge("cannot be removed", path, error)) return failure;
    }
    lastFolder_.clear();
    return {};
  }

  Outcome placeFiles() {
    const auto begin = std::chrono::steady_clock::now();
    uses_.assign(plan_.contents, 0);
    for (const Plan::Place& place : plan_.place) {
      const std::string_view path = place.entry->path;
      const std::string from = preparedPath(place, uses_[place.content]++);
      if (!isWayFree_) {
        if (Outcome failure = makeFolder(path)) {
          // What is in use may be where the folder goes.
          if (result_.busy.empty()) return failure;
          continue;
        }
      }
      const std::error_code error = folder_.replace(from, path);
      if (Outcome failure = judge("cannot be replaced", path, error)) return failure;
      if (!error) result_.changed.emplace_back(path);
    }
    result_.renaming = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - begin);
    return {};
  }

  Outcome removeWithdrawn() {
    for (const Plan::Withdrawn& file : plan_.withdrawn) {
      if (file.isInTheWay || !plan_.removes(file)) continue;
      if (Outcome failure = remove(file)) return failure;
    }
    return {};
  }

  /// Only what nobody has changed since the plan was made.
  Outcome remove(const Plan::Withdrawn& file) {
    Look look;
    std::error_code error = folder_.look(file.path, look);
    const bool isSame = !error && look.kind == FileKind::kFile && look.blockedBy.empty() &&
                        look.identity == file.identity;
    if (!isSame) return {};
    error = folder_.removeFile(file.path);
    if (Outcome failure = judge("cannot be removed", file.path, error)) return failure;
    if (error) return {};
    result_.removed.push_back(file.path);
    for (std::string name = folderOf(file.path); !name.empty(); name = folderOf(name)) {
      if (folder_.removeFolder(name)) break;
    }
    return {};
  }

  /// A file that is in use is noted; other errors are failures.
  Outcome judge(const char* what, std::string_view path, const std::error_code& error) {
    if (!error) return {};
    Failure failure = diskFailure(what, path, error);
    failure.isTransient = isInUse(error);
    if (!failure.isTransient) return failure;
    result_.busy.push_back(std::move(failure));
    return {};
  }

  Outcome rename(const char* from, std::string_view to) {
    if (const std::error_code error = folder_.replace(from, to)) {
      return diskFailure("cannot be replaced", to, error);
    }
    return {};
  }

  // File systems may make renames durable in another order than that in which they were done.
  Outcome finish() {
    // Its folder has gone with the last withdrawn file if there was nothing else in it.
    lastFolder_.clear();
    if (Outcome failure = makeFolder(stampPath_)) return failure;
    if (Outcome failure = rename(kNewStateFile, kStateFile)) return failure;
    if (target_.hasNewList) {
      if (Outcome failure = rename(kNewListFile, kListFile)) return failure;
    } else if (const std::error_code error = folder_.removeFile(kNewListFile)) {
      return diskFailure("cannot be removed", kNewListFile, error);
    }
    // What is still staged now, such as the validator of a body, is of no use to any run.
    if (Outcome failure = Staging(folder_, target_.stamp).keepOnly({})) return failure;
    if (const std::error_code error = folder_.flush(0, {})) {
      return diskFailure("cannot be made durable", "", error);
    }
    // Otherwise, the new stamp stays beside the old one, and says that the copy is unfinished.
    return plan_.obstacle() == nullptr ? rename(kNewStampFile, stampPath_) : Outcome{};
  }

  Folder& folder_;
  Plan& plan_;
  const StagedContents& staged_;
  const CommitTarget& target_;
  CommitResult& result_;
  std::string stampPath_;
  bool isWayFree_ = true;  ///< Of all files: nothing has to be removed for one.
  std::string lastFolder_;
  std::vector<std::size_t> uses_;  ///< Of each content, so far.
};

}  // namespace

Outcome commit(Folder& folder, Plan& plan, const StagedContents& staged, const CommitTarget& target,
               CommitResult& result) {
  dropOldFiles(folder);
  Outcome failure = Commit(folder, plan, staged, target, result).run();
  dropOldFiles(folder);
  return failure;
}

bool isUnfinished(Folder& folder) {
  for (const char* path : {kNewListFile, kNewStateFile, kNewStampFile}) {
    Look look;
    if (folder.look(path, look) || look.kind != FileKind::kNone) return true;
  }
  return hasStagedContents(folder);
}

}  // namespace mtlupdate
