// The keeper that uses the engine. Each operation has its own Updater, so connections exist only
// while an operation runs.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <limits>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include "engine_events.h"
#include "explanation.h"
#include "keeper.h"
#include "module.h"
#include "mtlhost/folder_name.h"
#include "mtllib/version.h"
#include "platform/file_names.h"
#include "rules/address.h"
#include "rules/path.h"
#include "trust.h"
#include "update/commit.h"
#include "update/system.h"
#include "update/updater.h"

namespace mtlhost {

namespace {

using mtlupdate::Outcome;
using Status = Result::Status;

/// Clocks count nanoseconds: what is added to them must not be too much.
constexpr std::chrono::seconds kLongestTimeLimit = std::chrono::hours(24) * 365 * 100;

std::optional<std::string> proxyOf(const Settings& settings) {
  if (settings.proxyMode == PROXY_MODE_EXPLICIT) return settings.proxyAddress;
  if (settings.proxyMode == PROXY_MODE_DISABLED) return "";
  return std::nullopt;
}

/// As many as can be counted, with room for more; a negative number stays one.
int countOf(std::int64_t number) {
  constexpr int kMost = std::numeric_limits<int>::max() / 2;
  return static_cast<int>(std::clamp<std::int64_t>(number, -1, kMost));
}

void takeNetwork(const NetworkSettings& network, mtlupdate::SessionOptions& session) {
  session.caFile = network.caFile;
  session.proxyUser = network.proxyUser;
  session.proxyPassword = network.proxyPassword;
  for (const RequestField& field : network.fields)
    session.fields.emplace_back(field.name, field.value);
  session.query = network.query;
  if (!network.userAgent.empty()) session.userAgent = network.userAgent;
  session.connectMilliseconds = countOf(network.connectTimeout.count());
  session.stallSeconds = countOf(network.stallTimeout.count());
}

mtlupdate::UpdateOptions optionsOf(const Settings& settings, mtlupdate::TrustOptions trust) {
  const UpdateSettings& update = settings.update;
  mtlupdate::UpdateOptions options;
  options.session.address =
      settings.remoteAddress.empty() ? mtlrules::defaultAddress() : settings.remoteAddress;
  options.session.userAgent = "mtllib/" MTLLIB_VERSION;
  options.session.proxy = proxyOf(settings);
  options.session.bytesPerSecond = update.bytesPerSecond;
  takeNetwork(settings.network, options.session);
  options.folder = copyFolder(settings.targetDirectory);
  options.subPath = mtlrules::plainPath(settings.subPath);
  options.full = update.full;
  options.prune = update.prune;
  options.pruneMost = update.pruneMost;
  options.largestFile = update.largestFile;
  options.largestTotal = update.largestTotal;
  if (update.timeLimit) options.timeLimit = std::min(*update.timeLimit, kLongestTimeLimit);
  options.retries.tries = update.tries;
  options.waitForOthers = update.waitsForOthers;
  options.trust = std::move(trust);
  options.mirrors = settings.mirrors;
  return options;
}

Result::Failure kindOf(mtlupdate::Failure::Kind kind) {
  using Kind = mtlupdate::Failure::Kind;
  switch (kind) {
    case Kind::kUsage:
      return Result::Failure::kUsage;
    case Kind::kNetwork:
      return Result::Failure::kNetwork;
    case Kind::kDisk:
      return Result::Failure::kDisk;
    case Kind::kContent:
      return Result::Failure::kContent;
    case Kind::kUntrusted:
      return Result::Failure::kUntrusted;
    case Kind::kLimit:
      return Result::Failure::kLimit;
    case Kind::kBusy:
      return Result::Failure::kAnotherRun;
    case Kind::kMemory:
      return Result::Failure::kMemory;
    case Kind::kCancelled:
      break;
  }
  return Result::Failure::kNone;
}

/// Whether it is about a file or folder, relative to that of the copy.
bool isOfTheCopy(const mtlupdate::Failure& failure) {
  using Kind = mtlupdate::Failure::Kind;
  if (failure.kind == Kind::kDisk) return true;
  const bool isFile = !failure.about.empty() && failure.about.find("://") == std::string::npos;
  return isFile && (failure.kind == Kind::kContent || failure.kind == Kind::kUntrusted ||
                    failure.kind == Kind::kLimit);
}

Difference differenceOf(const mtlupdate::Difference& difference) {
  using Kind = mtlupdate::Difference::Kind;
  switch (difference.kind) {
    case Kind::kWrongSize:
      return {Difference::Kind::kWrongSize, difference.path};
    case Kind::kDamaged:
      return {Difference::Kind::kDamaged, difference.path};
    case Kind::kUnreadable:
      return {Difference::Kind::kUnreadable, difference.path, difference.reason};
    case Kind::kMissing:
      return {Difference::Kind::kMissing, difference.path};
    case Kind::kExtra:
      return {Difference::Kind::kExtra, difference.path};
    case Kind::kChanged:
      break;
  }
  return {Difference::Kind::kChanged, difference.path};
}

Amount amountOf(std::size_t files, std::uint64_t bytes) {
  return {static_cast<std::int64_t>(files), signedBytes(bytes)};
}

void take(mtlupdate::UpdateResult update, Result& result) {
  result.isChanged = update.isChanged;
  result.stamp = std::move(update.stamp);
  result.fetched = amountOf(update.filesFetched, update.bytesFetched);
  result.copied = amountOf(update.filesCopied, update.bytesCopied);
  result.unchanged = amountOf(update.filesUnchanged, update.bytesUnchanged);
  const std::unordered_set<std::string> removed(update.removed.begin(), update.removed.end());
  for (const mtlupdate::Plan::Withdrawn& file : update.withdrawn) {
    Amount& amount = removed.count(file.path) > 0 ? result.removed : result.withdrawn;
    ++amount.files;
    amount.bytes += signedBytes(file.identity.size);
  }
  result.changedPaths = std::move(update.placed);
  result.removedPaths = std::move(update.removed);
  result.commitTime = update.commitTime;
}

class EngineKeeper final : public Keeper {
 public:
  EngineKeeper(const Settings& settings, mtlupdate::TrustOptions trust, EventStream& events)
      : options_(optionsOf(settings, std::move(trust))),
        hasAddress_(!settings.remoteAddress.empty()),
        subject_{options_.session.address, options_.folder, options_.subPath, "",
                 options_.session.caFile},
        events_(events) {}

