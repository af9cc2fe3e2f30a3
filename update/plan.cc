// Makes plans. Each entry is judged on its own once it is known which entries have a place to
// themselves. Files are read last, and only if nothing else shows what they contain.
#include "update/plan.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "platform/file_names.h"
#include "rules/own_names.h"
#include "update/places.h"

namespace mtlupdate {

namespace {

using mtlrules::DownloadPolicy;
using Reason = SkippedEntry::Reason;

/// Files by the digests that they had. Sorted, since whoever writes a list could make all of them
/// fall into one bucket of a hash table.
class Sources {
 public:
  explicit Sources(const State& state) {
    for (const KnownFile& file : state.files()) {
      if (file.sha256) files_.push_back(&file);
    }
    std::sort(files_.begin(), files_.end(),
              [](const KnownFile* a, const KnownFile* b) { return *a->sha256 < *b->sha256; });
  }

  /// The first file with the digest of which `isGood` is true; null when there is none.
  template <typename IsGood>
  const KnownFile* find(const Digest& digest, IsGood isGood) const {
    auto next = std::lower_bound(
        files_.begin(), files_.end(), digest,
        [](const KnownFile* file, const Digest& other) { return *file->sha256 < other; });
    for (; next != files_.end() && *(*next)->sha256 == digest; ++next) {
      if (isGood(**next)) return *next;
    }
    return nullptr;
  }

 private:
  std::vector<const KnownFile*> files_;
};

/// Whatever a list says, sums of its sizes do not wrap around.
void add(std::uint64_t bytes, std::uint64_t& sum) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  sum = bytes > kMost - sum ? kMost : sum + bytes;
}

std::string figures(std::uint64_t needed, std::uint64_t there, const char* between) {
  return std::to_string(needed) + between + std::to_string(there);
}

class Planner {
 public:
  Planner(const Listing& listing, const State& last, const PlanOptions& options,
          const StagedBytes& staged, Disk& disk, Plan& plan)
      : listing_(listing),
        last_(last),
        options_(options),
        staged_(staged),
        disk_(disk),
        plan_(plan),
        places_(listing) {}

  Outcome run() {
    plan_.next.reserve(listing_.size());
    if (Outcome failure = findWithdrawn()) return failure;
    for (; entries_ < listing_.size(); ++entries_) {
      if (!mayGoOn(entries_)) return stopped();
      if (Outcome failure = take(listing_[entries_], entries_)) return failure;
    }
    if (Outcome failure = judgeWithdrawn()) return failure;
    return checkTotals();
  }

 private:
  static Outcome stopped() { return Failure{Failure::Kind::kCancelled, "the run was stopped"}; }

  bool mayGoOn(std::size_t steps) const {
    constexpr std::size_t kBetween = 64;
    return steps % kBetween != 0 || !options_.shouldContinue ||
           options_.shouldContinue(entries_, bytesRead_);
  }

  void passOver(const Entry& entry, Reason reason, std::string text) {
    plan_.skipped.push_back({reason, std::string(entry.path), std::move(text)});
  }

  Outcome take(const Entry& entry, std::size_t number) {
    const auto pass = [&](Reason reason, std::string text) {
      passOver(entry, reason, std::move(text));
      return Outcome{};
    };
    if (mtlrules::isOwnName(entry.path, options_.subPath)) {
      return pass(Reason::kOwnName, "its name is kept for the stamp or for what updates need");
    }
    if (places_.of(number) == Places::Verdict::kSame) {
      return pass(Reason::kSamePlace, "another entry has the same place");
    }
    if (places_.of(number) == Places::Verdict::kFolder) {
      return pass(Reason::kSamePlace, "another entry needs a folder in its place");
    }
    if (!missingFolder_.empty() && isBelow(entry.path, missingFolder_)) {
      return place(entry, nullptr);
    }
    Look look;
    if (const std::error_code error = disk_.look(entry.path, look)) {
      return pass(Reason::kUnreadable, "cannot be examined: " + systemText(error));
    }
    const std::string where =
        look.blockedBy.empty() ? "its place is taken by " : '"' + look.blockedBy + "\" is ";
    if (look.kind == FileKind::kLink) return pass(Reason::kLink, where + "a link");
    if (look.kind == FileKind::kOther) {
      return pass(Reason::kOther, where + "something other than a file or a folder");
    }
    if (!look.blockedBy.empty()) {
      if (!fileGivesWay(look.blockedBy)) return pass(Reason::kNotAFolder, where + "a file");
      return place(entry, nullptr);
    }
    if (look.kind == FileKind::kFolder) {
      std::string kept;
      if (Outcome failure = clearFolder(entry.path, kept)) return failure;
      if (kept == entry.path) return pass(Reason::kFolder, where + "a folder");
      if (!kept.empty()) return pass(Reason::kFolder, where + "a folder with \"" + kept + '"');
      return place(entry, nullptr);
    }
    if (look.kind == FileKind::kNone) {
      if (look.lacksFolder) missingFolder_ = entry.path.substr(0, entry.path.rfind('/'));
      return place(entry, nullptr);
    }
    return compare(entry, look.identity);
  }

