// A Staging object keeps the contents that an update has fetched, in whole or in part, and not yet
// moved into place. Each is a file in ".mtllib/stage" named after its content, so that the next
// run can use what a cut run has left.
#ifndef MTLLIB_UPDATE_STAGING_H_
#define MTLLIB_UPDATE_STAGING_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "update/disk.h"
#include "update/failure.h"
#include "update/listing.h"
#include "update/sha256.h"
#include "update/system.h"

namespace mtlupdate {

/// The path of a content in the stage, relative to the folder of the copy. Content without a digest
/// is known by its path and the stamp of the library.
std::string stagedPath(const Entry& entry, std::string_view stamp);

/// A StagedFile is a content that is being staged. It stays staged, as far as it came, when it is
/// closed or destroyed. One thread at a time, not always the same; but one may append while another
/// one digests.
class StagedFile {
 public:
  /// The bytes that are staged: where a body that was cut is continued.
  std::uint64_t size() const { return size_; }

  /// Fails with kDisk; the content is as it was then, or cut somewhere.
  Outcome append(std::string_view bytes);
  /// Digests bytes that were appended: all of them, in their order. Of an entry with a digest
  /// alone.
  void digest(std::string_view bytes) { sha256_.update(bytes); }
  /// Begins again, with no bytes.
  Outcome restart();

  /// Closes the file. `digest` is that of all bytes, none for an entry without one; `identity` is
  /// what it has also after it has been put in its place.
  Outcome finish(std::optional<Digest>& digest, FileIdentity& identity);

 private:
  friend class Staging;

  std::string path_;
  File file_;
  bool isDigested_ = false;
  Sha256 sha256_;
  std::uint64_t size_ = 0;
};

/// The stage of one copy, for one run. Any thread may call.
class Staging {
 public:
  /// What the stage holds of a content.
  struct Found {
    enum class State { kNothing, kPart, kWhole };
    State state = State::kNothing;
    std::uint64_t size = 0;          ///< Of what is there, in bytes.
    std::optional<Digest> digest{};  ///< Of a whole content, where the entry has one.
    FileIdentity identity{};         ///< Of a whole content.
  };

  /// The folder of the copy, which must live longer, and the stamp of the library's release.
  Staging(Folder& folder, std::string_view stamp) : folder_(folder), stamp_(stamp) {}

  /// Looks for the content of the entry; reads what may be whole. After a cut run nothing but
  /// the digest shows that a content is whole, so without one it is at most a part, and what is
  /// larger than listed or has another digest is nothing. Fails with kCancelled when
  /// `shouldContinue` answers false.
  Outcome find(const Entry& entry, const ShouldContinue& shouldContinue, Found& found);

  /// Opens the content of the entry for more bytes: after those that are there, which are read
  /// if there is a digest, or from the beginning.
  Outcome open(const Entry& entry, bool anew, StagedFile& file);

  /// Stages the content of the entry from the file at `path` of the copy. kContent, with nothing
  /// staged, when that is not there any longer, or does not have the listed digest.
  Outcome copy(const Entry& entry, std::string_view path, const ShouldContinue& shouldContinue,
               Found& found);

  /// What the server named the version of the content by whose part is staged (its ETag or
  /// Last-Modified); "" when nothing was kept. Needed for content without a digest alone.
  std::string validator(const Entry& entry);
  Outcome keepValidator(const Entry& entry, std::string_view validator);

  /// Removes the content of the entry from the stage.
  Outcome discard(const Entry& entry);
  /// Removes all contents but those of the paths.
  Outcome keepOnly(const std::unordered_set<std::string>& paths);

 private:
  Outcome readPart(StagedFile& file);

  Folder& folder_;
  std::string stamp_;
};

/// What a run has in the stage, by the numbers that its plan gives to contents.
using StagedContents = std::vector<Staging::Found>;

/// Whether a run was cut, or could not put all of its files in their places.
bool hasStagedContents(Folder& folder);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_STAGING_H_
