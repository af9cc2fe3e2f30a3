/// @file
/// What an update will do, or has done, to the files of a copy.
///
/// @since 1.0
#ifndef MTLLIB_HOST_UPDATE_H_
#define MTLLIB_HOST_UPDATE_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mtlhost {

/// The largest number of tries that UpdateSettings::tries may have.
inline constexpr int kMostTries = 101;

/// How the engine updates a copy. The module supports only `largestFile`, `largestTotal` and
/// `waitsForOthers`; if `timeLimit` or `bytesPerSecond` is set, it is not opened.
struct UpdateSettings {
  bool full = false;       ///< Fetch all that the list selects, whatever the copy has.
  bool prune = false;      ///< Remove the files that the library has withdrawn.
  bool pruneMost = false;  ///< Also when they are more than half of the copy.
  std::optional<std::uint64_t> largestFile{};       ///< In bytes; a larger one is a failure.
  std::optional<std::uint64_t> largestTotal{};      ///< In bytes received, stamp and list included.
  std::optional<std::chrono::seconds> timeLimit{};  ///< Of everything, at most.
  std::int64_t bytesPerSecond = 0;                  ///< Received at most; 0 for no limit.
  /// For a request that may succeed later, including the first one: 1 to kMostTries. Any other
  /// number is refused.
  int tries = 5;
  bool waitsForOthers = false;  ///< For another run on the same copy, instead of failing at once.
};

/// A number of files, and the bytes in them.
struct Amount {
  std::int64_t files = 0;  ///< How many.
  std::int64_t bytes = 0;  ///< In all of them.
};

/// A file of the copy, and what is done with it.
struct FileChange {
  /// What can be done with a file.
  enum class Kind {
    kFetched,    ///< Its content comes from the library's server.
    kCopied,     ///< Its content is that of another file, and comes from there.
    kWithdrawn,  ///< The library no longer has it; it stays in the copy.
    kRemoved,    ///< The library no longer has it; it is removed.
    kSkipped     ///< The library has it, but what is in its place stays: see `reason`.
  };

  Kind kind = Kind::kFetched;          ///< Which of them.
  std::string path;                    ///< Relative to the folder of the copy.
  std::optional<std::int64_t> size{};  ///< In bytes, where it is known.
  /// For kCopied, the file of the copy, if it already exists. For kFetched, with a library of
  /// several addresses, the one that it came from, once it has arrived.
  std::string source{};
  std::string reason{};  ///< kSkipped: why, in words that follow the path.
};

/// What an update would do.
struct Plan {
  std::vector<FileChange> files;  ///< All except those that are as they should be.
  Amount fetched;                 ///< Each content counts once, without what is staged already.
  Amount copied;                  ///< From other files.
  Amount replaced;                ///< Existing files, with their current sizes.
  Amount removed;                 ///< Withdrawn files that are removed.
  Amount withdrawn;               ///< Those that stay.
  Amount unchanged;               ///< Files that are as they should be, or must not be changed.
  std::int64_t unknownSizes = 0;  ///< Files to fetch whose sizes are not known, and not counted.
  std::int64_t spaceNeeded = 0;   ///< In bytes, before the old files are gone.
  std::optional<std::int64_t> spaceAvailable;  ///< In bytes, where it is known.
};

/// How a file of the copy differs from the list that the last update followed.
struct Difference {
  /// The kind of difference.
  enum class Kind {
    kDamaged,    ///< In its content; it has the listed size.
    kMissing,    ///< There is no such file.
    kExtra,      ///< The list does not name it.
    kChanged,    ///< In its size or content, and the library allows others to change it.
    kWrongSize,  ///< In its size.
    kUnreadable  ///< It, or a folder of that name, cannot be read: `reason` says why.
  };

  Kind kind = Kind::kDamaged;  ///< Which of them.
  std::string path;            ///< Relative to the folder of the copy.
  std::string reason{};        ///< For kUnreadable, in the system's words; else "".
};

/// Whether an update of the copy in this folder was interrupted: the next one continues from there,
/// whatever the stamp of the copy says.
bool isUpdateUnfinished(const std::string& targetDirectory);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_UPDATE_H_
