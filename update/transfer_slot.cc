// Implements Slot: sends one request for a body, takes the answer if it is the body or the rest of
// it, and says what was wrong otherwise.
#include "update/transfer_slot.h"

#include <algorithm>
#include <charconv>

#include "mtllib/transfer_progress.h"
#include "update/retries.h"

namespace mtlupdate {

namespace {

using Krell::Networking::ConnectionError;
using Krell::Networking::FailureDetail;

constexpr int kOk = 200;
constexpr int kPartialContent = 206;
constexpr int kRangeNotSatisfiable = 416;

// What comes with an error status is read, so that the connection can be kept, but not forever.
constexpr std::size_t kMostOfAnErrorPage = 64UL * 1024;

// The range that an answer holds: "bytes 5-9/10", or "/*".
struct ContentRange {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::optional<std::uint64_t> size;
};

bool takeNumber(std::string_view& text, std::uint64_t& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  return true;
}

bool takeText(std::string_view& text, std::string_view expected) {
  if (text.substr(0, expected.size()) != expected) return false;
  text.remove_prefix(expected.size());
  return true;
}

std::optional<ContentRange> contentRangeFrom(std::string_view text) {
  ContentRange range;
  if (!takeText(text, "bytes ") || !takeNumber(text, range.first) || !takeText(text, "-") ||
      !takeNumber(text, range.last) || !takeText(text, "/")) {
    return std::nullopt;
  }
  if (text == "*") return range;
  std::uint64_t size = 0;
  if (!takeNumber(text, size) || !text.empty()) return std::nullopt;
  range.size = size;
  return range;
}

// Whether the answer holds all bytes of the body from `first` on.
bool isTheRest(std::string_view contentRange, std::uint64_t first,
               std::optional<std::uint64_t> size) {
  const std::optional<ContentRange> range = contentRangeFrom(contentRange);
  if (!range || range->first != first || range->last < first) return false;
  const std::optional<std::uint64_t> whole = size ? size : range->size;
  if (range->size && range->size != whole) return false;
  return !whole || range->last + 1 == *whole;
}

Failure sizeFailure(const Body& body) {
  if (const std::optional<std::uint64_t> size = body.size()) {
    return {Failure::Kind::kContent, "it does not have the " + std::to_string(*size) +
                                         " bytes that the library's list announces"};
  }
  return {Failure::Kind::kLimit, "it has more than the " +
                                     std::to_string(body.largestSize().value_or(0)) +
                                     " bytes that are allowed"};
}

}  // namespace

// What is thrown ends everything, and so this try.
template <typename Step>
void Transfers::Slot::attempt(Step step) noexcept {
  Lock lock(transfers_.mutex_, std::defer_lock);
  transfers_.attempt(lock, step);
  isStopped_ = isStopped_ || lock.owns_lock();
}

Outcome Transfers::Slot::start(std::unique_ptr<Work> work, int connection) {
  work_ = std::move(work);
  mirror_ = work_->mirror;
  firstByte_ = work_->firstByte();
  status_ = 0;
  isTaking_ = false;
  isStopped_ = false;
  isHandedOver_ = false;
  errorPageBytes_ = 0;
  failure_.reset();
  for (std::string* field : {&retryAfter_, &date_, &contentRange_, &entityTag_, &lastModified_})
    field->clear();
  Session& session = transfers_.mirrors_.session(mirror_);
  const std::string target = work_->body->target(session);
  Request request;
  request.target = target;
  request.firstByte = firstByte_;
  if (firstByte_ > 0) request.ifRange = work_->condition();
  request.pastCaches = work_->pastCaches;
  // Of the whole, which may come in place of the rest.
  if (const auto most = mostBytes()) request.mostBytes = static_cast<std::int64_t>(*most);
  return session.start(connection, request, *this);
}

Transfers::Ending Transfers::Slot::conclude() {
  Ending ending;
  ending.isStopped = isStopped_;
  ending.status = status_;
  ending.isRangeRefused = firstByte_ > 0 && !isTaking_ &&
                          (status_ == kPartialContent || status_ == kRangeNotSatisfiable);
  ending.failure = failure_ || isStopped_ ? std::move(failure_) : completion();
  ending.isComplete = !ending.failure && !isStopped_;
  if (ending.failure) ending.wishedWait = askedWait(retryAfter_, date_);
  if (ending.isComplete && !isHandedOver_) ending.failure = work_->body->finish();
  return ending;
}

void Transfers::Slot::onField(std::string_view name, std::string_view value) {
  attempt([&] { takeField(name, value); });
}
void Transfers::Slot::onStatus(int status) {
  attempt([&] { takeStatus(status); });
}
Exchange::Room Transfers::Slot::room() {
  Room room{nullptr, 0};
  attempt([&] { room = roomInPiece(); });
  return room;
}
bool Transfers::Slot::onBytes(std::string_view bytes) {
  bool goesOn = false;
  attempt([&] { goesOn = takeBytes(bytes); });
  return goesOn;
}
void Transfers::Slot::onFailure(const ConnectionError& error, const FailureDetail& detail) {
  attempt([&] { takeFailure(error, detail); });
}
void Transfers::Slot::onEnd(int connection) {
  transfers_.settle(*this, connection);
}

void Transfers::Slot::takeField(std::string_view name, std::string_view value) {
  if (name == "retry-after") retryAfter_ = value;
  if (name == "date") date_ = value;
  if (name == "content-range") contentRange_ = value;
  if (name == "etag") entityTag_ = value;
  if (name == "last-modified") lastModified_ = value;
}

void Transfers::Slot::takeStatus(int status) {
  status_ = status;
  Body& body = *work_->body;
  const bool isWhole = status == kOk;
  isTaking_ = isWhole || (status == kPartialContent && firstByte_ > 0 &&
                          isTheRest(contentRange_, firstByte_, body.size()));
  if (!isTaking_) return;
  // A weak tag does not promise the same bytes.
  const bool hasStrongTag = !entityTag_.empty() && entityTag_.front() == '"';
  if (isWhole) {
    work_->validator = hasStrongTag ? entityTag_ : lastModified_;
    work_->countedFrom = 0;
    work_->partFrom = mirror_;
    work_->isMixed = false;
  } else {
    work_->isMixed = work_->isMixed || work_->partFrom != mirror_;
  }
  failure_ = body.begin(isWhole, work_->validator);
}

// Large bodies are received where the other thread will find them.
Exchange::Room Transfers::Slot::roomInPiece() {
  constexpr std::size_t kWorthReceiving = Piece::kRoom / 4;
  if (!isHandedOver_ || !hasRoom(kWorthReceiving)) return {nullptr, 0};
  return {piece_.end(), piece_.room()};
}

bool Transfers::Slot::takeBytes(std::string_view bytes) {
  isStopped_ = transfers_.stopping_;
  if (failure_ || isStopped_) return false;
  if (bytes.empty()) return true;
  if (!transfers_.mayReceive(bytes.size())) {
    failure_ = Failure{Failure::Kind::kLimit, "more bytes than allowed would be fetched"};
    return false;
  }
  if (!isTaking_) return (errorPageBytes_ += bytes.size()) <= kMostOfAnErrorPage;
  Body& body = *work_->body;
  const std::optional<std::uint64_t> most = mostBytes();
  const bool isTooMuch = most && body.part() + bytes.size() > *most;
  failure_ = isTooMuch ? sizeFailure(body) : body.append(bytes);
  if (!failure_ && body.isChecked()) check(bytes);
  return !failure_;
}

void Transfers::Slot::takeFailure(const ConnectionError& error, const FailureDetail& detail) {
  using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
  constexpr auto kTooLarge =
      std::uint32_t{CONNECTION_ERROR_LIMIT} | std::uint32_t{CONNECTION_ERROR_RULE_NUMBER};
  if (failure_ || (status_ != 0 && !isTaking_)) return;
  if (error.code == kTooLarge && error.underlying == HTTP_RULE_BODY_SIZE) {
    failure_ = sizeFailure(*work_->body);
  } else {
    failure_ = failureOf(error, detail);
  }
}

std::optional<std::uint64_t> Transfers::Slot::mostBytes() const {
  const Body& body = *work_->body;
  return body.size() ? body.size() : body.largestSize();
}

// Small bodies are checked at once: handing them over would take longer.
void Transfers::Slot::check(std::string_view bytes) {
  Body& body = *work_->body;
  isHandedOver_ = isHandedOver_ || body.size().value_or(body.part()) > kWorthHandingOver;
  if (!isHandedOver_) return body.check(bytes);
  // What was received there is in its place already.
  const bool isThere = piece_.bytes != nullptr && bytes.data() == piece_.end();
  if (isThere) piece_.size += bytes.size();
  while (!isThere && !bytes.empty()) {
    if (!hasRoom(1)) {
      failure_ = Failure{Failure::Kind::kMemory, "there is not enough memory"};
      return;
    }
    const std::size_t count = std::min(bytes.size(), piece_.room());
    std::copy_n(bytes.data(), count, piece_.end());
    piece_.size += count;
    bytes.remove_prefix(count);
  }
}

// Gives a piece away in which there is no room for so many bytes more, and begins another one.
// False when there is no memory for that.
bool Transfers::Slot::hasRoom(std::size_t size) {
  if (piece_.bytes != nullptr && piece_.room() < size) {
    Lock lock(transfers_.mutex_);
    transfers_.makeRoom(lock);
    transfers_.addCheck({work_->body.get(), takePiece(), std::nullopt});
  }
  if (piece_.bytes == nullptr) piece_ = transfers_.takeSpare();
  return piece_.bytes != nullptr;
}

// No failure when all of the body has arrived.
Outcome Transfers::Slot::completion() const {
  if (!isTaking_) return statusFailure();
  const Body& body = *work_->body;
  if (body.size() && body.part() != *body.size()) return sizeFailure(body);
  return {};
}

Failure Transfers::Slot::statusFailure() const {
  return {Failure::Kind::kNetwork,
          "the server answered with HTTP status " + std::to_string(status_),
          {},
          isTransientStatus(status_),
          0,
          status_};
}

}  // namespace mtlupdate
