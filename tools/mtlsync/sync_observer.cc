// Forwards events: what people read goes to the console, and what programs read is written in
// full.
#include "mtlsync/sync_observer.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "mtlsync/plan_text.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

constexpr const char* kFileBegun = "Downloading file \"%s\" (%lli bytes)";
constexpr const char* kStampsMatch = "Local and remote stamp files match. Nothing to do.";

/// The message of an error; in detail with its tag and code.
std::string textOf(const mtlhost::Error& error, bool detailed) {
  const std::string code = std::to_string(error.code);
  std::string text = mtlrules::printableLine(error.message);
  if (text.empty()) text = "error " + code;
  if (!detailed) return text;
  return text + " [" + (error.tag.empty() ? "" : mtlrules::printableLine(error.tag) + ", ") +
         "code " + code + "]";
}

}  // namespace

SyncObserver::SyncObserver(const Outputs& outputs, Verbosity verbosity, std::function<bool()> stop)
    : outputs_(outputs), verbosity_(verbosity), stop_(std::move(stop)) {}

void SyncObserver::showDifferences(const std::vector<mtlhost::Difference>& differences) {
  outputs_.messages.hideStatus();
  for (const mtlhost::Difference& difference : differences) {
    ++record_.differences;
    const std::string text = textOf(difference);
    if (JsonEvents* to = events()) {
      to->difference(difference.path, nameOf(difference.kind), text);
    } else {
      outputs_.results.printLine(mtlrules::printableLine(difference.path + ": " + text));
    }
  }
}

void SyncObserver::stage(const mtlhost::Message& message) {
  if (std::strcmp(message.format(), kFileBegun) == 0) {
    ++record_.files;
    tellFile(message);
  }
  if (std::strcmp(message.format(), kStampsMatch) == 0) record_.isUnchanged = true;
  tell("stage", message);
}

void SyncObserver::info(const mtlhost::Message& message) {
  tell("info", message);
}

void SyncObserver::warning(const std::string& text) {
  if (JsonEvents* to = events()) to->text("warning", text);
  printWarning(mtlrules::printableLine(text));
}

void SyncObserver::nonFatalError(const mtlhost::Error& error) {
  if (JsonEvents* to = events()) to->taggedError(error.tag, error.code, error.message);
  printWarning(textOf(error, verbosity_ == Verbosity::kVerbose));
}

void SyncObserver::error(const mtlhost::Errors& chain) {
  record_.failure = chain;
  if (JsonEvents* to = events()) to->error(chain);
  const bool detailed = verbosity_ == Verbosity::kVerbose;
  const mtlhost::Error& failure = chain.front();
  // Whoever stopped the run knows why it ended.
  if (!detailed && stop_() && failure.kind == mtlhost::ErrorKind::kCancelled) return;
  const std::string opening = outputs_.messages.coloured(common::Tone::kError, "error:");
  outputs_.messages.printLine("mtlsync: " + opening + ' ' + failure.sentence);
  if (!detailed) return;
  for (const mtlhost::Error& error : chain)
    outputs_.messages.printLine("  " + textOf(error, true));
}

bool SyncObserver::shouldContinue(const mtlhost::Transfer& transfer) {
  record_.bytes = transfer.totalBytes;
  if (outputs_.progress != nullptr) outputs_.progress->refresh();
  return !stop_();
}

void SyncObserver::planned(const mtlhost::Plan& plan) {
  if (JsonEvents* to = events()) to->plan(plan);
}

void SyncObserver::file(const mtlhost::FileChange& change) {
  if (change.kind == mtlhost::FileChange::Kind::kFetched) {
    ++record_.files;
    if (outputs_.progress != nullptr) outputs_.progress->setFile(change.path);
  }
  if (JsonEvents* to = events()) to->file(change);
}

void SyncObserver::waiting(std::int64_t process) {
  if (std::exchange(hasToldOfWaiting_, true)) return;
  if (JsonEvents* to = events()) to->waiting(process);
  if (verbosity_ == Verbosity::kQuiet) return;
  const std::string text = process != 0 ? ", process " + std::to_string(process) : "";
  outputs_.messages.printLine("Waiting for another run on this folder" + text);
}

void SyncObserver::showPlan(const mtlhost::Plan& plan) {
  if (JsonEvents* to = events()) {
    for (const mtlhost::FileChange& file : plan.files)
      to->file(file);
    return to->plan(plan);
  }
  outputs_.messages.hideStatus();
  if (verbosity_ == Verbosity::kQuiet) return;
  for (const std::string& line : planLines(plan))
    outputs_.results.printLine(line);
}

void SyncObserver::progress(const mtlhost::Progress& progress) {
  if (JsonEvents* to = events()) to->progress(progress);
  if (outputs_.progress != nullptr) outputs_.progress->show(progress);
}

void SyncObserver::progressRange(int end) {
  if (JsonEvents* to = events()) to->number("progressRange", end);
}

void SyncObserver::progressValue(int value) {
  if (JsonEvents* to = events()) to->number("progressValue", value);
}

void SyncObserver::progressText(const std::string& caption) {
  if (JsonEvents* to = events()) to->text("progressText", caption);
}

void SyncObserver::progressBegins() {
  if (JsonEvents* to = events()) to->simple("beginProgress");
}

void SyncObserver::progressEnds() {
  if (JsonEvents* to = events()) to->simple("endProgress");
  if (outputs_.progress != nullptr) outputs_.progress->endPhase();
}

// Two messages a file are not worth formatting when nobody reads them.
void SyncObserver::tell(const char* event, const mtlhost::Message& message) {
  const bool prints = verbosity_ == Verbosity::kVerbose;
  if (!prints && outputs_.events == nullptr) return;
  const std::string text = message.text();
  if (JsonEvents* to = events()) to->text(event, text);
  if (prints) outputs_.messages.printLine(mtlrules::printableLine(text));
}

void SyncObserver::printWarning(const std::string& text) {
  if (verbosity_ == Verbosity::kQuiet) return;
  outputs_.messages.printLine(
      "mtlsync: " + outputs_.messages.coloured(common::Tone::kWarning, "warning:") + " " + text);
}

// Every name between the first quotation mark and the last is the file's.
void SyncObserver::tellFile(const mtlhost::Message& message) {
  if (outputs_.progress == nullptr || !outputs_.progress->showsFiles()) return;
  const std::string text = message.text();
  const std::size_t begin = text.find('"') + 1;
  outputs_.progress->setFile(text.substr(begin, text.rfind('"') - begin));
}

// Events may go to the same terminal as the status line.
JsonEvents* SyncObserver::events() {
  if (outputs_.events != nullptr) outputs_.messages.hideStatus();
  return outputs_.events;
}

}  // namespace mtlsync