  // What has become of a file that is there.
  Outcome compare(const Entry& entry, const FileIdentity& identity) {
    const KnownFile* const known = last_.find(entry.path);
    const bool isMissing = entry.policy == DownloadPolicy::kMissing;
    if (options_.full && !isMissing) return place(entry, &identity);
    if (!entry.sha256) {
      if (!isMissing) return place(entry, &identity);
      return keep(entry, identity,
                  known != nullptr && known->identity == identity ? known : nullptr);
    }
    const bool isOtherSize = entry.size && *entry.size != identity.size;
    if (isOtherSize && !isMissing) return place(entry, &identity);
    std::optional<Digest> digest;
    if (Outcome failure = contentOf(entry, identity, known, digest)) return failure;
    if (!digest) return {};
    KnownFile file{entry.path, identity, digest, true};
    if (digest == entry.sha256) return keep(entry, identity, &file);
    if (!isMissing || isOurs(known, identity, digest)) return place(entry, &identity);
    passOver(entry, Reason::kChanged, "was not placed here by an update, or changed since");
    file.isPlaced = false;
    return keep(entry, identity, &file);
  }

  /// Whether an update placed the file, and it has been the same since: or was, and has only lost
  /// its content, when all files are read.
  bool isOurs(const KnownFile* known, const FileIdentity& identity,
              const std::optional<Digest>& digest) const {
    return known != nullptr && known->isPlaced &&
           (known->identity == identity || known->sha256 == digest);
  }

  /// None when the entry was passed over.
  Outcome contentOf(const Entry& entry, const FileIdentity& identity, const KnownFile* known,
                    std::optional<Digest>& digest) {
    const bool isAsItWas = known != nullptr && known->identity == identity;
    if (isAsItWas && known->sha256 && !options_.reread) {
      digest = known->sha256;
      return {};
    }
    Digest found{};
    const std::error_code error = read(entry.path, found);
    if (error == std::errc::operation_canceled) return stopped();
    if (error) {
      passOver(entry, Reason::kUnreadable, "cannot be read: " + systemText(error));
      return {};
    }
    digest = found;
    return {};
  }

  std::error_code read(std::string_view path, Digest& digest) {
    const std::uint64_t before = bytesRead_;
    return disk_.digest(
        path,
        [&](std::uint64_t bytes) {
          bytesRead_ = before + bytes;
          return !options_.shouldContinue || options_.shouldContinue(entries_, bytesRead_);
        },
        digest);
  }

  Outcome keep(const Entry& entry, const FileIdentity& identity, const KnownFile* file) {
    plan_.next.add(file != nullptr ? *file : KnownFile{entry.path, identity, std::nullopt, false});
    ++plan_.filesUnchanged;
    add(identity.size, plan_.bytesUnchanged);
    return {};
  }

  // `old` is null when nothing is there.
  Outcome place(const Entry& entry, const FileIdentity* old) {
    const std::size_t content = entry.sha256
                                    ? contents_.emplace(*entry.sha256, plan_.contents).first->second
                                    : plan_.contents;
    const bool isNew = content == plan_.contents;
    if (isNew) ++plan_.contents;
    plan_.place.push_back({&entry, content, old != nullptr});
    if (old != nullptr) {
      ++plan_.filesReplaced;
      add(old->size, plan_.bytesReplaced);
    }
    const std::uint64_t size = entry.size.value_or(0);
    std::optional<std::string> source;
    if (isNew && entry.sha256 && !options_.full) {
      if (Outcome failure = findSources()) return failure;
      source = sourceOf(entry);
    }
    if (source) plan_.copy.push_back({&entry, content, *source});
    if (isNew && !source) return addFetch({&entry, content}, staged_, options_.largestFile, plan_);
    add(size, plan_.bytesToCopy);
    return {};
  }

  Outcome findSources() {
    if (sources_) return {};
    if (last_.files().empty()) {
      if (Outcome failure = readOthers()) return failure;
    }
    sources_.emplace(last_.files().empty() ? others_ : last_);
    return {};
  }

