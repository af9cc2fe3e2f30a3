// Moves staged contents into their places, all at once as far as a file system allows: readers see
// an old file or a new one, and after a power failure the stamp is never ahead of the files.
#ifndef MTLLIB_UPDATE_COMMIT_H_
#define MTLLIB_UPDATE_COMMIT_H_

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "update/failure.h"
#include "update/plan.h"
#include "update/staging.h"
#include "update/system.h"

namespace mtlupdate {

/// What a copy is brought to.
struct CommitTarget {
  std::string address{};
  std::string subPath{};
  std::string stamp{};
  /// Keep the list at kNewListFile, which was followed; otherwise the one kept before stays.
  bool hasNewList = false;
  /// What kTrustedFile is to have, from before the first file is put in its place; "" leaves it.
  std::string trusted{};
};

struct CommitResult {
  std::vector<std::string> changed;  ///< Files that were put in their places, in the list's order.
  std::vector<std::string> removed;  ///< Withdrawn files, and links among them never.
  /// Files that some program keeps from being replaced or removed. They stay as they were, their
  /// contents stay staged, and the stamp stays the old one, so that the next run finishes.
  std::vector<Failure> busy;
  std::chrono::microseconds renaming{0};  ///< From before the first rename until after the last.
};

/// Puts every file of the plan in its place. Takes the content of each from the stage, where all of
/// them must be whole. `plan.next` becomes the state of the copy. With a obstacle in the plan the
/// stamp stays the old one: the copy is not what the new one says.
///
/// Fails with kDisk, with some files in their places and the others still staged: a later run goes
/// on from there.
Outcome commit(Folder& folder, Plan& plan, const StagedContents& staged, const CommitTarget& target,
               CommitResult& result);

/// Whether a run was cut, or left something staged, so that the copy may be between two releases
/// whatever its stamp says.
bool isUnfinished(Folder& folder);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_COMMIT_H_
