// The session's thread settles each request as it ends and issues the connection's next one there
// and then. The thread of run() starts the first ones and those that waited, serves the client, and
// checks what large bodies have brought, which the other one lays in a queue for it.
#include "update/transfers.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <new>
#include <utility>

#include "mtllib/transfer_progress.h"

namespace mtlupdate {

namespace {

using Krell::Networking::ConnectionError;
using std::chrono::milliseconds;

constexpr int kOk = 200;
constexpr int kPartialContent = 206;
constexpr int kRangeNotSatisfiable = 416;
constexpr int kTooManyRequests = 429;
constexpr int kServiceUnavailable = 503;

// How often the client is asked.
constexpr milliseconds kLookInterval{50};
// So many bytes more of a body, and the tries are counted anew.
constexpr std::uint64_t kProgress = 64UL * 1024;
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

/// One body on its way, through all its tries.
struct Transfers::Work {
  std::unique_ptr<Body> body;
  int failedTries = 0;
  std::uint64_t countedFrom = 0;  ///< The part when the tries began to be counted.
  bool mayUseRange = true;
  bool pastCaches = false;
  std::string validator{};  ///< Of the part: what a range must be of.
  Timing::TimePoint due{};

  /// Where the next try begins.
  std::uint64_t firstByte() const {
    const std::uint64_t part = body->part();
    const std::uint64_t size = body->size().value_or(part);
    const bool isCertain = body->isChecked() || !validator.empty();
    const bool isPart = part > 0 && (!body->size() || part < size);
    return mayUseRange && isCertain && isPart && size > kWorthARange ? part : 0;
  }
};

/// Bytes of a body that go to the other thread.
struct Transfers::Piece {
  static constexpr std::size_t kRoom = 256UL * 1024;

  char* end() const { return bytes.get() + size; }
  std::size_t room() const { return kRoom - size; }

  std::unique_ptr<char[]> bytes;
  std::size_t size = 0;
};

/// What became of a try.
struct Transfers::Ending {
  std::unique_ptr<Work> work;
  Outcome failure;
  bool isComplete = false;      ///< All of the body has arrived.
  bool isStopped = false;       ///< Ended before its end because everything ends.
  bool isRangeRefused = false;  ///< The server did not give the range that was asked for.
  int status = 0;
  std::optional<std::chrono::seconds> wishedWait;
};

/// What waits in the queue: a piece of a body, or the end of a try, behind all of its pieces.
struct Transfers::Check {
  Body* body = nullptr;
  Piece piece;
  std::optional<Ending> ending;
};

/// What one connection is doing. The session's thread has it while a request runs; the thread that
/// holds the mutex otherwise.
class Transfers::Slot : public Exchange {
 public:
  explicit Slot(Transfers& transfers) : transfers_(transfers) {}

  bool isIdle() const { return work_ == nullptr; }

  /// Begins a try.
  Outcome start(std::unique_ptr<Work> work, int connection) {
    work_ = std::move(work);
    firstByte_ = work_->firstByte();
    status_ = 0;
    isTaking_ = false;
    isStopped_ = false;
    isHandedOver_ = false;
    errorPageBytes_ = 0;
    failure_.reset();
    for (std::string* field : {&retryAfter_, &date_, &contentRange_, &entityTag_, &lastModified_})
      field->clear();
    const Body& body = *work_->body;
    Request request;
    request.target = body.target();
    request.firstByte = firstByte_;
    if (firstByte_ > 0) request.ifRange = work_->validator;
    request.pastCaches = work_->pastCaches;
    // Of the whole, which may come in place of the rest.
    if (const auto most = mostBytes()) request.mostBytes = static_cast<std::int64_t>(*most);
    return transfers_.session_.start(connection, request, *this);
  }

  std::unique_ptr<Work> release() { return std::move(work_); }

  /// What became of the try, but for its work. Pieces that the other thread still has to check
  /// leave open what finish() says.
  Ending conclude() {
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

  /// Whether pieces of the body go, or went, to the other thread: the ending goes there, too.
  bool isHandedOver() const { return isHandedOver_; }
  /// The last piece, which may have nothing.
  Piece takePiece() { return std::exchange(piece_, {}); }

  void onField(std::string_view name, std::string_view value) override {
    attempt([&] { takeField(name, value); });
  }
  void onStatus(int status) override {
    attempt([&] { takeStatus(status); });
  }
  Room room() override {
    Room room{nullptr, 0};
    attempt([&] { room = roomInPiece(); });
    return room;
  }
  bool onBytes(std::string_view bytes) override {
    bool goesOn = false;
    attempt([&] { goesOn = takeBytes(bytes); });
    return goesOn;
  }
  void onFailure(const ConnectionError& error) override {
    attempt([&] { takeFailure(error); });
  }
  void onEnd(int connection) override { transfers_.settle(*this, connection); }

 private:
  /// What is thrown ends everything, and so this try.
  template <typename Step>
  void attempt(Step step) noexcept {
    Lock lock(transfers_.mutex_, std::defer_lock);
    transfers_.attempt(lock, step);
    isStopped_ = isStopped_ || lock.owns_lock();
  }

  void takeField(std::string_view name, std::string_view value) {
    if (name == "retry-after") retryAfter_ = value;
    if (name == "date") date_ = value;
    if (name == "content-range") contentRange_ = value;
    if (name == "etag") entityTag_ = value;
    if (name == "last-modified") lastModified_ = value;
  }

  void takeStatus(int status) {
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
    }
    failure_ = body.begin(isWhole, work_->validator);
  }