  // Where nothing is known of a copy, files that the list does not name may have contents of it.
  Outcome readOthers() {
    std::set<std::uint64_t> sizes;
    for (const Entry& entry : listing_) {
      if (entry.sha256 && entry.size) sizes.insert(*entry.size);
    }
    std::size_t steps = 0;
    std::vector<std::string> folders{""};
    while (!folders.empty()) {
      const std::string folder = std::move(folders.back());
      folders.pop_back();
      std::vector<std::string> names;
      if (disk_.names(folder, names)) continue;
      for (const std::string& name : names) {
        if (!mayGoOn(steps++)) return stopped();
        std::string path = folder;
        if (!path.empty()) path += '/';
        path += name;
        Look look;
        if (disk_.look(path, look)) continue;
        if (look.kind == FileKind::kFolder && path != mtlrules::kStateFolderName) {
          folders.push_back(std::move(path));
        } else if (look.kind == FileKind::kFile && sizes.count(look.identity.size) != 0 &&
                   !places_.isTaken(path)) {
          if (Outcome failure = readOther(path, look.identity)) return failure;
        }
      }
    }
    return {};
  }

  Outcome readOther(const std::string& path, const FileIdentity& identity) {
    Digest digest{};
    const std::error_code error = read(path, digest);
    if (error == std::errc::operation_canceled) return stopped();
    if (!error) others_.add({path, identity, digest, false});
    return {};
  }

  /// A file of the copy that has the content, and has not been touched since that was known.
  std::optional<std::string> sourceOf(const Entry& entry) {
    const KnownFile* const source = sources_->find(*entry.sha256, [&](const KnownFile& file) {
      Look look;
      return file.path != entry.path && isThere(file, look);
    });
    return source != nullptr ? std::optional<std::string>(source->path) : std::nullopt;
  }

  bool isThere(const KnownFile& file, Look& look) {
    return !disk_.look(file.path, look) && look.kind == FileKind::kFile && look.blockedBy.empty() &&
           look.identity == file.identity;
  }

  Outcome findWithdrawn() {
    std::size_t steps = 0;
    for (const KnownFile& file : last_.files()) {
      if (!mayGoOn(steps++)) return stopped();
      if (!file.isPlaced) continue;
      ++filesPlaced_;
      Look look;
      if (places_.isTaken(file.path) || mtlrules::isOwnName(file.path, options_.subPath) ||
          !isThere(file, look)) {
        continue;
      }
      plan_.withdrawn.push_back({std::string(file.path), file.identity});
      add(file.identity.size, plan_.bytesWithdrawn);
    }
    return {};
  }

  /// Where a file is, by which its path is found.
  static std::string keyOf(std::string_view path) {
    return Platform::kHasWindowsNames ? foldedCase(path) : std::string(path);
  }

  /// Null when the file at the path is not a withdrawn one.
  Plan::Withdrawn* withdrawnAt(std::string_view path) {
    if (withdrawnAt_.empty()) {
      for (Plan::Withdrawn& file : plan_.withdrawn)
        withdrawnAt_[keyOf(file.path)] = &file;
    }
    const auto found = withdrawnAt_.find(keyOf(path));
    return found != withdrawnAt_.end() ? found->second : nullptr;
  }

  /// Whether updates placed files below the folder.
  bool isOurFolder(std::string_view path) {
    if (ourFolders_.empty()) {
      for (const KnownFile& file : last_.files()) {
        std::string_view rest = file.path;
        while (file.isPlaced && rest.find('/') != rest.npos) {
          rest = rest.substr(0, rest.rfind('/'));
          if (!ourFolders_.insert(keyOf(rest)).second) break;
        }
      }
    }
    return ourFolders_.count(keyOf(path)) != 0;
  }

  bool fileGivesWay(std::string_view path) {
    Plan::Withdrawn* const file = withdrawnAt(path);
    if (file != nullptr) file->isInTheWay = true;
    return file != nullptr;
  }

