// Implements Updater. Each operation has a Run, which holds the connections, the folder and its
// lock until the operation ends.
#include "update/updater.h"

#include <algorithm>
#include <functional>
#include <new>
#include <sstream>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "rules/own_names.h"
#include "update/commit.h"
#include "update/disk.h"
#include "update/fetches.h"
#include "update/list_reader.h"
#include "update/list_sources.h"
#include "update/lock.h"
#include "update/mirrors.h"
#include "update/own_files.h"
#include "update/prefetching_disk.h"
#include "update/release.h"
#include "update/staging.h"
#include "update/state.h"
#include "update/transfers.h"

namespace mtlupdate {

namespace {

using Phase = UpdateObserver::Phase;

/// The disk where there is no folder yet.
class NoDisk final : public Disk {
 public:
  std::error_code look(std::string_view /*path*/, Look& found) override {
    found = {};
    return {};
  }
  std::error_code names(std::string_view /*path*/, std::vector<std::string>& names) override {
    names.clear();
    return {};
  }
  std::error_code digest(std::string_view /*path*/, const ShouldContinue& /*shouldContinue*/,
                         Digest& /*digest*/) override {
    return std::make_error_code(std::errc::no_such_file_or_directory);
  }
  std::optional<std::uint64_t> freeRoom() override { return std::nullopt; }
};

}  // namespace

class Updater::Run {
 public:
  explicit Run(Updater& updater)
      : updater_(updater), options_(updater.options_), observer_(updater.observer_) {
    callbacks_.shouldContinue = [this] { return shouldContinue(); };
    callbacks_.onRetry = [this](const Failure& failure, std::chrono::milliseconds wait) {
      observer_.onRetry(failure, wait);
    };
    callbacks_.onNextAddress = [this](const Failure& failure, const std::string& address) {
      observer_.onNextAddress(failure, address);
    };
  }

  Outcome check(CheckResult& result);
  Outcome plan(Preview& preview);
  Outcome update(bool repairs, UpdateResult& result);
  Outcome verify(VerifyResult& result);

  void tellReceived() {
    if (transfers_) observer_.onReceived(transfers_->receivedBytes());
  }

 private:
  bool shouldContinue() {
    tellReceived();
    return !updater_.isCancelled_ && observer_.shouldContinue();
  }

  Outcome connect();
  Outcome openFolder(bool create);
  Outcome lock();
  Outcome lockAndRead();
  Outcome openRecord();
  Outcome makeFolder();
  void prepareMirrors();
  Outcome takeMirrors(bool keeps);
  bool isWorthASecondLook(const Failure& failure) const;
  bool mayBeOutdated(const Failure& failure) const;
  Outcome fetchLibrarysStamp(bool pastCaches);
  Outcome findStamp();
  Outcome findRelease();
  Outcome fetchLibrarysList(bool pastCaches, bool keeps);
  std::string localStamp();
  bool isCurrent();
  Outcome makePlanFor(bool rereads, Plan& plan);
  StagedBytes stagedBytes();
  Outcome bringUpToDate(bool repairs, UpdateResult& result);
  Outcome bring(bool pastCaches, bool repairs, UpdateResult& result);
  Outcome stage(Plan& plan, UpdateResult& result);
  Outcome copyContents(Plan& plan, UpdateResult& result);
  Outcome fetchContents(const Plan& plan, UpdateResult& result);
  Outcome commitPlan(Plan& plan, UpdateResult& result);
  Outcome compare(const Listing& listing, VerifyResult& result);

