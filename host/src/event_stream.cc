// Implements the callback of the module. Calls come on two threads; a mutex puts them in one
// order.
#include "event_stream.h"

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <utility>

#include "explanation.h"

// Delivers the message of a printf-style operation, whose last named parameter is `format`.
#define MTLHOST_DELIVER_MESSAGE(tell)       \
  std::va_list arguments;                   \
  va_start(arguments, format);              \
  const Message message(format, arguments); \
  deliver([&] { tell; });                   \
  va_end(arguments)

namespace mtlhost {

namespace {

constexpr int kGoOn = 0;
constexpr int kStop = 1;
constexpr const char* kFileBegun = "Downloading file \"%s\" (%lli bytes)";
constexpr const char* kFileSaved = "Saving file \"%s\"";

std::string textOrEmpty(const char* text) {
  return text != nullptr ? text : "";
}

/// The file of a message that names one.
std::string nameIn(const Message& message) {
  const std::string text = message.text();
  const std::size_t begin = text.find('"') + 1;
  return text.substr(begin, text.rfind('"') - begin);
}

Errors errorsOf(const ErrorChain& chain) {
  Errors errors;
  for (const ErrorRecord* record = chain.head; record != nullptr; record = record->next) {
    errors.push_back({textOrEmpty(record->tag), record->code, record->message});
  }
  return errors;
}

}  // namespace

CallRecord EventStream::finish() {
  const std::lock_guard<std::mutex> lock(mutex_);
  record_.bytes = bytes_.total();
  bytes_ = {};
  tracker_ = {};
  requested_ = {};
  cancelled_ = false;
  return std::exchange(record_, {});
}

void EventStream::setPhaseBytes(std::int64_t done, std::int64_t total) noexcept {
  deliver([&] {
    tracker_.setPhaseBytes(done, total);
    tellProgress();
  });
}

void EventStream::tell(const std::function<void(Observer& observer)>& event) noexcept {
  deliver([&] { event(observer_); });
}

void EventStream::setProgressRange(int end) noexcept {
  deliver([&] {
    observer_.progressRange(end);
    tracker_.setRange(end);
  });
}

void EventStream::setProgressValue(int permille) noexcept {
  deliver([&] {
    observer_.progressValue(permille);
    tracker_.setValue(permille);
    tellProgress();
  });
}

void EventStream::setProgressText(const char* text) noexcept {
  deliver([&] {
    const std::string caption = textOrEmpty(text);
    observer_.progressText(caption);
    tracker_.setText(caption);
    tellProgress();
  });
}

int EventStream::isAborted(Krell::Networking::ReqTokenGeneralType* request,
                           Krell::Networking::TransferProgress* progress,
                           Krell::Networking::Response* /*response*/) noexcept {
  bool stopped = true;
  deliver([&] {
    const std::int64_t received = progress != nullptr ? progress->receivedBytes : 0;
    if (progress != nullptr) {
      bytes_.update(request, received);
      requested_.receive(request, received);
    }
    const bool goesOn = observer_.shouldContinue({received, bytes_.total()});
    tracker_.setBytes(bytes_.total());
    tellProgress();
    record_.stopped = record_.stopped || !goesOn || cancelled_;
    checkLimits(received);
    stopped = record_.stopped;
  });
  return stopped ? kStop : kGoOn;
}

void EventStream::beginProgress() noexcept {
  deliver([&] { observer_.progressBegins(); });
}

void EventStream::endProgress() noexcept {
  deliver([&] {
    observer_.progressEnds();
    tracker_.endPhase();
  });
}

void EventStream::logStage(const char* format, ...) noexcept {
  MTLHOST_DELIVER_MESSAGE({
    if (std::strcmp(format, kFileBegun) == 0) {
      ++record_.files;
      requested_.begin(nameIn(message));
    }
    if (std::strcmp(format, kFileSaved) == 0) requested_.save(nameIn(message));
    observer_.stage(message);
  });
}

void EventStream::logTaggedError(const char* tag, int code, const char* format, ...) noexcept {
  MTLHOST_DELIVER_MESSAGE(observer_.nonFatalError({textOrEmpty(tag), code, message.text()}));
}

void EventStream::reportError(ErrorChain* chain) noexcept {
  deliver([&] {
    if (chain == nullptr || !*chain) return;
    record_.errors = errorsOf(*chain);
    if (record_.isBeyondLimit) {
      record_.errors.insert(record_.errors.begin(), limitError());
    }
    if (explain_) explain_(record_.errors, requested_);
    observer_.error(record_.errors);
  });
}

void EventStream::logWarning(const char* format, ...) noexcept {
  MTLHOST_DELIVER_MESSAGE({
    record_.lastWarning = message.text();
    observer_.warning(record_.lastWarning);
  });
}

void EventStream::logInfo(const char* format, ...) noexcept {
  MTLHOST_DELIVER_MESSAGE(observer_.info(message));
}

template <typename Tell>
void EventStream::deliver(Tell tell) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (record_.failure) return;
  try {
    tell();
  } catch (...) {
    record_.failure = std::current_exception();
  }
}

void EventStream::checkLimits(std::int64_t received) {
  if (record_.stopped) return;
  const auto exceeds = [](std::int64_t bytes, const std::optional<std::uint64_t>& limit) {
    return limit && static_cast<std::uint64_t>(bytes) > *limit;
  };
  const bool isBeyond = exceeds(received, mostOfRequest_) || exceeds(bytes_.total(), mostInAll_);
  record_.isBeyondLimit = isBeyond;
  record_.stopped = isBeyond;
}

void EventStream::tellProgress() {
  if (const Progress* progress = tracker_.news()) observer_.progress(*progress);
}

}  // namespace mtlhost
