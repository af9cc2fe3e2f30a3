// The kit sees to it that events come one at a time.
#include "event_forwarder.h"

#include "error_list.h"
#include "mtlhost/utf8.h"

namespace {

// The library asks ten times a second at least; whoever is told less often than that may
// cancel too late.
constexpr std::chrono::milliseconds kLongestSilence{60};

constexpr std::int32_t kUnknown = mtlhost::Progress::kUnknown;

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

void EventForwarder::survived(const mtlhost::Error& error) {
  tell(MTLHOST_EVENT_WARNING, error.message, {error});
}

void EventForwarder::error(const mtlhost::Errors& chain) {
  tell(MTLHOST_EVENT_ERROR, chain.front().message, chain);
}

void EventForwarder::progress(const mtlhost::Progress& progress) {
  progress_ = progress;
  tellProgress();
}

bool EventForwarder::goOn(const mtlhost::Transfer& /*transfer*/) {
  if (!cancelled_ && Clock::now() - lastSent_ >= kLongestSilence) tellProgress();
  return !cancelled_;
}

void EventForwarder::tell(std::int32_t kind, const std::string& text,
                          const mtlhost::Errors& chain) {
  const ErrorList errors = errorListOf(chain);
  send({sizeof(mtlhost_event), kind, kUnknown, kUnknown, kUnknown, nullptr, errors.get()}, text);
}

void EventForwarder::tellProgress() {
  send({sizeof(mtlhost_event), MTLHOST_EVENT_PROGRESS, progress_.permille, progress_.megabytesDone,
        progress_.megabytesTotal, nullptr, nullptr},
       progress_.text);
}

void EventForwarder::send(mtlhost_event event, const std::string& text) {
  if (callback_ == nullptr) return;
  const std::string valid = mtlhost::validUtf8(text);
  event.text = valid.c_str();
  lastSent_ = Clock::now();
  if (callback_(&event, user_) != 0) cancelled_ = true;
}