  Updater& updater_;
  const UpdateOptions& options_;
  UpdateObserver& observer_;
  FetchCallbacks callbacks_;
  std::unique_ptr<Mirrors> mirrors_;
  std::unique_ptr<Transfers> transfers_;
  bool hasFolder_ = false;
  Folder folder_;
  std::unique_ptr<PrefetchingDisk>
      disk_;  ///< From when the list is fetched until the plan is made.
  Lock lock_;
  std::string stamp_;
  std::size_t stampMirror_ = 0;  ///< Where it came from.
  std::unique_ptr<Listing> listing_;
  ListSources::Place listPlace_ = ListSources::Place::kNone;
  std::optional<Staging> staging_;
  StagedContents staged_;
  Trust trust_{options_.trust, options_.subPath};
};

Outcome Updater::Run::connect() {
  if (Outcome failure = Mirrors::open(options_.session, options_.mirrors, mirrors_)) return failure;
  observer_.onProxy(mirrors_->session(0).proxy());
  TransferLimits limits;
  limits.totalBytes = options_.largestTotal;
  if (options_.timeLimit) limits.end = updater_.timing_.now() + *options_.timeLimit;
  transfers_ = std::make_unique<Transfers>(*mirrors_, updater_.timing_, options_.retries, limits);
  return {};
}

Outcome Updater::Run::openFolder(bool create) {
  const std::error_code error = folder_.open(options_.folder, create);
  hasFolder_ = !error;
  if (!error || (!create && error == std::errc::no_such_file_or_directory)) return {};
  return diskFailure("cannot be opened", options_.folder, error);
}

Outcome Updater::Run::lock() {
  if (!options_.waitForOthers) return lock_.take(folder_);
  return lock_.take(folder_, [this](std::int64_t holder) {
    observer_.onWaiting(holder);
    return shouldContinue();
  });
}

// Finds out what the copy has seen with keys.
Outcome Updater::Run::openRecord() {
  return hasFolder_ ? trust_.readRecord(folder_) : Outcome{};
}

// Makes the folder where there was none when the operation began. Another run may have done so
// meanwhile, and have come to an end.
Outcome Updater::Run::makeFolder() {
  if (Outcome failure = openFolder(true)) return failure;
  if (Outcome failure = lock_.take(folder_)) return failure;
  if (Outcome failure = openRecord()) return failure;
  std::string toldBefore;
  return trust_.hasKeys() ? trust_.check(stamp_, updater_.timing_.seconds(), toldBefore)
                          : Outcome{};
}

// Decides which addresses are asked, and in which order. Those that a list has added count with
// keys alone: whoever answers there has to show that it is the library.
void Updater::Run::prepareMirrors() {
  std::string known;
  if (hasFolder_ && trust_.hasKeys() && !options_.trust.forgets) {
    readOwnFile(folder_, kMirrorsFile, known);
  }
  std::istringstream lines(known);
  for (std::string address; std::getline(lines, address);)
    mirrors_->add(address);
  mirrors_->draw(updater_.timing_);
}

// Takes the addresses that the list of a signed release has added, for what comes and for later
// runs.
Outcome Updater::Run::takeMirrors(bool keeps) {
  if (!trust_.hasKeys()) return {};
  std::string taken;
  for (const std::string& address : listing_->mirrors()) {
    const Outcome failure = mirrors_->add(address);
    if (!failure) taken += address + '\n';
    if (failure) observer_.onWarning(address + ": not used as a mirror: " + failure->text);
  }
  if (!keeps || !hasFolder_) return {};
  std::string known;
  readOwnFile(folder_, kMirrorsFile, known);
  if (known == taken) return {};
  if (Outcome failure = writeOwnFile(folder_, kNewMirrorsFile, taken)) return failure;
  if (const std::error_code error = folder_.replace(kNewMirrorsFile, kMirrorsFile)) {
    return diskFailure("cannot be replaced", kMirrorsFile, error);
  }
  return {};
}

// Without signatures nobody can say which of two stamps is the newer one: the first address that
// answers, in the order in which they were named, decides. With them, the serial does.
Outcome Updater::Run::fetchLibrarysStamp(bool pastCaches) {
  observer_.onPhase(Phase::kStamp);
  Document document;
  document.target = [name = mtlrules::stampName(options_.subPath)](const Session& session) {
    return session.fileTarget(name);
  };
  document.pastCaches = pastCaches;
  document.isAskedAsNamed = !trust_.hasKeys();
  std::string warning;
  StampCheck check;
  if (trust_.hasKeys()) {
    check = [&](const std::string& stamp) {
      return trust_.check(stamp, updater_.timing_.seconds(), warning);
    };
  }
  Outcome failure = fetchStamp(*transfers_, document, callbacks_, check, stamp_, stampMirror_);
  if (failure || warning.empty()) return failure;
  const Session& session = mirrors_->session(stampMirror_);
  observer_.onWarning(session.url(document.target(session)) + ": " + warning);
  return {};
}

// Whether a new release may just have been published: looking again costs two requests. Without
// signatures, it is also how another address gets to decide.
bool Updater::Run::isWorthASecondLook(const Failure& failure) const {
  using Kind = Failure::Kind;
  const bool isOnlyOne = mirrors_->size() == 1 || trust_.hasKeys();
  return failure.kind == Kind::kContent || failure.kind == Kind::kUntrusted ||
         (failure.kind == Kind::kNetwork && !(failure.isTransient && isOnlyOne));
}

// The same of stamp and list alone: a single server that does not have them is not asked again.
bool Updater::Run::mayBeOutdated(const Failure& failure) const {
  return failure.kind == Failure::Kind::kUntrusted ||
         (mirrors_->size() > 1 && failure.kind == Failure::Kind::kNetwork &&
          isWorthASecondLook(failure));
}

// Fetches the stamp, and once more past caches when it is not one to trust: they may have kept an
// old one.
Outcome Updater::Run::findStamp() {
  prepareMirrors();
  Outcome failure = fetchLibrarysStamp(false);
  if (!failure || !trust_.hasKeys() || !mayBeOutdated(*failure)) return failure;
  observer_.onSecondLook(*failure);
  return fetchLibrarysStamp(true);
}

Outcome Updater::Run::fetchLibrarysList(bool pastCaches, bool keeps) {
  observer_.onPhase(Phase::kList);
  if (hasFolder_) disk_ = std::make_unique<PrefetchingDisk>(folder_);
  listing_ = std::make_unique<Listing>();
  Look old;
  const bool hadNewList =
      hasFolder_ && !folder_.look(kNewListFile, old) && old.kind != FileKind::kNone;
  File file;
  ListKeeper keeper;
  if (keeps) {
    keeper = [&](bool anew, std::string_view bytes) -> Outcome {
      std::error_code error;
      if (anew && file.isOpen()) error = file.cutAt(0);
      if (bytes.empty() && !error) return {};
      // A folder is made for what begins as a list does: not for what a wrong address has.
      if (!hasFolder_) {
        if (Outcome failure = makeFolder()) return failure;
      }
      if (!error && !file.isOpen()) error = makeOwnFile(folder_, kNewListFile, file);
      if (!error) error = file.write(bytes);
      if (error) return diskFailure("cannot be written", kNewListFile, error);
      return {};
    };
  }
  const std::string local = localStamp();
  ListRequest request{options_.subPath, stamp_, local,
                      trust_.hasKeys() ? &trust_.release() : nullptr, pastCaches};
  if (!stamp_.empty()) request.mirror = stampMirror_;
  ListSources sources(*transfers_, callbacks_, hasFolder_ ? &folder_ : nullptr);
  Outcome failure = sources.find(request, keeper, *listing_, listPlace_);
  if (!failure) failure = takeMirrors(keeps);
  if (!file.isOpen()) return failure;
  if (failure) {
    // Otherwise it would say that the copy is between two releases.
    file.close();
    if (failure->kind == Failure::Kind::kUntrusted && !hadNewList) folder_.removeFile(kNewListFile);
    return failure;
  }
  if (const std::error_code error = file.close()) {
    return diskFailure("cannot be written", kNewListFile, error);
  }
  return {};
}

// Of the copy; "" when it has none, or something too long for one.
std::string Updater::Run::localStamp() {
  if (!hasFolder_) return {};
  std::string local;
  Outcome failure;
  const std::error_code error = readPieces(
      folder_, mtlrules::stampName(options_.subPath),
      [&](std::string_view bytes) {
        local.append(bytes);
        return local.size() <= kLargestStamp ? Outcome() : Failure{Failure::Kind::kContent};
      },
      failure);
  return error || failure ? std::string() : local;
}

// Whether the copy has the library's stamp, and nothing of a run that was cut.
bool Updater::Run::isCurrent() {
  if (!hasFolder_ || isUnfinished(folder_)) return false;
  // Files that were fetched without keys are compared with the list that was signed.
  if (trust_.hasKeys() && !trust_.isRecorded(stamp_)) return false;
  return localStamp() == stamp_;
}

Outcome Updater::Run::check(CheckResult& result) {
  if (Outcome failure = connect()) return failure;
  if (Outcome failure = openFolder(false)) return failure;
  if (Outcome failure = openRecord()) return failure;
  if (Outcome failure = findStamp()) return failure;
  result.stamp = stamp_;
  result.isCurrent = isCurrent();
  return {};
}

Outcome Updater::Run::makePlanFor(bool rereads, Plan& plan) {
  observer_.onPhase(Phase::kPlan);
  PlanOptions planOptions;
  planOptions.subPath = options_.subPath;
  planOptions.reread = rereads;
  planOptions.full = options_.full;
  planOptions.prune = options_.prune;
  planOptions.pruneMost = options_.pruneMost;
  planOptions.largestFile = options_.largestFile;
  planOptions.largestTotal = options_.largestTotal;
  planOptions.shouldContinue = [this](std::size_t, std::uint64_t) { return shouldContinue(); };
  staged_.clear();
  if (!hasFolder_) {
    NoDisk none;
    return makePlan(*listing_, State(), planOptions, {}, none, plan);
  }
  staging_.emplace(folder_, stamp_);
  // The folder may be a new one.
  if (disk_ == nullptr) disk_ = std::make_unique<PrefetchingDisk>(folder_);
  Outcome failure = makePlan(*listing_, disk_->state(), planOptions, stagedBytes(), *disk_, plan);
  disk_.reset();
  staged_.resize(plan.contents);
  return failure;
}

// Notes what the stage has of each content.
StagedBytes Updater::Run::stagedBytes() {
  // As a rule there is nothing, which one look shows.
  if (!hasStagedContents(folder_)) return {};
  return [this](const Entry& entry, std::size_t content) {
    Staging::Found found;
    const Outcome failure = staging_->find(
        entry, [this](std::uint64_t) { return shouldContinue(); }, found);
    // What cannot be read is fetched.
    if (failure) found = {};
    staged_.resize(std::max(staged_.size(), content + 1));
    staged_[content] = found;
    return found.size;
  };
}

// Fetches stamp and list, and both once more past caches when the list is not the signed one.
Outcome Updater::Run::findRelease() {
  if (Outcome failure = findStamp()) return failure;
  Outcome failure = fetchLibrarysList(false, false);
  if (!failure || !mayBeOutdated(*failure)) return failure;
  observer_.onSecondLook(*failure);
  failure = fetchLibrarysStamp(true);
  return failure ? failure : fetchLibrarysList(true, false);
}

Outcome Updater::Run::plan(Preview& preview) {
  if (Outcome failure = connect()) return failure;
  if (Outcome failure = openFolder(false)) return failure;
  if (Outcome failure = openRecord()) return failure;
  if (Outcome failure = findRelease()) return failure;
  Outcome failure = makePlanFor(false, preview.plan);
  preview.isCurrent = isCurrent();
  preview.stamp = stamp_;
  preview.listing = std::move(listing_);
  return failure;
}

Outcome Updater::Run::lockAndRead() {
  if (Outcome failure = lock()) return failure;
  if (options_.trust.forgets && !trust_.hasKeys()) {
    if (Outcome failure = forgetTrust(folder_)) return failure;
  }
  return openRecord();
}

Outcome Updater::Run::update(bool repairs, UpdateResult& result) {
  if (Outcome failure = connect()) return failure;
  if (Outcome failure = openFolder(false)) return failure;
  const bool isNew = !hasFolder_;
  if (hasFolder_) {
    if (Outcome failure = lockAndRead()) return failure;
    dropOldFiles(folder_);
  }
  Outcome failure = bringUpToDate(repairs, result);
  const bool isTaken = isNew && failure && failure->kind == Failure::Kind::kBusy;
  if (!isTaken || !options_.waitForOthers) return failure;
  // Another run has made the folder meanwhile.
  if (Outcome again = lockAndRead()) return again;
  return bringUpToDate(repairs, result);
}

Outcome Updater::Run::bringUpToDate(bool repairs, UpdateResult& result) {
  result = {};
  if (Outcome failure = findStamp()) return failure;
  result.stamp = stamp_;
  const bool isAsked = repairs || options_.full || options_.prune;
  if (!isAsked && isCurrent()) return {};
  if (hasFolder_) {
    if (Outcome failure = keepPlacedFiles(folder_)) return failure;
  }
  Outcome failure = bring(false, repairs, result);
  if (!failure || !isWorthASecondLook(*failure)) return failure;
  observer_.onSecondLook(*failure);
  if (Outcome again = fetchLibrarysStamp(true)) return again;
  result = {};
  result.stamp = stamp_;
  return bring(true, repairs, result);
}

// Brings the copy to the release whose stamp was fetched.
Outcome Updater::Run::bring(bool pastCaches, bool repairs, UpdateResult& result) {
  if (Outcome failure = fetchLibrarysList(pastCaches, true)) return failure;
  Plan plan;
  if (Outcome failure = makePlanFor(repairs, plan)) return failure;
  observer_.onPlan(plan);
  if (Outcome failure = stage(plan, result)) return failure;
  result.filesUnchanged = plan.filesUnchanged;
  result.bytesUnchanged = plan.bytesUnchanged;
  result.skipped = plan.skipped;
  result.withdrawn = plan.withdrawn;
  return commitPlan(plan, result);
}

Outcome Updater::Run::commitPlan(Plan& plan, UpdateResult& result) {
  observer_.onPhase(Phase::kCommit);
  const bool hasNewList = listPlace_ == ListSources::Place::kNewFile;
  CommitTarget target{options_.session.address, options_.subPath, stamp_, hasNewList};
  if (trust_.hasKeys()) target.trusted = trust_.recordWith(stamp_);
  CommitResult committed;
  Outcome failure = commit(folder_, plan, staged_, target, committed);
  result.placed = std::move(committed.changed);
  result.removed = std::move(committed.removed);
  result.isChanged = !result.placed.empty() || !result.removed.empty();
  result.commitTime = committed.renaming;
  result.busy = std::move(committed.busy);
  if (failure) return failure;
  if (!result.busy.empty()) return result.busy.front();
  const SkippedEntry* const obstacle = plan.obstacle();
  if (obstacle == nullptr) return {};
  return Failure{Failure::Kind::kDisk, obstacle->text, obstacle->path};
}

// Brings all contents that the plan needs into the stage, and what it does not need out of it.
Outcome Updater::Run::stage(Plan& plan, UpdateResult& result) {
  if (hasStagedContents(folder_)) {
    std::unordered_set<std::string> needed;
    for (const Plan::Place& place : plan.place)
      needed.insert(stagedPath(*place.entry, stamp_));
    if (Outcome failure = staging_->keepOnly(needed)) return failure;
  }
  if (Outcome failure = copyContents(plan, result)) return failure;
  return fetchContents(plan, result);
}

Outcome Updater::Run::copyContents(Plan& plan, UpdateResult& result) {
  for (const Plan::Copy& copy : plan.copy) {
    Staging::Found& found = staged_[copy.content];
    const auto shouldContinueReading = [this](std::uint64_t) { return shouldContinue(); };
    Outcome failure = staging_->copy(*copy.entry, copy.from, shouldContinueReading, found);
    if (failure && failure->kind == Failure::Kind::kContent) {
      // Somebody has changed the file since the plan was made.
      failure = addFetch({copy.entry, copy.content}, {}, options_.largestFile, plan);
      if (failure) return failure;
      continue;
    }
    if (failure) return failure;
    ++result.filesCopied;
    result.bytesCopied += found.size;
    observer_.onCopied(*copy.entry, copy.from);
  }
  return {};
}

Outcome Updater::Run::fetchContents(const Plan& plan, UpdateResult& result) {
  observer_.onPhase(Phase::kFetch);
  const std::uint64_t before = transfers_->receivedBytes();
  const auto received = [&] { return transfers_->receivedBytes() - before; };
  FetchCallbacks callbacks = callbacks_;
  callbacks.shouldContinue = [&] {
    observer_.onProgress(received(), plan.bytesToFetch);
    return shouldContinue();
  };
  Fetches client(*staging_, plan.fetch, staged_, options_.largestFile, callbacks,
                 [&](const Entry& entry, std::size_t mirror) {
                   ++result.filesFetched;
                   const bool isOneOfSeveral = mirrors_->size() > 1;
                   observer_.onFetched(entry, isOneOfSeveral ? mirrors_->address(mirror) : "");
                 });
  client.takeUncheckedFrom(stampMirror_);
  Outcome failure = client.openParts();
  if (!failure) failure = transfers_->run(client);
  result.bytesFetched += received();
  return failure;
}

Outcome Updater::Run::verify(VerifyResult& result) {
  if (Outcome failure = openFolder(false)) return failure;
  if (trust_.hasKeys()) {
    if (Outcome failure = openRecord()) return failure;
  }
  Listing listing;
  ListReader reader(listing);
  Outcome failure;
  std::error_code error = std::make_error_code(std::errc::no_such_file_or_directory);
  if (hasFolder_) {
    error = readPieces(
        folder_, kListFile,
        [&](std::string_view bytes) {
          if (shouldContinue()) return reader.feed(bytes);
          return Outcome(Failure{Failure::Kind::kCancelled, "stopped on request"});
        },
        failure);
  }
  if (error == std::errc::no_such_file_or_directory) {
    if (!hasFolder_ || options_.session.address.empty()) {
      return because(
          Failure::Cause::kNoKeptList,
          {Failure::Kind::kUsage, "no update of this folder has stored its list", options_.folder});
    }
    failure = openRecord();
    if (!failure) failure = connect();
    if (!failure) failure = trust_.hasKeys() ? findRelease() : fetchLibrarysList(false, false);
    return failure ? failure : compare(*listing_, result);
  }
  if (error) return diskFailure("cannot be read", kListFile, error);
  // Whatever else is wrong with a list that nobody signed.
  if (Outcome untrusted = trust_.checkKeptList(folder_)) return untrusted;
  if (!failure) failure = reader.finish();
  if (failure) {
    failure->about = kListFile;
    return failure;
  }
  return compare(listing, result);
}

Outcome Updater::Run::compare(const Listing& listing, VerifyResult& result) {
  observer_.onPhase(Phase::kVerify);
  std::uint64_t total = 0;
  for (const Entry& entry : listing)
    if (entry.sha256) total += entry.size.value_or(0);
  const auto shouldContinue = [&] {
    observer_.onProgress(result.bytesRead, total);
    return this->shouldContinue();
  };
  return verifyCopy(folder_, listing, options_.subPath, shouldContinue, result);
}

Updater::Updater(UpdateOptions options, UpdateObserver& observer, Timing* timing)
    : options_(std::move(options)),
      observer_(observer),
      timing_(timing != nullptr ? *timing : ownTiming_) {}

template <typename Operation>
Outcome Updater::perform(Operation operation) {
  // Short enough for a string to hold without memory.
  const auto outOfMemory = [] { return Failure{Failure::Kind::kMemory, "out of memory"}; };
  try {
    Run run(*this);
    Outcome failure = operation(run);
    run.tellReceived();
    return failure;
  } catch (const std::bad_alloc&) {
    return outOfMemory();
  } catch (const std::system_error& error) {
    // A thread is created of memory, and on some systems a mutex when it is first locked.
    if (error.code() != std::errc::not_enough_memory &&
        error.code() != std::errc::resource_unavailable_try_again)
      throw;
    return outOfMemory();
  }
}

Outcome Updater::check(CheckResult& result) {
  result = {};
  return perform([&](Run& run) { return run.check(result); });
}

Outcome Updater::plan(Preview& preview) {
  preview = {};
  return perform([&](Run& run) { return run.plan(preview); });
}

Outcome Updater::update(UpdateResult& result) {
  result = {};
  return perform([&](Run& run) { return run.update(false, result); });
}

Outcome Updater::verify(VerifyResult& result) {
  result = {};
  return perform([&](Run& run) { return run.verify(result); });
}

Outcome Updater::repair(UpdateResult& result) {
  result = {};
  return perform([&](Run& run) { return run.update(true, result); });
}

}  // namespace mtlupdate