  // What nobody misses goes: withdrawn files, and folders of ours with nothing else in them, which
  // a run that was cut may have emptied. `kept` is the first thing that has to stay, and with it
  // all the others do.
  Outcome clearFolder(std::string_view top, std::string& kept) {
    std::vector<std::string> folders{std::string(top)};
    std::vector<Plan::Withdrawn*> files;
    for (std::size_t i = 0; i < folders.size(); ++i) {
      std::vector<std::string> names;
      if (!isOurFolder(folders[i]) || disk_.names(folders[i], names)) {
        kept = folders[i];
        return {};
      }
      for (const std::string& name : names) {
        if (!mayGoOn(files.size())) return stopped();
        std::string path = folders[i] + '/' + name;
        Look look;
        const bool isSeen = !disk_.look(path, look);
        Plan::Withdrawn* const file = withdrawnAt(path);
        if (isSeen && look.kind == FileKind::kFolder) {
          folders.push_back(std::move(path));
        } else if (isSeen && look.kind == FileKind::kFile && file != nullptr) {
          files.push_back(file);
        } else {
          kept = std::move(path);
        }
        if (!kept.empty()) return {};
      }
    }
    for (Plan::Withdrawn* const file : files)
      file->isInTheWay = true;
    filesInFolders_ += files.size();
    plan_.foldersInTheWay.insert(plan_.foldersInTheWay.end(), folders.rbegin(), folders.rend());
    return {};
  }

  // Files of a folder that becomes one file are lost as much as those that are removed on request.
  Outcome judgeWithdrawn() {
    plan_.removesWithdrawn = options_.prune;
    for (const Plan::Withdrawn& file : plan_.withdrawn) {
      // As long as it is there, a later update may be asked to remove it.
      if (!plan_.removes(file)) plan_.next.add(*last_.find(file.path));
    }
    const std::size_t lost = options_.prune ? plan_.withdrawn.size() : filesInFolders_;
    if (options_.pruneMost || lost * 2 <= filesPlaced_) return {};
    return because(Failure::Cause::kMostRemoved,
                   {Failure::Kind::kUsage, "more than half of the copy would be removed: " +
                                               figures(lost, filesPlaced_, " of ") + " files"});
  }

  Outcome checkTotals() {
    if (options_.largestTotal && plan_.bytesToFetch > *options_.largestTotal) {
      return Failure{Failure::Kind::kLimit,
                     "more is to be fetched than allowed: " +
                         figures(plan_.bytesToFetch, *options_.largestTotal, " bytes, not ") +
                         " at most"};
    }
    plan_.spaceNeeded = plan_.bytesToFetch;
    add(plan_.bytesToCopy, plan_.spaceNeeded);
    plan_.spaceAvailable = disk_.freeRoom();
    if (!plan_.spaceAvailable || plan_.spaceNeeded <= *plan_.spaceAvailable) return {};
    return because(Failure::Cause::kTooLittleRoom,
                   {Failure::Kind::kDisk,
                    "not enough free space: " +
                        figures(plan_.spaceNeeded, *plan_.spaceAvailable, " bytes are needed, ") +
                        " are free"});
  }

  const Listing& listing_;
  const State& last_;
  const PlanOptions& options_;
  const StagedBytes& staged_;
  Disk& disk_;
  Plan& plan_;
  Places places_;
  std::map<Digest, std::size_t> contents_{};  ///< The numbers of those that have a digest.
  State others_{};                            ///< Files that nothing was known of.
  std::optional<Sources> sources_{};
  std::string_view missingFolder_{};  ///< The last one that was seen not to be there.
  std::map<std::string, Plan::Withdrawn*> withdrawnAt_{};
  std::set<std::string> ourFolders_{};
  std::size_t filesPlaced_ = 0;     ///< By earlier updates.
  std::size_t filesInFolders_ = 0;  ///< Withdrawn ones, in folders where files go.
  std::size_t entries_ = 0;
  std::uint64_t bytesRead_ = 0;
};

}  // namespace

const SkippedEntry* Plan::obstacle() const {
  const auto found = std::find_if(skipped.begin(), skipped.end(),
                                  [](const SkippedEntry& one) { return one.isHindrance(); });
  return found != skipped.end() ? &*found : nullptr;
}

Outcome makePlan(const Listing& listing, const State& last, const PlanOptions& options,
                 const StagedBytes& staged, Disk& disk, Plan& plan) {
  plan = Plan();
  return Planner(listing, last, options, staged, disk, plan).run();
}

Outcome addFetch(const Plan::Fetch& fetch, const StagedBytes& staged,
                 const std::optional<std::uint64_t>& largestFile, Plan& plan) {
  const Entry& entry = *fetch.entry;
  const std::uint64_t size = entry.size.value_or(0);
  if (largestFile && size > *largestFile) {
    return Failure{
        Failure::Kind::kLimit,
        "is larger than allowed: " + figures(size, *largestFile, " bytes, not ") + " at most",
        std::string(entry.path)};
  }
  plan.fetch.push_back(fetch);
  if (!entry.size) ++plan.fetchesOfUnknownSize;
  const std::uint64_t there = staged ? staged(entry, fetch.content) : 0;
  add(size > there ? size - there : 0, plan.bytesToFetch);
  return {};
}

}  // namespace mtlupdate
