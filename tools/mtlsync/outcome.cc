// Describes outcomes: one table for programs and one for people.
#include "mtlsync/outcome.h"

#include <cstdint>

#include "common/quantity_text.h"

namespace mtlsync {

namespace {

std::string countText(std::int64_t count, const std::string& one, const std::string& several) {
  return std::to_string(count) + ' ' + (count == 1 ? one : several);
}

}  // namespace

Outcome outcomeOf(int code, bool stopped, const Options& options, const RunRecord& record) {
  if (code < 0) return stopped ? Outcome::kInterrupted : Outcome::kFailed;
  if (options.mode == Mode::kCheck) {
    return code > 0 ? Outcome::kUpdateAvailable : Outcome::kUpToDate;
  }
  if (options.mode == Mode::kPlan) return Outcome::kPlanned;
  if (options.mode == Mode::kVerify) return code > 0 ? Outcome::kDifferent : Outcome::kAsListed;
  return record.isUnchanged ? Outcome::kUpToDate : Outcome::kUpdated;
}

const char* nameOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kUpdated:
      return "updated";
    case Outcome::kUpToDate:
      return "upToDate";
    case Outcome::kUpdateAvailable:
      return "updateAvailable";
    case Outcome::kPlanned:
      return "planned";
    case Outcome::kAsListed:
      return "asListed";
    case Outcome::kDifferent:
      return "different";
    case Outcome::kFailed:
      return "failed";
    case Outcome::kInterrupted:
      return "interrupted";
  }
  return "";
}

const char* nameOf(mtlhost::Result::Failure failure) {
  using Failure = mtlhost::Result::Failure;
  switch (failure) {
    case Failure::kUsage:
      return "usage";
    case Failure::kNetwork:
      return "network";
    case Failure::kDisk:
      return "disk";
    case Failure::kContent:
      return "content";
    case Failure::kLimit:
      return "limit";
    case Failure::kAnotherRun:
      return "anotherRun";
    case Failure::kMemory:
      return "memory";
    case Failure::kUntrusted:
      return "untrusted";
    case Failure::kNone:
    case Failure::kOther:
      break;
  }
  return "other";
}

namespace {

ExitStatus exitStatusOf(mtlhost::Result::Failure failure) {
  using Failure = mtlhost::Result::Failure;
  switch (failure) {
    case Failure::kUsage:
      return kExitWrongUsage;
    case Failure::kNetwork:
      return kExitNetwork;
    case Failure::kDisk:
      return kExitDisk;
    case Failure::kContent:
    case Failure::kUntrusted:
      return kExitContent;
    case Failure::kAnotherRun:
      return kExitAnotherRun;
    case Failure::kNone:
    case Failure::kOther:
    case Failure::kLimit:
    case Failure::kMemory:
      return kExitFailed;
  }
  return kExitFailed;
}

}  // namespace

ExitStatus exitStatusOf(Outcome outcome, mtlhost::Result::Failure failure) {
  switch (outcome) {
    case Outcome::kUpdated:
    case Outcome::kUpToDate:
    case Outcome::kPlanned:
    case Outcome::kAsListed:
      return kExitDone;
    case Outcome::kUpdateAvailable:
      return kExitUpdateAvailable;
    case Outcome::kDifferent:
      return kExitDifferent;
    case Outcome::kFailed:
      return exitStatusOf(failure);
    case Outcome::kInterrupted:
      return kExitInterrupted;
  }
  return kExitFailed;
}

ClosingLine closingLine(Outcome outcome, const RunRecord& record, double seconds) {
  switch (outcome) {
    case Outcome::kUpdated:
      return {"Updated:", ' ' + countText(record.files, "file, ", "files, ") +
                              common::bytesText(record.bytes) + " in " +
                              common::durationText(seconds) + '.'};
    case Outcome::kUpToDate:
      return {"Up to date.", ""};
    case Outcome::kUpdateAvailable:
      return {"", "An update is available."};
    case Outcome::kAsListed:
      return {"As listed:", ' ' + countText(record.compared, "file.", "files.")};
    case Outcome::kDifferent:
      return {"", countText(record.differences, "difference.", "differences.")};
    case Outcome::kPlanned:
    case Outcome::kFailed:
    case Outcome::kInterrupted:
      break;
  }
  return {};
}

}  // namespace mtlsync
