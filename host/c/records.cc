// Fills the records of the C interface. Kinds and failures have their own numbers in C, which do
// not depend on the order of the C++ enumerations.
#include "records.h"

#include <cstddef>
#include <cstdint>

#include "mtlhost/utf8.h"

namespace {

std::int32_t kindOf(mtlhost::FileChange::Kind kind) {
  using Kind = mtlhost::FileChange::Kind;
  switch (kind) {
    case Kind::kFetched:
      return MTLHOST_FILE_FETCHED;
    case Kind::kCopied:
      return MTLHOST_FILE_COPIED;
    case Kind::kWithdrawn:
      return MTLHOST_FILE_WITHDRAWN;
    case Kind::kRemoved:
      return MTLHOST_FILE_REMOVED;
    case Kind::kSkipped:
      break;
  }
  return MTLHOST_FILE_SKIPPED;
}

std::int32_t kindOf(mtlhost::Difference::Kind kind) {
  using Kind = mtlhost::Difference::Kind;
  switch (kind) {
    case Kind::kDamaged:
      return MTLHOST_FILE_DAMAGED;
    case Kind::kMissing:
      return MTLHOST_FILE_MISSING;
    case Kind::kExtra:
      return MTLHOST_FILE_EXTRA;
    case Kind::kWrongSize:
      return MTLHOST_FILE_WRONG_SIZE;
    case Kind::kUnreadable:
      return MTLHOST_FILE_UNREADABLE;
    case Kind::kChanged:
      break;
  }
  return MTLHOST_FILE_CHANGED;
}

std::int32_t failureOf(mtlhost::Result::Failure failure) {
  using Failure = mtlhost::Result::Failure;
  switch (failure) {
    case Failure::kNone:
      return MTLHOST_FAILURE_NONE;
    case Failure::kUsage:
      return MTLHOST_FAILURE_USAGE;
    case Failure::kNetwork:
      return MTLHOST_FAILURE_NETWORK;
    case Failure::kDisk:
      return MTLHOST_FAILURE_DISK;
    case Failure::kContent:
      return MTLHOST_FAILURE_CONTENT;
    case Failure::kLimit:
      return MTLHOST_FAILURE_LIMIT;
    case Failure::kAnotherRun:
      return MTLHOST_FAILURE_ANOTHER_RUN;
    case Failure::kMemory:
      return MTLHOST_FAILURE_MEMORY;
    case Failure::kUntrusted:
      return MTLHOST_FAILURE_UNTRUSTED;
    case Failure::kOther:
      break;
  }
  return MTLHOST_FAILURE_OTHER;
}

mtlhost_amount amountOf(const mtlhost::Amount& amount) {
  return {amount.files, amount.bytes};
}

}  // namespace

FileRecord::FileRecord(const mtlhost::FileChange& change)
    : mtlhost_file{},
      pathText_(mtlhost::validUtf8(change.path)),
      sourceText_(mtlhost::validUtf8(change.source)),
      reasonText_(mtlhost::validUtf8(change.reason)) {
  size = sizeof(mtlhost_file);
  kind = kindOf(change.kind);
  path = pathText_.c_str();
  bytes = change.size.value_or(-1);
  source = sourceText_.c_str();
  reason = reasonText_.c_str();
}

FileRecord::FileRecord(const mtlhost::Difference& difference)
    : FileRecord(mtlhost::FileChange{{}, difference.path, {}, {}, difference.reason}) {
  kind = kindOf(difference.kind);
}

TextRecords::TextRecords(const std::vector<std::string>& texts) {
  for (const std::string& text : texts)
    pointers_.push_back(texts_.emplace_back(mtlhost::validUtf8(text)).c_str());
}

PlanRecord::PlanRecord(const mtlhost::Plan& plan) : mtlhost_update_plan{}, records_(plan.files) {
  size = sizeof(mtlhost_update_plan);
  fetched = amountOf(plan.fetched);
  copied = amountOf(plan.copied);
  replaced = amountOf(plan.replaced);
  removed = amountOf(plan.removed);
  withdrawn = amountOf(plan.withdrawn);
  unchanged = amountOf(plan.unchanged);
  unknown_sizes = plan.unknownSizes;
  space_needed = plan.spaceNeeded;
  space_available = plan.spaceAvailable.value_or(-1);
  file_count = records_.count();
  files = records_.data();
}

ResultRecord::ResultRecord(const mtlhost::Result& result)
    : mtlhost_result{},
      stampText_(mtlhost::validUtf8(result.stamp)),
      changed_(result.changedPaths),
      removed_(result.removedPaths),
      differenceRecords_(result.differences) {
  size = sizeof(mtlhost_result);
  failure = failureOf(result.failure);
  is_changed = result.isChanged ? 1 : 0;
  stamp = stampText_.c_str();
  fetched = amountOf(result.fetched);
  copied = amountOf(result.copied);
  removed = amountOf(result.removed);
  withdrawn = amountOf(result.withdrawn);
  unchanged = amountOf(result.unchanged);
  compared = amountOf(result.compared);
  received_bytes = result.receivedBytes;
  commit_microseconds = result.commitTime.count();
  changed_count = changed_.count();
  changed_paths = changed_.data();
  removed_count = removed_.count();
  removed_paths = removed_.data();
  difference_count = differenceRecords_.count();
  differences = differenceRecords_.data();
}
