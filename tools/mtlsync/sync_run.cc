// Loads, runs, and turns what happened into a closing line and an exit status.
#include "mtlsync/sync_run.h"

#include <chrono>
#include <iostream>
#include <string>

#include "mtlhost/library.h"
#include "mtlhost/system.h"
#include "mtlsync/console.h"
#include "mtlsync/json_events.h"
#include "mtlsync/module_search.h"
#include "mtlsync/progress_display.h"
#include "mtlsync/repair.h"
#include "mtlsync/sync_observer.h"
#include "mtlsync/system.h"
#include "quantity/quantity_text.h"

namespace mtlsync {

namespace {

using Clock = std::chrono::steady_clock;

enum class Status { kUpdated, kUpToDate, kUpdateAvailable, kFailed, kInterrupted };

const char* nameOf(Status status) {
  switch (status) {
    case Status::kUpdated:
      return "updated";
    case Status::kUpToDate:
      return "upToDate";
    case Status::kUpdateAvailable:
      return "updateAvailable";
    case Status::kFailed:
      return "failed";
    case Status::kInterrupted:
      return "interrupted";
  }
  return "";
}

ExitStatus exitStatusOf(Status status) {
  switch (status) {
    case Status::kUpdated:
    case Status::kUpToDate:
      return kExitDone;
    case Status::kUpdateAvailable:
      return kExitUpdateAvailable;
    case Status::kFailed:
      return kExitFailed;
    case Status::kInterrupted:
      return kExitInterrupted;
  }
  return kExitFailed;
}

std::string moduleFileOf(const Options& options, ErrorEntries& problem) {
  if (!options.moduleFile.empty()) return options.moduleFile;
  return firstExisting(moduleCandidates(mtlhost::ownFolder()), problem);
}

/// The result of using the module; a failure, with `problem`, when it did not get that far.
mtlhost::Result synchronise(const Options& options, SyncObserver& observer, ErrorEntries& problem) {
  const std::string module = moduleFileOf(options, problem);
  if (module.empty()) return {};
  auto library = mtlhost::Library::open({options.url, options.directory, options.subPath,
                                         options.proxyMode, options.proxyAddress, module},
                                        observer, problem);
  if (!library) return {};
  // Only now: nothing is removed for a run that cannot begin.
  if (options.repair && !prepareRepair(options, observer, problem)) return {};
  // The library asks whether to stop only while something is transferred.
  if (stopRequested()) library->cancel();
  return options.checkOnly ? library->check() : library->run();
}

Status statusOf(int code, const Options& options, const RunRecord& record) {
  if (code < 0) {
    const bool interrupted = stopRequested() && record.exceededLimit.empty();
    return interrupted ? Status::kInterrupted : Status::kFailed;
  }
  if (options.checkOnly) return code > 0 ? Status::kUpdateAvailable : Status::kUpToDate;
  return record.stampsMatched ? Status::kUpToDate : Status::kUpdated;
}

/// No run fails without a word.
void explainFailure(const mtlhost::Result& result, const Options& options, SyncObserver& observer) {
  const RunRecord& record = observer.record();
  const bool warned = record.warned && options.verbosity != Verbosity::kQuiet;
  if (!record.exceededLimit.empty()) {
    observer.error({ownError(record.exceededLimit)});
  } else if (!record.errorShown && !warned) {
    observer.error(asOwn(result.errors));
  }
}

std::string closingLine(Status status, const RunRecord& record, double seconds) {
  switch (status) {
    case Status::kUpdated:
      return "Updated: " + std::to_string(record.files) +
             (record.files == 1 ? " file, " : " files, ") + quantity::bytesText(record.bytes) +
             " in " + quantity::durationText(seconds) + ".";
    case Status::kUpToDate:
      return "Up to date.";
    case Status::kUpdateAvailable:
      return "An update is available.";
    case Status::kFailed:
    case Status::kInterrupted:
      break;
  }
  return "";
}

}  // namespace

ExitStatus runSync(const Options& options) {
  Console messages(std::cerr, {isTerminal(OutputStream::kError),
                               [] { return terminalWidth(OutputStream::kError); }});
  ProgressDisplay progress(messages);
  JsonEvents events(std::cout);
  const bool showProgress =
      options.verbosity != Verbosity::kQuiet && (!options.json || messages.isTerminal());
  SyncObserver observer(
      {messages, showProgress ? &progress : nullptr, options.json ? &events : nullptr},
      options.verbosity, options.limits, stopRequested);

  const Clock::time_point start = Clock::now();
  ErrorEntries problem;
  const mtlhost::Result result = synchronise(options, observer, problem);
  const std::chrono::duration<double> elapsed = Clock::now() - start;
  messages.hideStatus();

  if (!problem.empty()) observer.error(asOwn(problem));
  const RunRecord& record = observer.record();
  const Status status = statusOf(result.code, options, record);
  if (status == Status::kFailed) explainFailure(result, options, observer);
  if (record.saveFailed) messages.printLine(repairHint(options));
  if (status == Status::kInterrupted) messages.printLine("mtlsync: interrupted");
  if (options.json) {
    events.result(result.code, nameOf(status), record.files, record.bytes);
  } else if (options.verbosity != Verbosity::kQuiet) {
    const std::string line = closingLine(status, record, elapsed.count());
    if (!line.empty()) std::cout << line << std::endl;
  }
  return exitStatusOf(status);
}

}  // namespace mtlsync
