// Callbacks come on two threads; one mutex guards all they touch.
#include "mtlsync/sync_callback.h"

#include <cstdarg>
#include <cstring>
#include <utility>

#include "mtlsync/format_message.h"
#include "mtlsync/printable.h"

// The text of a printf-style operation, whose last named parameter is `format`.
#define MTLSYNC_FORMATTED(text)                              \
  std::va_list arguments;                                    \
  va_start(arguments, format);                               \
  const std::string text = formatMessage(format, arguments); \
  va_end(arguments)

namespace mtlsync {

namespace {

constexpr const char* kFileBegun = "Downloading file \"%s\" (%lli bytes)";
constexpr const char* kStampsMatch = "Local and remote stamp files match. Nothing to do.";
constexpr int kGoOn = 0;
constexpr int kStop = 1;

}  // namespace

SyncCallback::SyncCallback(const Outputs& outputs, Verbosity verbosity, const SizeLimits& limits,
                           std::function<bool()> stop)
    : outputs_(outputs), verbosity_(verbosity), limits_(limits), stop_(std::move(stop)) {}

void SyncCallback::showError(const ErrorEntries& entries) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (entries.empty()) return;
  record_.errorShown = true;
  record_.saveFailed = record_.saveFailed || isFailedSave(entries);
  if (JsonEvents* to = events()) to->error(entries);
  const bool detailed = verbosity_ == Verbosity::kVerbose;
  // Whoever stopped the run knows why it ended.
  if (!detailed && isEnding() && isAbort(entries)) return;
  const char* opening = "mtlsync: error: ";
  for (const std::string& line : errorLines(entries, detailed)) {
    outputs_.messages.printLine(opening + line);
    opening = "";
  }
}

void SyncCallback::showRemoved(const std::string& path) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (JsonEvents* to = events()) to->removed(path);
  // Whoever reads the events has been told.
  const bool told = outputs_.events != nullptr && verbosity_ != Verbosity::kVerbose;
  if (told || verbosity_ == Verbosity::kQuiet) return;
  outputs_.messages.printLine("Removed \"" + printableLine(path) + "\"");
}

RunRecord SyncCallback::record() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  RunRecord record = record_;
  record.bytes = bytes_.total();
  return record;
}

void SyncCallback::setProgressRange(int end) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (JsonEvents* to = events()) to->number("progressRange", end);
  if (outputs_.progress != nullptr) outputs_.progress->setRange(end);
}

void SyncCallback::setProgressValue(int permille) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (JsonEvents* to = events()) to->number("progressValue", permille);
  if (outputs_.progress != nullptr) outputs_.progress->setValue(permille);
}

void SyncCallback::setProgressText(const char* text) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (JsonEvents* to = events()) to->text("progressText", text);
  if (outputs_.progress != nullptr) outputs_.progress->setText(text);
}

int SyncCallback::isAborted(Krell::Networking::ReqTokenGeneralType* request,
                            Krell::Networking::TransferProgress* progress,
                            Krell::Networking::Response* /*response*/) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (progress != nullptr) {
    bytes_.update(request, progress->receivedBytes);
    if (!isEnding()) {
      record_.exceededLimit = exceededLimit(limits_, progress->receivedBytes, bytes_.total());
    }
  }
  if (outputs_.progress != nullptr) outputs_.progress->update(bytes_.total());
  return isEnding() ? kStop : kGoOn;
}

void SyncCallback::beginProgress() noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (JsonEvents* to = events()) to->simple("beginProgress");
}

void SyncCallback::endProgress() noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (JsonEvents* to = events()) to->simple("endProgress");
  if (outputs_.progress != nullptr) outputs_.progress->endPhase();
}

void SyncCallback::logStage(const char* format, ...) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (std::strcmp(format, kFileBegun) == 0) ++record_.files;
  if (std::strcmp(format, kStampsMatch) == 0) record_.stampsMatched = true;
  if (!tellsEverything()) return;
  MTLSYNC_FORMATTED(text);
  tell("stage", text);
}

void SyncCallback::logTaggedError(const char* tag, int code, const char* format, ...) noexcept {
  MTLSYNC_FORMATTED(text);
  const std::lock_guard<std::mutex> lock(mutex_);
  const ErrorEntry entry{tag != nullptr ? tag : "", code, text};
  if (JsonEvents* to = events()) to->taggedError(entry.tag, code, text);
  printWarning(errorLines({entry}, verbosity_ == Verbosity::kVerbose).front());
}

void SyncCallback::reportError(ErrorChain* chain) noexcept {
  showError(chain != nullptr ? entriesOf(*chain) : ErrorEntries());
}

void SyncCallback::logWarning(const char* format, ...) noexcept {
  MTLSYNC_FORMATTED(text);
  const std::lock_guard<std::mutex> lock(mutex_);
  record_.lastWarning = text;
  if (JsonEvents* to = events()) to->text("warning", text);
  printWarning(printableLine(text));
}

void SyncCallback::logInfo(const char* format, ...) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!tellsEverything()) return;
  MTLSYNC_FORMATTED(text);
  tell("info", text);
}

// Two messages a file are not worth formatting when nobody reads them.
bool SyncCallback::tellsEverything() const {
  return outputs_.events != nullptr || verbosity_ == Verbosity::kVerbose;
}

void SyncCallback::tell(const char* event, const std::string& text) {
  if (JsonEvents* to = events()) to->text(event, text);
  if (verbosity_ == Verbosity::kVerbose) outputs_.messages.printLine(printableLine(text));
}

void SyncCallback::printWarning(const std::string& text) {
  if (verbosity_ != Verbosity::kQuiet) outputs_.messages.printLine("mtlsync: warning: " + text);
}

// Events may go to the same terminal as the status line.
JsonEvents* SyncCallback::events() {
  if (outputs_.events != nullptr) outputs_.messages.hideStatus();
  return outputs_.events;
}

}  // namespace mtlsync
