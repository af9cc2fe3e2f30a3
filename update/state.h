// A State is what an update records about the files of a copy, so that the next one need not read
// those that nobody has touched. It is kept in ".mtllib/state". Without it files are read, but
// nothing is fetched that is already there.
#ifndef MTLLIB_UPDATE_STATE_H_
#define MTLLIB_UPDATE_STATE_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "update/failure.h"
#include "update/sha256.h"
#include "update/system.h"
#include "update/text_store.h"

namespace mtlupdate {

/// What was known of one file when the state was written.
struct KnownFile {
  std::string_view path;  ///< As Entry::path; belongs to the State.
  FileIdentity identity;
  std::optional<Digest> sha256;  ///< Of the content that has this identity.
  /// The library's: an update placed it, and nobody had changed it. Others were there already.
  bool isPlaced = false;
};

class State {
 public:
  std::string address{};  ///< Of the library.
  std::string subPath{};
  std::string stamp{};  ///< Of the library's release that the copy was brought to.

  /// So many files are going to be added: memory for them is taken once.
  void reserve(std::size_t files) { files_.reserve(files); }

  /// Copies the path. Of several files with the same path the last one counts.
  void add(const KnownFile& file);

  /// The file of this path, null when nothing is known of it. Valid until the next add().
  const KnownFile* find(std::string_view path) const;

  /// All of them, in the order of their paths. Valid until the next add().
  const std::vector<KnownFile>& files() const;

 private:
  TextStore texts_;
  mutable std::vector<KnownFile> files_;
  mutable bool isSorted_ = true;
  mutable std::size_t last_ = 0;  ///< The file that was found last.
};

/// The bytes of the file.
std::string stateBytes(const State& state);

/// None for bytes other than those of a complete state: cut, changed, or of another
/// version.
std::optional<State> stateFrom(std::string_view bytes);

/// Reads the state of the copy; an empty one when there is none or it is damaged. Files that an
/// update has placed that was cut are part of it.
State readState(Folder& folder);

/// Makes those files part of the state file, so that the next update may be cut, too. Whoever
/// calls has the lock.
Outcome keepPlacedFiles(Folder& folder);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_STATE_H_