  Result check() override;
  Result run() override { return update(&mtlupdate::Updater::update); }
  Result plan(Plan& plan) override;
  Result verify() override;
  Result repair() override { return update(&mtlupdate::Updater::repair); }

 private:
  using Update = Outcome (mtlupdate::Updater::*)(mtlupdate::UpdateResult& result);

  Result update(Update kind);
  /// Ends an operation that had this outcome, and otherwise this result.
  Result finished(const Outcome& failure, const std::string& proxy, Result result);
  void tellStamps(bool areTheSame);
  void tellFiles(const mtlupdate::UpdateResult& update, const Outcome& failure);

  const mtlupdate::UpdateOptions options_;
  const bool hasAddress_;  ///< Of the library's own, not only the default one.
  Subject subject_;
  EventStream& events_;
};

Result EngineKeeper::finished(const Outcome& failure, const std::string& proxy, Result result) {
  if (failure) {
    mtlupdate::Failure told = *failure;
    // Whoever reads a log does not know which copy it is of.
    if (isOfTheCopy(told) && told.about != options_.folder) {
      told.about =
          told.about.empty() ? options_.folder : mtlrules::joinedPath(options_.folder, told.about);
    }
    subject_.proxy = proxy;
    Result failed = failedBy(told, subject_);
    result.status = failed.status;
    result.failure = failed.failure;
    result.errors = std::move(failed.errors);
    events_.tell([&](Observer& observer) { observer.error(result.errors); });
  } else {
    const bool isDone = result.status == Status::kDone;
    result.code = isDone ? 0 : 1;
  }
  const CallRecord record = events_.finish();
  if (record.failure) std::rethrow_exception(record.failure);
  return result;
}

void EngineKeeper::tellStamps(bool areTheSame) {
  if (areTheSame) {
    events_.logStage("Local and remote stamp files match. Nothing to do.");
  } else {
    events_.logStage("Local and remote stamp files are different.");
  }
}

Result EngineKeeper::check() {
  EngineEvents events(events_);
  mtlupdate::CheckResult check;
  const Outcome failure = mtlupdate::Updater(options_, events).check(check);
  events.end(!failure);
  if (!failure) tellStamps(check.isCurrent);
  Result result{check.isCurrent ? Status::kDone : Status::kUpdateAvailable};
  result.receivedBytes = events.receivedBytes();
  result.stamp = std::move(check.stamp);
  return finished(failure, events.proxy(), std::move(result));
}

Result EngineKeeper::update(Update kind) {
  const std::string address = mtlrules::withoutUserName(options_.session.address);
  events_.logInfo("Remote address: \"%s\"", address.c_str());
  for (const std::string& mirror : options_.mirrors)
    events_.logInfo("Mirror: \"%s\"", mtlrules::withoutUserName(mirror).c_str());
  events_.logInfo("Target directory: \"%s\"", options_.folder.c_str());
  EngineEvents events(events_);
  mtlupdate::Updater updater(options_, events);
  mtlupdate::UpdateResult done;
  const Outcome failure = (updater.*kind)(done);
  events.end(!failure);
  if (!failure && !events.hasAskedForList()) tellStamps(true);
  tellFiles(done, failure);
  Result result{Status::kDone};
  take(std::move(done), result);
  result.receivedBytes = events.receivedBytes();
  return finished(failure, events.proxy(), std::move(result));
}

void EngineKeeper::tellFiles(const mtlupdate::UpdateResult& update, const Outcome& failure) {
  const auto tell = [&](const FileChange& change) {
    events_.tell([&](Observer& observer) { observer.file(change); });
  };
  for (const mtlupdate::SkippedEntry& entry : update.skipped) {
    if (entry.reason == mtlupdate::SkippedEntry::Reason::kChanged) {
      events_.logInfo("Left \"%s\" as it is: it %s", entry.path.c_str(), entry.text.c_str());
    } else if (!failure || failure->about != entry.path) {
      events_.logWarning("Skipped \"%s\": %s", entry.path.c_str(), entry.text.c_str());
    }
    tell({FileChange::Kind::kSkipped, entry.path, std::nullopt, "", entry.text});
  }
  const std::unordered_set<std::string> removed(update.removed.begin(), update.removed.end());
  for (const mtlupdate::Plan::Withdrawn& file : update.withdrawn) {
    const bool isRemoved = removed.count(file.path) > 0;
    const std::int64_t size = signedBytes(file.identity.size);
    if (isRemoved) {
      events_.logInfo("Removed \"%s\" (%lli bytes)", file.path.c_str(),
                      static_cast<long long>(size));
    } else {
      events_.logInfo("The library does not have \"%s\" any longer (%lli bytes)", file.path.c_str(),
                      static_cast<long long>(size));
    }
    tell({isRemoved ? FileChange::Kind::kRemoved : FileChange::Kind::kWithdrawn, file.path, size});
  }
  // The first one is the failure.
  for (std::size_t i = 1; i < update.busy.size(); ++i)
    events_.logWarning("%s", textOf(update.busy[i]).c_str());
}

Result EngineKeeper::plan(Plan& plan) {
  EngineEvents events(events_);
  mtlupdate::Preview preview;
  const Outcome failure = mtlupdate::Updater(options_, events).plan(preview);
  events.end(!failure);
  Result result{Status::kDone};
  // A run would end after one request.
  const bool isNothing = preview.isCurrent && !options_.full && !options_.prune;
  if (!isNothing) plan = planOf(preview.plan);
  const bool changesFiles = !preview.plan.place.empty() || plan.removed.files > 0;
  if (!isNothing && (!preview.isCurrent || changesFiles)) result.status = Status::kUpdateAvailable;
  result.stamp = std::move(preview.stamp);
  result.receivedBytes = events.receivedBytes();
  return finished(failure, events.proxy(), std::move(result));
}

Result EngineKeeper::verify() {
  EngineEvents events(events_);
  mtlupdate::VerifyResult verified;
  mtlupdate::UpdateOptions options = options_;
  // Without one, the network is left alone.
  if (!hasAddress_) options.session.address.clear();
  const Outcome failure = mtlupdate::Updater(options, events).verify(verified);
  events.end(!failure);
  Result result{verified.differences.empty() ? Status::kDone : Status::kDifferent};
  for (const mtlupdate::Difference& difference : verified.differences)
    result.differences.push_back(differenceOf(difference));
  result.compared = amountOf(verified.filesRead, verified.bytesRead);
  result.receivedBytes = events.receivedBytes();
  return finished(failure, events.proxy(), std::move(result));
}

/// What the engine cannot do with these settings; empty when it can use them.
Errors settingsProblem(const Settings& settings) {
  const std::string& subPath = settings.subPath;
  const int tries = settings.update.tries;
  if (settings.targetDirectory.empty()) {
    return explained({ownError("No folder is named for the copy")}, ErrorKind::kSettings);
  }
  if (settings.network.proxyUser.empty() && !settings.network.proxyPassword.empty()) {
    return explained({ownError("A password for the proxy is set without a user name")},
                     ErrorKind::kSettings);
  }
  if (tries < 1 || tries > kMostTries) {
    return explained({ownError("A request can be tried 1 to " + std::to_string(kMostTries) +
                               " times, not " + std::to_string(tries) + " times")},
                     ErrorKind::kSettings);
  }
  if (!subPath.empty() && !mtlrules::staysBelow(subPath, Platform::kHasWindowsNames)) {
    return explained({ownError("The sub-path \"" + subPath + "\" does not stay in the library")},
                     ErrorKind::kSettings, subPath);
  }
  return {};
}

}  // namespace

Result failedBy(const mtlupdate::Failure& failure, const Subject& subject) {
  Result result = failedBy(kindOf(failure.kind), {explainedError(failure, subject)});
  if (failure.kind == mtlupdate::Failure::Kind::kCancelled) result.status = Status::kCancelled;
  return result;
}

bool isUpdateUnfinished(const std::string& targetDirectory) {
  mtlupdate::Folder folder;
  return !folder.open(copyFolder(targetDirectory), false) && mtlupdate::isUnfinished(folder);
}

std::string copyFolder(const std::string& targetDirectory) {
  std::string folder = mtlrules::canonicalPath(withoutClimbing(targetDirectory));
  return folder.empty() ? targetDirectory : folder;
}

std::unique_ptr<Keeper> openEngine(const Settings& settings, EventStream& events, Errors& problem) {
  problem = proxyProblem(settings);
  if (problem.empty()) problem = settingsProblem(settings);
  if (!problem.empty()) return nullptr;
  auto trust = trustOptionsOf(settings.trust, problem);
  if (!trust) return nullptr;
  return std::make_unique<EngineKeeper>(settings, *std::move(trust), events);
}

}  // namespace mtlhost
