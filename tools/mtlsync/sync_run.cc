// Loads, runs, and turns what happened into a closing line and an exit status.
#include "mtlsync/sync_run.h"

#include <chrono>
#include <cstdint>
#include <iostream>
#include <string>
#include <utility>

#include "mtlhost/library.h"
#include "mtlhost/system.h"
#include "mtlsync/console.h"
#include "mtlsync/display_width.h"
#include "mtlsync/hints.h"
#include "mtlsync/json_events.h"
#include "mtlsync/local_copy.h"
#include "mtlsync/module_search.h"
#include "mtlsync/progress_display.h"
#include "mtlsync/repair.h"
#include "mtlsync/status.h"
#include "mtlsync/sync_observer.h"
#include "mtlsync/system.h"
#include "mtlsync/verify.h"
#include "quantity/quantity_text.h"

namespace mtlsync {

namespace {

using Clock = std::chrono::steady_clock;

/// A line with it fits a usual terminal.
constexpr int kStampColumns = 72;

enum class Status {
  kUpdated,
  kUpToDate,
  kUpdateAvailable,
  kAsListed,
  kDifferent,
  kFailed,
  kInterrupted
};

/// The name that programs know it by, and what the program ends with.
std::pair<const char*, ExitStatus> namesOf(Status status) {
  switch (status) {
    case Status::kUpdated:
      return {"updated", kExitDone};
    case Status::kUpToDate:
      return {"upToDate", kExitDone};
    case Status::kUpdateAvailable:
      return {"updateAvailable", kExitUpdateAvailable};
    case Status::kAsListed:
      return {"asListed", kExitDone};
    case Status::kDifferent:
      return {"different", kExitFailed};
    case Status::kFailed:
      return {"failed", kExitFailed};
    case Status::kInterrupted:
      return {"interrupted", kExitInterrupted};
  }
  return {"", kExitFailed};
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
  if (options.mode == Mode::kRepair && !prepareRepair(options, observer, problem)) return {};
  // The library asks whether to stop only while something is transferred.
  if (stopRequested()) library->cancel();
  if (options.mode == Mode::kVerify) return verifyCopy(options, *library, observer, problem);
  return options.mode == Mode::kCheck ? library->check() : library->run();
}

Status statusOf(int code, const Options& options, const RunRecord& record) {
  if (code < 0) {
    const bool interrupted = stopRequested() && record.exceededLimit.empty();
    return interrupted ? Status::kInterrupted : Status::kFailed;
  }
  if (options.mode == Mode::kCheck) {
    return code > 0 ? Status::kUpdateAvailable : Status::kUpToDate;
  }
  if (options.mode == Mode::kVerify) return code > 0 ? Status::kDifferent : Status::kAsListed;
  return record.stampsMatched ? Status::kUpToDate : Status::kUpdated;
}

/// No run fails without a word.
void explainFailure(const mtlhost::Result& result, const Options& options, SyncObserver& observer) {
  const RunRecord& record = observer.record();
  const bool warned = record.warned && options.verbosity != Verbosity::kQuiet;
  if (!record.exceededLimit.empty()) {
    observer.error({ownError(record.exceededLimit)});
  } else if (record.failure.empty() && !warned) {
    observer.error(asOwn(result.errors));
  }
}

std::string countText(std::int64_t count, const std::string& one, const std::string& several) {
  return std::to_string(count) + ' ' + (count == 1 ? one : several);
}

/// What people are told in the end: a word in colour, and the rest.
std::pair<std::string, std::string> closingWords(Status status, const RunRecord& record,
                                                 double seconds) {
  switch (status) {
    case Status::kUpdated:
      return {"Updated:", ' ' + countText(record.files, "file, ", "files, ") +
                              quantity::bytesText(record.bytes) + " in " +
                              quantity::durationText(seconds) + '.'};
    case Status::kUpToDate:
      return {"Up to date.", ""};
    case Status::kUpdateAvailable:
      return {"", "An update is available."};
    case Status::kAsListed:
      return {"As listed:", ' ' + countText(record.compared, "file.", "files.")};
    case Status::kDifferent:
      return {"", countText(record.differences, "problem", "problems") + " in " +
                      countText(record.compared, "listed file.", "listed files.")};
    case Status::kFailed:
    case Status::kInterrupted:
      break;
  }
  return {};
}

/// The two streams, and what is known about where they lead.
struct Consoles {
  static Console::Screen screenOf(OutputStream stream) {
    const bool isOnTerminal = isTerminal(stream);
    return {isOnTerminal, [stream] { return terminalWidth(stream); },
            isOnTerminal && environmentVariable("NO_COLOR").empty()};
  }