  /// Large bodies are received where the other thread will find them.
  Room roomInPiece() {
    constexpr std::size_t kWorthReceiving = Piece::kRoom / 4;
    if (!isHandedOver_ || !hasRoom(kWorthReceiving)) return {nullptr, 0};
    return {piece_.end(), piece_.room()};
  }

  bool takeBytes(std::string_view bytes) {
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

  void takeFailure(const ConnectionError& error) {
    using namespace Krell::Networking;  // NOLINT(google-build-using-namespace)
    constexpr auto kTooLarge =
        std::uint32_t{CONNECTION_ERROR_LIMIT} | std::uint32_t{CONNECTION_ERROR_RULE_NUMBER};
    if (failure_ || (status_ != 0 && !isTaking_)) return;
    if (error.code == kTooLarge && error.underlying == HTTP_RULE_BODY_SIZE) {
      failure_ = sizeFailure(*work_->body);
    } else {
      failure_ = failureOf(error);
    }
  }

  std::optional<std::uint64_t> mostBytes() const {
    const Body& body = *work_->body;
    return body.size() ? body.size() : body.largestSize();
  }

  /// Small bodies are checked at once: handing them over would take longer.
  void check(std::string_view bytes) {
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

  /// Gives a piece away in which there is no room for so many bytes more, and begins another one.
  /// False when there is no memory for that.
  bool hasRoom(std::size_t size) {
    if (piece_.bytes != nullptr && piece_.room() < size) {
      Lock lock(transfers_.mutex_);
      transfers_.makeRoom(lock);
      transfers_.addCheck({work_->body.get(), takePiece(), std::nullopt});
    }
    if (piece_.bytes == nullptr) piece_ = transfers_.takeSpare();
    return piece_.bytes != nullptr;
  }

  /// No failure when all of the body has arrived.
  Outcome completion() const {
    if (!isTaking_) return statusFailure();
    const Body& body = *work_->body;
    if (body.size() && body.part() != *body.size()) return sizeFailure(body);
    return {};
  }

  Failure statusFailure() const {
    return {Failure::Kind::kNetwork,
            "the server answered with HTTP status " + std::to_string(status_),
            {},
            isTransientStatus(status_),
            0,
            status_};
  }

  Transfers& transfers_;
  std::unique_ptr<Work> work_;
  std::uint64_t firstByte_ = 0;
  int status_ = 0;
  bool isTaking_ = false;
  bool isStopped_ = false;
  bool isHandedOver_ = false;
  Piece piece_;
  std::size_t errorPageBytes_ = 0;
  Outcome failure_;
  std::string retryAfter_;
  std::string date_;
  std::string contentRange_;
  std::string entityTag_;
  std::string lastModified_;
};

Transfers::Transfers(Session& session, Timing& timing, const RetryPolicy& policy,
                     const TransferLimits& limits)
    : session_(session), timing_(timing), policy_(policy), limits_(limits) {
  for (int i = 0; i < session.connectionCount(); ++i)
    slots_.push_back(std::make_unique<Slot>(*this));
}

Transfers::~Transfers() = default;

Outcome Transfers::run(Client& client) {
  // Also when something throws.
  struct End {
    ~End() { transfers.end(); }
    Transfers& transfers;
  } const atLast{*this};
  Lock lock(mutex_);
  client_ = &client;
  hasMore_ = true;
  stopping_ = false;
  failure_.reset();
  thrown_ = nullptr;
  startIdle();
  Timing::TimePoint look = nextLook();
  while (running_ > 0 || isChecking_ || !checks_.empty() ||
         (!stopping_ && (hasMore_ || !waiting_.empty()))) {
    if (isChecking_ || checks_.empty()) {
      timing_.wait(changed_, lock, look);
    } else {
      checkNext(lock);
    }
    if (timing_.now() < look && (running_ > 0 || isChecking_ || !checks_.empty())) continue;
    handOver(lock);
    checkEnd();
    startIdle();
    look = nextLook();
  }
  handOver(lock);
  if (thrown_) std::rethrow_exception(thrown_);
  return std::exchange(failure_, {});
}

// Does a step on the session's thread, which nothing may leave: what is thrown there is for the
// caller of run(). The step may take the lock; when it has thrown, the lock is held.
template <typename Step>
void Transfers::attempt(Lock& lock, Step step) noexcept {
  try {
    step();
  } catch (...) {
    if (!lock.owns_lock()) lock.lock();
    stopping_ = true;
    if (!thrown_) thrown_ = std::current_exception();
  }
}

// Waits until nothing runs any longer; what still does is stopped.
void Transfers::end() {
  {
    const Lock lock(mutex_);
    stopping_ = true;
  }
  for (int i = 0; i < session_.connectionCount(); ++i)
    session_.waitUntilIdle(i);
  checks_.clear();
  // What was in their hands when something was thrown. Pieces in the queue were of these bodies.
  for (const auto& slot : slots_) {
    slot->release();
    slot->takePiece();
  }
  spare_.clear();
  waiting_.clear();
  finished_.clear();
  notices_.clear();
}

// The moment of the next thing to do for the thread of run().
Timing::TimePoint Transfers::nextLook() const {
  const Timing::TimePoint now = timing_.now();
  Timing::TimePoint look = now + kLookInterval;
  for (const auto& work : waiting_)
    look = std::min(look, std::max({work->due, pausedUntil_, now}));
  return look;
}

// Serves the client, without the lock.
void Transfers::handOver(Lock& lock) {
  const auto finished = std::exchange(finished_, {});
  const auto notices = std::exchange(notices_, {});
  lock.unlock();
  for (const auto& body : finished)
    client_->done(*body);
  for (const Notice& notice : notices)
    client_->again(notice.failure, notice.wait);
  const bool goesOn = client_->goOn();
  lock.lock();
  if (!goesOn) fail({Failure::Kind::kCancelled, "stopped on request"}, {});
}

void Transfers::checkEnd() {
  if (!limits_.end || timing_.now() < *limits_.end) return;
  fail({Failure::Kind::kLimit, "the time that is allowed is over"}, {});
}

void Transfers::startIdle() {
  for (int i = 0; i < session_.connectionCount(); ++i) {
    if (!slots_[static_cast<std::size_t>(i)]->isIdle()) continue;
    // Its exchange has ended, but the session may still be about to note that.
    session_.waitUntilIdle(i);
    if (!startNext(i)) return;
  }
}

// A body that waits keeps others from being begun in its place: a server in trouble is not asked
// for more and more.
std::unique_ptr<Transfers::Work> Transfers::takeWork() {
  const Timing::TimePoint now = timing_.now();
  if (stopping_ || now < pausedUntil_) return nullptr;
  const auto due = std::find_if(waiting_.begin(), waiting_.end(),
                                [&](const auto& work) { return work->due <= now; });
  if (due != waiting_.end()) {
    std::unique_ptr<Work> work = std::move(*due);
    waiting_.erase(due);
    return work;
  }
  const std::size_t open = waiting_.size() + static_cast<std::size_t>(running_);
  if (!hasMore_ || open >= slots_.size()) return nullptr;
  std::unique_ptr<Body> body = client_->next();
  hasMore_ = body != nullptr;
  if (!hasMore_) return nullptr;
  auto work = std::make_unique<Work>();
  work->countedFrom = body->part();
  work->pastCaches = body->isPastCaches();
  work->validator = body->validator();
  work->body = std::move(body);
  return work;
}

bool Transfers::startNext(int connection) {
  std::unique_ptr<Work> work = takeWork();
  if (work == nullptr) return false;
  Slot& slot = *slots_[static_cast<std::size_t>(connection)];
  if (Outcome failure = slot.start(std::move(work), connection)) {
    fail(std::move(*failure), slot.release()->body->target());
    return false;
  }
  ++running_;
  return true;
}

// On the session's thread.
void Transfers::settle(Slot& slot, int connection) noexcept {
  Lock lock(mutex_, std::defer_lock);
  attempt(lock, [&] { takeEnding(lock, slot); });
  --running_;
  bool isStarted = false;
  attempt(lock, [&] { isStarted = startNext(connection); });
  // The other thread looks by itself soon enough, except for what it waits for alone.
  if (!isStarted && running_ == 0) changed_.notify_all();
}

// Takes the lock, and keeps it.
void Transfers::takeEnding(Lock& lock, Slot& slot) {
  Ending ending = slot.conclude();
  lock.lock();
  if (slot.isHandedOver()) makeRoom(lock);
  // From here on it is idle, and has its next request before anybody else sees that.
  if (!slot.isHandedOver()) {
    ending.work = slot.release();
    return judge(std::move(ending));
  }
  // The body leaves the slot when it has its place in the queue, where pieces of it wait before.
  Check& check = checks_.emplace_back();
  check.piece = slot.takePiece();
  check.ending = std::move(ending);
  check.ending->work = slot.release();
  check.body = check.ending->work->body.get();
  changed_.notify_all();
}

// Receiving does not wait for a thread that is busy with its client: whoever has no room in the
// queue does what is in it.
void Transfers::makeRoom(Lock& lock) {
  while (checks_.size() >= kMostUnchecked / Piece::kRoom) {
    if (isChecking_) {
      checked_.wait(lock);
    } else {
      checkNext(lock);
    }
  }
}

void Transfers::addCheck(Check check) {
  checks_.push_back(std::move(check));
  changed_.notify_all();
}

// One thread at a time, so that all is done in its order. Without the lock while it takes long.
void Transfers::checkNext(Lock& lock) {
  Check check = std::move(checks_.front());
  checks_.pop_front();
  isChecking_ = true;
  // Whoever waits for its end waits in vain when memory runs out.
  struct Done {
    ~Done() {
      if (!lock.owns_lock()) lock.lock();
      transfers.isChecking_ = false;
      transfers.checked_.notify_all();
    }
    Lock& lock;
    Transfers& transfers;
  } const atLast{lock, *this};
  lock.unlock();
  if (check.piece.size > 0) check.body->check({check.piece.bytes.get(), check.piece.size});
  if (check.ending && check.ending->isComplete) check.ending->failure = check.body->finish();
  lock.lock();
  check.piece.size = 0;
  if (check.piece.bytes != nullptr) spare_.push_back(std::move(check.piece));
  if (check.ending) judge(std::move(*check.ending));
}

// Without its bytes when there is no memory.
Transfers::Piece Transfers::takeSpare() {
  const Lock lock(mutex_);
  if (spare_.empty()) {
    return {std::unique_ptr<char[]>(new (std::nothrow) char[Piece::kRoom]), 0};
  }
  Piece piece = std::move(spare_.back());
  spare_.pop_back();
  return piece;
}

void Transfers::judge(Ending ending) {
  std::unique_ptr<Work>& work = ending.work;
  if (ending.isStopped) return;
  if (!ending.failure) {
    finished_.push_back(std::move(work->body));
    return;
  }
  if (ending.isRangeRefused) {
    work->mayUseRange = false;
    return retry(std::move(ending));
  }
  if (ending.failure->kind == Failure::Kind::kContent && !work->pastCaches) {
    work->pastCaches = true;
    work->mayUseRange = false;
    waiting_.push_back(std::move(work));
    return;
  }
  if (ending.failure->isTransient) return retry(std::move(ending));
  fail(std::move(*ending.failure), work->body->target());
}

void Transfers::retry(Ending ending) {
  std::unique_ptr<Work> work = std::move(ending.work);
  Failure failure = std::move(*ending.failure);
  const std::uint64_t next = work->firstByte();
  if (next >= work->countedFrom + kProgress) {
    work->countedFrom = next;
    work->failedTries = 0;
  }
  if (++work->failedTries >= policy_.tries) {
    if (policy_.tries > 1) failure.text += ", in " + std::to_string(policy_.tries) + " tries";
    return fail(std::move(failure), work->body->target());
  }
  milliseconds wait{0};
  if (!ending.isRangeRefused) wait = waitAfter(work->failedTries, timing_.random(), policy_);
  if (ending.wishedWait) wait = std::max<milliseconds>(wait, *ending.wishedWait);
  if (wait > policy_.mostPatience) {
    failure.text += ", and asks to wait for " + std::to_string(wait.count() / 1000) + " seconds";
    return fail(std::move(failure), work->body->target());
  }
  work->due = timing_.now() + wait;
  if (ending.status == kTooManyRequests || ending.status == kServiceUnavailable) {
    pausedUntil_ = std::max(pausedUntil_, work->due);
  }
  failure.about = session_.url(work->body->target());
  notices_.push_back({std::move(failure), wait});
  waiting_.push_back(std::move(work));
}

void Transfers::fail(Failure failure, const std::string& target) {
  stopping_ = true;
  if (failure_) return;
  if (failure.about.empty() && !target.empty()) failure.about = session_.url(target);
  failure_ = std::move(failure);
}

bool Transfers::mayReceive(std::size_t size) {
  const std::uint64_t before = received_.fetch_add(size);
  return !limits_.totalBytes || before + size <= *limits_.totalBytes;
}

}  // namespace mtlupdate
