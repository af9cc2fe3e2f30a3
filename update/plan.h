// A Plan says what an update will do to a copy, and why, before anything is fetched. It is made
// from the library's list, what the last update left, and what is on the disk.
#ifndef MTLLIB_UPDATE_PLAN_H_
#define MTLLIB_UPDATE_PLAN_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "update/disk.h"
#include "update/failure.h"
#include "update/listing.h"
#include "update/state.h"
#include "update/system.h"

namespace mtlupdate {

struct PlanOptions {
  std::string subPath{};
  /// Read every file, as if the disk could have changed it without a trace.
  bool reread = false;
  /// Fetch whatever the list selects, as if nothing were known of the copy.
  bool full = false;
  /// Remove files that the library has withdrawn.
  bool prune = false;
  /// Also when they are more than half of the copy.
  bool pruneMost = false;
  std::optional<std::uint64_t> largestFile{};   ///< In bytes; a larger one is refused.
  std::optional<std::uint64_t> largestTotal{};  ///< In bytes, of all contents to fetch.
  /// Asked again and again, with the entries that have been looked at and the bytes that were
  /// read, whether to go on.
  std::function<bool(std::size_t entries, std::uint64_t bytes)> shouldContinue{};
};

/// Something that the plan passes over, and why.
struct SkippedEntry {
  enum class Reason {
    kChanged,     ///< Of policy "missing": somebody changed it, or put it there.
    kSamePlace,   ///< Another entry has the same place, or one below it.
    kFolder,      ///< There is a folder where the file goes, with something in it that stays.
    kNotAFolder,  ///< There is a file that stays where a folder has to be.
    kLink,        ///< There is a link, or one on the way, wherever it leads.
    kOther,       ///< There is something else, such as a device.
    kOwnName,     ///< The place is kept for the stamp, or for what updates need.
    kUnreadable   ///< The system does not let it be looked at.
  };

  Reason reason;
  std::string path;  ///< Of the entry.
  std::string text;  ///< In words, without the path: "its place is taken by a link".

  /// Whether something on the disk keeps the file from its place, so that the copy is not what the
  /// library has as long as that is there.
  bool isHindrance() const {
    return reason != Reason::kChanged && reason != Reason::kSamePlace && reason != Reason::kOwnName;
  }
};

struct Plan {
  // Contents are numbered from 0, in no order: files that have the same one have its number.

  /// A content to fetch into the stage. Each content is fetched once, however many files have it.
  struct Fetch {
    const Entry* entry;  ///< Belongs to the Listing.
    std::size_t content;
  };
  /// A content to stage from a file of the copy that has it.
  struct Copy {
    const Entry* entry;
    std::size_t content;
    std::string from;
  };
  /// A file to put in its place when all is staged.
  struct Place {
    const Entry* entry;
    std::size_t content;
    bool replaces;  ///< Another file, which the copy has there.
  };
  /// A file that the library does not have any longer, unchanged since an update placed it.
  struct Withdrawn {
    std::string path;
    FileIdentity identity;
    /// It is where a folder has to be, or in a folder where a file goes: removed in any case.
    bool isInTheWay = false;
  };

  std::vector<Fetch> fetch;
  std::vector<Copy> copy;
  std::vector<Place> place;
  std::size_t contents = 0;  ///< How many there are.
  std::vector<Withdrawn> withdrawn;
  bool removesWithdrawn = false;
  /// Folders where files go, with nothing in them but withdrawn files and each other; each before
  /// the one that contains it.
  std::vector<std::string> foldersInTheWay;
  std::vector<SkippedEntry> skipped;
  /// What is known already of the state after the update: all but the files of `place`.
  State next;

  /// Files that stay as they are.
  std::size_t filesUnchanged = 0;
  std::uint64_t bytesUnchanged = 0;
  std::size_t filesReplaced = 0;
  std::uint64_t bytesReplaced = 0;  ///< Of the old files.
  /// In bytes. Contents of unknown size do not count.
  std::uint64_t bytesToFetch = 0;
  std::uint64_t bytesToCopy = 0;
  std::uint64_t bytesWithdrawn = 0;
  std::size_t fetchesOfUnknownSize = 0;
  /// What is needed at most until the old files have gone, less what is staged.
  std::uint64_t spaceNeeded = 0;
  std::optional<std::uint64_t> spaceAvailable{};

  /// Whether the withdrawn file is removed.
  bool removes(const Withdrawn& file) const { return removesWithdrawn || file.isInTheWay; }
  /// The first file that something on the disk keeps from its place; null when there is none.
  const SkippedEntry* obstacle() const;
};

/// The bytes that the stage has already of the content of this number, which is that of the entry.
using StagedBytes = std::function<std::uint64_t(const Entry& entry, std::size_t content)>;

/// Fails with kUsage for a removal that must be asked for; with kLimit; with kDisk when there is
/// too little room, with both figures; and with kCancelled. Without `staged` nothing is staged.
Outcome makePlan(const Listing& listing, const State& last, const PlanOptions& options,
                 const StagedBytes& staged, Disk& disk, Plan& plan);

/// Adds a content to fetch. Fails with kLimit.
Outcome addFetch(const Plan::Fetch& fetch, const StagedBytes& staged,
                 const std::optional<std::uint64_t>& largestFile, Plan& plan);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_PLAN_H_
