// Loads, runs, and turns what happened into a closing line and an exit status.
#include "mtlsync/sync_run.h"

#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "mtlsync/console.h"
#include "mtlsync/json_events.h"
#include "mtlsync/module.h"
#include "mtlsync/progress_display.h"
#include "mtlsync/repair.h"
#include "mtlsync/sync_callback.h"
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

/// The result of using the module; -1 and `problem` when it did not get that far.
int synchronise(const Options& options, SyncCallback& callback, ErrorEntries& problem) {
  const auto module = Module::load(options.moduleFile, moduleCandidates(programFolder()), problem);
  if (module == nullptr) return -1;
  const StartedNetwork network(*module);
  if (!network.isUsable(problem)) return -1;
  // Only now: nothing is removed for a run that cannot begin.
  if (options.repair && !prepareRepair(options, callback, problem)) return -1;

  DownloaderSettings settings;
  settings.remoteAddress = options.url.c_str();
  settings.proxyMode = options.proxyMode;
  settings.proxyAddress = options.proxyAddress.c_str();
  settings.targetDirectory = options.directory.c_str();
  settings.subPath = options.subPath.c_str();
  Downloader downloader(*module, callback, settings);
  if (!downloader.isMade()) {
    problem = {ownError("Out of memory")};
    return -1;
  }
  // The library asks whether to stop only while something is transferred.
  if (stopRequested()) return -1;
  return options.checkOnly ? downloader.check() : downloader.run();
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
void explainFailure(int code, const Options& options, SyncCallback& callback) {
  const RunRecord record = callback.record();
  if (!record.exceededLimit.empty()) callback.showError({ownError(record.exceededLimit)});
  if (record.errorShown || !record.exceededLimit.empty()) return;
  if (record.lastWarning.empty()) {
    callback.showError({ownError("the run failed (code " + std::to_string(code) + ")")});
  } else if (options.verbosity == Verbosity::kQuiet) {
    callback.showError({ownError(record.lastWarning)});
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
  SyncCallback callback(
      {messages, showProgress ? &progress : nullptr, options.json ? &events : nullptr},
      options.verbosity, options.limits, stopRequested);

  const Clock::time_point start = Clock::now();
  ErrorEntries problem;
  const int code = synchronise(options, callback, problem);
  const std::chrono::duration<double> elapsed = Clock::now() - start;
  messages.hideStatus();

  if (!problem.empty()) callback.showError(problem);
  const RunRecord record = callback.record();
  const Status status = statusOf(code, options, record);
  if (status == Status::kFailed) explainFailure(code, options, callback);
  if (record.saveFailed) messages.printLine(repairHint(options));
  if (status == Status::kInterrupted) messages.printLine("mtlsync: interrupted");
  if (options.json) {
    events.result(code, nameOf(status), record.files, record.bytes);
  } else if (options.verbosity != Verbosity::kQuiet) {
    const std::string line = closingLine(status, record, elapsed.count());
    if (!line.empty()) std::cout << line << std::endl;
  }
  return exitStatusOf(status);
}

}  // namespace mtlsync
