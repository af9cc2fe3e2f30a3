// Opens the library, runs the operation and reports how it ended.
#include "mtlsync/sync_run.h"

#include <chrono>
#include <cstdint>
#include <iostream>
#include <optional>
#include <string>

#include "common/console.h"
#include "common/system.h"
#include "mtlhost/folder_name.h"
#include "mtlhost/library.h"
#include "mtlsync/command_text.h"
#include "mtlsync/json_events.h"
#include "mtlsync/outcome.h"
#include "mtlsync/plan_text.h"
#include "mtlsync/progress_display.h"
#include "mtlsync/random_delay.h"
#include "mtlsync/status.h"
#include "mtlsync/sync_observer.h"

namespace mtlsync {

namespace {

using Clock = std::chrono::steady_clock;

mtlhost::Settings settingsOf(const Options& options) {
  mtlhost::Settings settings{options.url,       options.directory,    options.subPath,
                             options.proxyMode, options.proxyAddress, options.moduleFile};
  settings.update = options.update;
  settings.trust = options.trust;
  settings.mirrors = options.mirrors;
  settings.network = options.network;
  return settings;
}

/// What is asked for.
mtlhost::Result useLibrary(const Options& options, mtlhost::Library& library,
                           SyncObserver& observer) {
  // The module asks whether to stop only while something is transferred.
  if (common::stopRequested()) library.cancel();
  switch (options.mode) {
    case Mode::kCheck:
      return library.check();
    case Mode::kRepair:
      return library.repair();
    case Mode::kPlan: {
      mtlhost::Plan plan;
      mtlhost::Result result = library.plan(plan);
      observer.showPlan(plan);
      return result;
    }
    case Mode::kVerify: {
      mtlhost::Result result = library.verify();
      observer.showDifferences(result.differences);
      return result;
    }
    case Mode::kSync:
    case Mode::kStatus:
      break;
  }
  return library.run();
}

/// A failure, with `problem`, when it did not get that far: unless the module is to blame, the
/// options cannot be used.
mtlhost::Result synchronise(const Options& options, SyncObserver& observer,
                            mtlhost::Errors& problem) {
  auto library = mtlhost::Library::open(settingsOf(options), observer, problem);
  if (!library) {
    mtlhost::Result result;
    const mtlhost::ErrorKind kind = problem.front().kind;
    if (kind != mtlhost::ErrorKind::kModule && kind != mtlhost::ErrorKind::kMemory) {
      result.failure = mtlhost::Result::Failure::kUsage;
    }
    return result;
  }
  waitRandomly(options.mostDelay, common::stopRequested);
  return useLibrary(options, *library, observer);
}

/// The two streams, and what is known about where they lead.
struct Consoles {
  static common::Console::Screen screenOf(common::OutputStream stream) {
    const bool isOnTerminal = isTerminal(stream);
    return {isOnTerminal, [stream] { return common::terminalWidth(stream); },
            isOnTerminal && common::environmentVariable("NO_COLOR").empty()};
  }

  common::Console messages{std::cerr, screenOf(common::OutputStream::kError)};
  common::Console results{std::cout, screenOf(common::OutputStream::kOut)};
};

/// What to do next, where that can be told.
void advise(Outcome outcome, const mtlhost::Errors& failure, const Options& options,
            common::Console& messages) {
  std::string hint = failure.empty() ? "" : failure.front().hint;
  if (outcome == Outcome::kDifferent) {
    hint = '"' + commandWith("--repair", options) + "\" fetches what is missing or wrong.";
  }
  if (!hint.empty()) messages.printLine(hint);
  if (outcome == Outcome::kInterrupted) messages.printLine("mtlsync: interrupted");
}

void tellResult(Outcome outcome, const mtlhost::Result& result, const RunRecord& record,
                double seconds, const Options& options, common::Console& results,
                JsonEvents& events) {
  if (options.json) {
    const std::int64_t files = options.mode == Mode::kVerify ? record.compared : record.files;
    const bool isUpdate = options.mode == Mode::kSync || options.mode == Mode::kRepair;
    if (usesEngine(options) && isUpdate) events.changes(result);
    const bool isFailed = outcome == Outcome::kFailed;
    events.result(result.code, nameOf(outcome), isFailed ? nameOf(result.failure) : "", files,
                  record.bytes);
  } else if (options.verbosity != Verbosity::kQuiet) {
    const auto [word, rest] = closingLine(outcome, record, seconds);
    if (word.empty() && rest.empty()) return;
    results.printLine((word.empty() ? "" : results.coloured(common::Tone::kDone, word)) + rest);
    for (const std::string& line : changeLines(result, options.verbosity == Verbosity::kVerbose))
      results.printLine(line);
  }
}

}  // namespace

ExitStatus runSync(Options options) {
  options.directory = mtlhost::withoutClimbing(options.directory);
  Consoles to;
  JsonEvents events(std::cout);
  JsonEvents* const json = options.json ? &events : nullptr;
  if (options.mode == Mode::kStatus) {
    return tellStatus(options, {to.messages, to.results, nullptr, json}, common::stopRequested);
  }
  ProgressDisplay progress(to.messages);
  const bool showProgress =
      options.verbosity != Verbosity::kQuiet && (!options.json || to.messages.isTerminal());
  SyncObserver observer({to.messages, to.results, showProgress ? &progress : nullptr, json},
                        options.verbosity, common::stopRequested);

  const Clock::time_point start = Clock::now();
  mtlhost::Errors problem;
  const mtlhost::Result result = synchronise(options, observer, problem);
  const std::chrono::duration<double> elapsed = Clock::now() - start;
  to.messages.hideStatus();

  if (!problem.empty()) observer.error(problem);
  RunRecord record = observer.record();
  if (usesEngine(options)) {
    record.bytes = result.receivedBytes;
    record.compared = result.compared.files;
    record.isUnchanged = !result.isChanged;
  }
  const Outcome outcome = outcomeOf(result.code, common::stopRequested(), options, record);
  // Not every failure is reported while it happens.
  const bool isTold = !record.failure.empty();
  if (outcome == Outcome::kFailed && !isTold) observer.error(result.errors);
  tellResult(outcome, result, record, elapsed.count(), options, to.results, events);
  advise(outcome, observer.record().failure, options, to.messages);
  return exitStatusOf(outcome, result.failure);
}

}  // namespace mtlsync
