// An Outcome is how a run ended, in the forms that people and programs are given.
#ifndef MTLLIB_TOOLS_MTLSYNC_OUTCOME_H_
#define MTLLIB_TOOLS_MTLSYNC_OUTCOME_H_

#include <string>

#include "mtlhost/library.h"
#include "mtlsync/exit_status.h"
#include "mtlsync/options.h"
#include "mtlsync/sync_observer.h"

namespace mtlsync {

enum class Outcome {
  kUpdated,
  kUpToDate,
  kUpdateAvailable,
  kPlanned,    ///< Of kPlan.
  kAsListed,   ///< Of kVerify.
  kDifferent,  ///< Of kVerify.
  kFailed,
  kInterrupted
};

/// What a result's code means; `stopped` when the user asked to stop.
Outcome outcomeOf(int code, bool stopped, const Options& options, const RunRecord& record);

/// The name that programs know it by.
const char* nameOf(Outcome outcome);

/// The same of a failure.
const char* nameOf(mtlhost::Result::Failure failure);

/// `failure` counts with kFailed only.
ExitStatus exitStatusOf(Outcome outcome, mtlhost::Result::Failure failure);

/// A closing line for people: a word that says that all is well, and the rest. Both are ""
/// when others have said why it is not.
struct ClosingLine {
  std::string word;
  std::string rest;
};
ClosingLine closingLine(Outcome outcome, const RunRecord& record, double seconds);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_OUTCOME_H_
