// Turns events of the kit into calls of a C callback. The kit delivers events one at a time.
#include "event_forwarder.h"

#include "error_list.h"
#include "mtlhost/utf8.h"
#include "records.h"

namespace {

// The library asks at least ten times a second; a callback that is called less often may cancel
// too late.
constexpr std::chrono::milliseconds kLongestSilence{60};

constexpr std::int32_t kUnknown = mtlhost::Progress::kUnknown;

mtlhost_event eventOf(std::int32_t kind) {
  mtlhost_event event{};
  event.size = sizeof(event);
  event.kind = kind;
  event.permille = kUnknown;
  event.megabytes_done = kUnknown;
  event.megabytes_total = kUnknown;
  event.bytes_done = kUnknown;
  event.bytes_total = kUnknown;
  event.seconds_left = kUnknown;
  return event;
}

}  // namespace

void EventForwarder::reset() {
  progress_ = {};
  cancelled_ = false;
}

void EventForwarder::stage(const mtlhost::Message& message) {
  if (callback_ != nullptr) tell(MTLHOST_EVENT_STAGE, message.text());
}

void EventForwarder::info(const mtlhost::Message& message) {
  if (callback_ != nullptr) tell(MTLHOST_EVENT_INFO, message.text());
}

void EventForwarder::warning(const std::string& text) {
  tell(MTLHOST_EVENT_WARNING, text);
}

void EventForwarder::nonFatalError(const mtlhost::Error& error) {
  tell(MTLHOST_EVENT_WARNING, error.message, {error});
}

void EventForwarder::error(const mtlhost::Errors& chain) {
  tell(MTLHOST_EVENT_ERROR, chain.front().message, chain);
}

void EventForwarder::progress(const mtlhost::Progress& progress) {
  progress_ = progress;
  tellProgress();
}

bool EventForwarder::shouldContinue(const mtlhost::Transfer& /*transfer*/) {
  if (!cancelled_ && Clock::now() - lastSent_ >= kLongestSilence) tellProgress();
  return !cancelled_;
}

void EventForwarder::planned(const mtlhost::Plan& plan) {
  if (callback_ == nullptr) return;
  const PlanRecord record(plan);
  mtlhost_event event = eventOf(MTLHOST_EVENT_PLANNED);
  event.plan = &record;
  send(event, "");
}

void EventForwarder::file(const mtlhost::FileChange& change) {
  if (callback_ == nullptr) return;
  const FileRecord record(change);
  mtlhost_event event = eventOf(MTLHOST_EVENT_FILE);
  event.file = &record;
  send(event, change.path);
}

void EventForwarder::waiting(std::int64_t process) {
  mtlhost_event event = eventOf(MTLHOST_EVENT_WAITING);
  event.process = process;
  send(event, "");
}

void EventForwarder::tell(std::int32_t kind, const std::string& text,
                          const mtlhost::Errors& chain) {
  const ErrorList errors = errorListOf(chain);
  mtlhost_event event = eventOf(kind);
  event.error = errors.get();
  send(event, text);
}

void EventForwarder::tellProgress() {
  mtlhost_event event = eventOf(MTLHOST_EVENT_PROGRESS);
  event.permille = progress_.permille;
  event.megabytes_done = progress_.megabytesDone;
  event.megabytes_total = progress_.megabytesTotal;
  event.bytes_done = progress_.bytesDone;
  event.bytes_total = progress_.bytesTotal;
  event.bytes_per_second = progress_.bytesPerSecond;
  event.seconds_left = progress_.secondsLeft;
  send(event, progress_.text);
}

void EventForwarder::send(mtlhost_event event, const std::string& text) {
  if (callback_ == nullptr) return;
  const std::string valid = mtlhost::validUtf8(text);
  event.text = valid.c_str();
  lastSent_ = Clock::now();
  if (callback_(&event, user_) != 0) cancelled_ = true;
}
