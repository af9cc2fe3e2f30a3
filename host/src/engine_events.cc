// Translates events of the engine. Captions and values are those of the module, so that hosts need
// not know which of the two is at work.
#include "engine_events.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <utility>

#include "explanation.h"

namespace mtlhost {

namespace {

using ChangeKind = FileChange::Kind;

constexpr int kPermille = 1000;
constexpr std::int64_t kBytesPerMegabyte = 1000000;
constexpr const char* kComparing = "Comparing files";
constexpr const char* kFetching = "Downloading files";

std::optional<std::int64_t> sizeOf(const mtlupdate::Entry& entry) {
  if (!entry.size) return std::nullopt;
  return signedBytes(*entry.size);
}

FileChange changeOf(ChangeKind kind, const mtlupdate::Entry& entry) {
  return {kind, std::string(entry.path), sizeOf(entry)};
}

}  // namespace

std::int64_t signedBytes(std::uint64_t bytes) {
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  return static_cast<std::int64_t>(std::min(bytes, kMost));
}

// Contents to fetch and to copy are in the order of the places that they go to.
Plan planOf(const mtlupdate::Plan& plan) {
  Plan made;
  auto fetch = plan.fetch.begin();
  auto copy = plan.copy.begin();
  for (const mtlupdate::Plan::Place& place : plan.place) {
    if (fetch != plan.fetch.end() && fetch->entry == place.entry) {
      made.files.push_back(changeOf(ChangeKind::kFetched, *place.entry));
      ++fetch;
      continue;
    }
    made.files.push_back(changeOf(ChangeKind::kCopied, *place.entry));
    ++made.copied.files;
    if (copy != plan.copy.end() && copy->entry == place.entry) {
      made.files.back().source = copy->from;
      ++copy;
    }
  }
  for (const mtlupdate::Plan::Withdrawn& file : plan.withdrawn) {
    const bool isRemoved = plan.removes(file);
    const std::int64_t size = signedBytes(file.identity.size);
    made.files.push_back(
        {isRemoved ? ChangeKind::kRemoved : ChangeKind::kWithdrawn, file.path, size});
    Amount& amount = isRemoved ? made.removed : made.withdrawn;
    ++amount.files;
    amount.bytes += size;
  }
  for (const mtlupdate::SkippedEntry& entry : plan.skipped)
    made.files.push_back({ChangeKind::kSkipped, entry.path, std::nullopt, "", entry.text});
  const auto count = [](std::size_t files) { return static_cast<std::int64_t>(files); };
  made.fetched = {count(plan.fetch.size()), signedBytes(plan.bytesToFetch)};
  made.copied.bytes = signedBytes(plan.bytesToCopy);
  made.replaced = {count(plan.filesReplaced), signedBytes(plan.bytesReplaced)};
  made.unchanged = {count(plan.filesUnchanged), signedBytes(plan.bytesUnchanged)};
  made.unknownSizes = count(plan.fetchesOfUnknownSize);
  made.spaceNeeded = signedBytes(plan.spaceNeeded);
  if (plan.spaceAvailable) made.spaceAvailable = signedBytes(*plan.spaceAvailable);
  return made;
}

void EngineEvents::end(bool isWell) {
  if (measured_ != nullptr && isWell) tellMeasured(total_);
  endPhase();
}

std::int64_t EngineEvents::receivedBytes() const {
  return signedBytes(received_);
}

bool EngineEvents::shouldContinue() {
  Krell::Networking::TransferProgress progress{0, receivedBytes()};
  return events_.isAborted(nullptr, &progress, nullptr) == 0;
}

void EngineEvents::onProxy(const std::string& proxy) {
  proxy_ = proxy;
  if (proxy.empty()) return events_.logInfo("No HTTP proxy: using direct connection.");
  events_.logInfo("HTTP proxy: \"%s\"", proxy.c_str());
}

void EngineEvents::onPhase(Phase phase) {
  switch (phase) {
    case Phase::kStamp:
      beginPhase("Accessing stamp");
      return events_.logStage("Downloading remote stamp file");
    case Phase::kList:
      hasAskedForList_ = true;
      return beginPhase("Getting file list");
    case Phase::kPlan:
      return beginPhase(kComparing);
    case Phase::kFetch:
      if (hasContents_) beginMeasuring(kFetching, bytesToFetch_);
      return;
    case Phase::kCommit:
      if (measured_ != nullptr) tellMeasured(total_);
      return beginPhase("Replacing files");
    case Phase::kVerify:
      isVerifying_ = true;
      return;
  }
}

void EngineEvents::onPlan(const mtlupdate::Plan& plan) {
  hasContents_ = !plan.fetch.empty() || !plan.copy.empty();
  bytesToFetch_ = plan.fetchesOfUnknownSize == 0 ? signedBytes(plan.bytesToFetch) : 0;
  const Plan made = planOf(plan);
  events_.tell([&](Observer& observer) { observer.planned(made); });
}

void EngineEvents::onProgress(std::uint64_t bytes, std::uint64_t total) {
  if (std::exchange(isVerifying_, false)) beginMeasuring(kComparing, signedBytes(total));
  if (measured_ != nullptr) tellMeasured(signedBytes(bytes));
}

void EngineEvents::onFetched(const mtlupdate::Entry& entry, const std::string& address) {
  FileChange change = changeOf(ChangeKind::kFetched, entry);
  change.source = address;
  events_.logStage("Downloaded file \"%s\" (%lli bytes)", change.path.c_str(),
                   static_cast<long long>(change.size.value_or(0)));
  events_.tell([&](Observer& observer) { observer.file(change); });
}

void EngineEvents::onCopied(const mtlupdate::Entry& entry, const std::string& from) {
  FileChange change = changeOf(ChangeKind::kCopied, entry);
  change.source = from;
  events_.logStage("Copied file \"%s\" from \"%s\"", change.path.c_str(), from.c_str());
  events_.tell([&](Observer& observer) { observer.file(change); });
}

void EngineEvents::onRetry(const mtlupdate::Failure& failure, std::chrono::milliseconds wait) {
  events_.logWarning("%s; trying again in %lli ms", textOf(failure).c_str(),
                     static_cast<long long>(wait.count()));
}

void EngineEvents::onNextAddress(const mtlupdate::Failure& failure, const std::string& address) {
  events_.logWarning("%s; trying \"%s\" instead", textOf(failure).c_str(), address.c_str());
}

void EngineEvents::onSecondLook(const mtlupdate::Failure& failure) {
  events_.logWarning("%s; looking at the library's stamp and list again", textOf(failure).c_str());
}

void EngineEvents::onWarning(const std::string& warning) {
  events_.tell([&](Observer& observer) { observer.warning(warning); });
}

void EngineEvents::onWaiting(std::int64_t process) {
  if (!hasToldOfWaiting_) {
    events_.logStage("Waiting for another run on this folder: process %lli",
                     static_cast<long long>(process));
  }
  hasToldOfWaiting_ = true;
  events_.tell([process](Observer& observer) { observer.waiting(process); });
}

void EngineEvents::beginPhase(const char* caption) {
  endPhase();
  isInPhase_ = true;
  events_.setProgressText(caption);
}

void EngineEvents::endPhase() {
  if (isInPhase_) events_.endProgress();
  isInPhase_ = false;
  measured_ = nullptr;
}

void EngineEvents::beginMeasuring(const char* caption, std::int64_t total) {
  beginPhase(caption);
  if (total == 0) return;
  measured_ = caption;
  total_ = total;
  permille_ = -1;
  events_.setProgressRange(kPermille);
  tellMeasured(0);
  events_.beginProgress();
}

void EngineEvents::tellMeasured(std::int64_t bytes) {
  // More than was planned arrives when a body is fetched again.
  bytes = std::min(bytes, total_);
  events_.setPhaseBytes(bytes, total_);
  const double share = static_cast<double>(bytes) / static_cast<double>(total_);
  const auto permille = static_cast<int>(share * kPermille);
  if (permille <= permille_) return;
  permille_ = permille;
  const std::string caption = std::string(measured_) + " (" +
                              std::to_string(bytes / kBytesPerMegabyte) + "MB / " +
                              std::to_string(total_ / kBytesPerMegabyte) + "MB)";
  events_.setProgressText(caption.c_str());
  events_.setProgressValue(permille);
}

}  // namespace mtlhost