  Console messages{std::cerr, screenOf(OutputStream::kError)};
  Console results{std::cout, screenOf(OutputStream::kOut)};
};

/// What to do next, where that can be told.
void advise(Status status, const RunRecord& record, const Options& options, Console& messages) {
  const std::string hint = status == Status::kDifferent ? '"' + commandWith("--repair", options) +
                                                              "\" makes the copy as it should be."
                                                        : hintFor(record.failure, options);
  if (!hint.empty()) messages.printLine(hint);
  if (status == Status::kInterrupted) messages.printLine("mtlsync: interrupted");
}

void tellResult(Status status, const mtlhost::Result& result, const RunRecord& record,
                double seconds, const Options& options, Console& results, JsonEvents& events) {
  if (options.json) {
    const std::int64_t files = options.mode == Mode::kVerify ? record.compared : record.files;
    events.result(result.code, namesOf(status).first, files, record.bytes);
  } else if (options.verbosity != Verbosity::kQuiet) {
    const auto [word, rest] = closingWords(status, record, seconds);
    if (word.empty() && rest.empty()) return;
    results.printLine((word.empty() ? "" : results.coloured(Tone::kDone, word)) + rest);
  }
}

ExitStatus tellStatus(const Options& options, Consoles& to) {
  JsonEvents events(std::cout);
  JsonEvents* const json = options.json ? &events : nullptr;
  SyncObserver observer({to.messages, to.results, nullptr, json}, options.verbosity, {},
                        stopRequested);
  CopyStatus status;
  ErrorEntries problem;
  if (!readStatus(options, stopRequested, status, problem)) {
    if (problem.empty()) {
      to.messages.printLine("mtlsync: interrupted");
      return kExitInterrupted;
    }
    observer.error(problem);
    to.messages.printLine('"' + commandWith("", options) + "\" makes it complete.");
    return kExitFailed;
  }
  for (const std::string& text : status.unread)
    observer.warning(text);
  if (json != nullptr) {
    json->status(status.stamp, universalTimeText(status.since), status.files, status.bytes);
  } else if (options.verbosity != Verbosity::kQuiet) {
    to.results.printLine("Stamp: " + elided(status.stamp, kStampColumns));
    to.results.printLine("Since: " + localTimeText(status.since));
    to.results.printLine("Files: " + std::to_string(status.files));
    to.results.printLine("Size:  " + quantity::bytesText(status.bytes));
  }
  return kExitDone;
}

}  // namespace

ExitStatus runSync(Options options) {
  options.directory = usableFolder(options.directory);
  Consoles to;
  if (options.mode == Mode::kStatus) return tellStatus(options, to);
  ProgressDisplay progress(to.messages);
  JsonEvents events(std::cout);
  const bool showProgress =
      options.verbosity != Verbosity::kQuiet && (!options.json || to.messages.isTerminal());
  SyncObserver observer({to.messages, to.results, showProgress ? &progress : nullptr,
                         options.json ? &events : nullptr},
                        options.verbosity, options.limits, stopRequested);

  const Clock::time_point start = Clock::now();
  ErrorEntries problem;
  const mtlhost::Result result = synchronise(options, observer, problem);
  const std::chrono::duration<double> elapsed = Clock::now() - start;
  to.messages.hideStatus();

  if (!problem.empty()) observer.error(asOwn(problem));
  const RunRecord& record = observer.record();
  const Status status = statusOf(result.code, options, record);
  if (status == Status::kFailed) explainFailure(result, options, observer);
  tellResult(status, result, record, elapsed.count(), options, to.results, events);
  advise(status, record, options, to.messages);
  return namesOf(status).second;
}

}  // namespace mtlsync
