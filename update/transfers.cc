// Implements Transfers. A session's thread settles each request as it ends and at once issues the
// connection's next one, if that belongs to the same session. The thread that called run() starts
// the first requests, those that waited and those of other sessions, calls the client, and digests
// large bodies, which the sessions' threads put into a queue for it.
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
using Krell::Networking::FailureDetail;
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
  /// What became of the tries at one address.
  struct Attempts {
    int failed = 0;
    bool isOver = false;  ///< No more of them there.
    Outcome failure;      ///< Of the last one.
    Timing::TimePoint due{};
  };

  std::unique_ptr<Body> body;
  std::size_t mirror = 0;            ///< Of the try under way, or else of the last one.
  std::vector<Attempts> attempts{};  ///< By addresses, as far as there was any.
  /// Where the part came from; none when an earlier run left it.
  std::optional<std::size_t> partFrom{};
  bool isMixed = false;           ///< The part is from several addresses.
  std::uint64_t countedFrom = 0;  ///< The part when the tries began to be counted.
  bool mayUseRange = true;
  bool pastCaches = false;
  std::string validator{};  ///< Of the part: what a range must be of.

  Attempts& attemptsAt(std::size_t number) {
    if (number >= attempts.size()) attempts.resize(number + 1);
    return attempts[number];
  }
  /// Content is wrong at some address.
  bool hadWrongContent() const {
    return std::any_of(attempts.begin(), attempts.end(), [](const Attempts& at) {
      return at.failure && at.failure->kind == Failure::Kind::kContent;
    });
  }
  /// What a range must be of at the address that is asked. What shows at its end whether it is
  /// right may come from several.
  const std::string& condition() const {
    static const std::string kNone;
    return body->isChecked() && partFrom && *partFrom != mirror ? kNone : validator;
  }

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

/// The address to ask next, and the moment from which it may be asked.
struct Transfers::Choice {
  std::size_t mirror;
  Timing::TimePoint from;
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
  /// The address that was asked last.
  std::size_t mirror() const { return mirror_; }

  /// Begins a try.
  Outcome start(std::unique_ptr<Work> work, int connection) {
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
  void onFailure(const ConnectionError& error, const FailureDetail& detail) override {
    attempt([&] { takeFailure(error, detail); });
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
      work_->partFrom = mirror_;
      work_->isMixed = false;
    } else {
      work_->isMixed = work_->isMixed || work_->partFrom != mirror_;
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

  void takeFailure(const ConnectionError& error, const FailureDetail& detail) {
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
  std::size_t mirror_ = 0;
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

Transfers::Transfers(Mirrors& mirrors, Timing& timing, const RetryPolicy& policy,
                     const TransferLimits& limits)
    : mirrors_(mirrors), timing_(timing), policy_(policy), limits_(limits) {
  for (int i = 0; i < mirrors.connectionCount(); ++i)
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
  for (std::size_t mirror = 0; mirror < mirrors_.size(); ++mirror) {
    for (int i = 0; i < mirrors_.connectionCount(); ++i)
      mirrors_.session(mirror).waitUntilIdle(i);
  }
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
  // Others may have been begun while it was found out that a body has to be fetched again.
  const bool hasIdle = static_cast<std::size_t>(running_) < slots_.size();
  for (const auto& work : waiting_) {
    const std::optional<Choice> choice = choose(*work);
    if (!choice) continue;
    if (choice->from > now) look = std::min(look, choice->from);
    if (hasIdle && mayStart(*work, std::nullopt)) look = now;
  }
  return look;
}

// Serves the client, without the lock.
void Transfers::handOver(Lock& lock) {
  const auto finished = std::exchange(finished_, {});
  const auto notices = std::exchange(notices_, {});
  lock.unlock();
  for (const Finished& one : finished)
    client_->done(*one.body, one.mirror);
  for (const Notice& notice : notices) {
    if (notice.address.empty()) {
      client_->onRetry(notice.failure, notice.wait);
    } else {
      client_->onNextAddress(notice.failure, notice.address);
    }
  }
  const bool goesOn = client_->shouldContinue();
  lock.lock();
  if (!goesOn) fail({Failure::Kind::kCancelled, "stopped on request"});
}

void Transfers::checkEnd() {
  if (!limits_.end || timing_.now() < *limits_.end) return;
  fail({Failure::Kind::kLimit, "the time that is allowed is over"});
}

void Transfers::startIdle() {
  for (int i = 0; i < mirrors_.connectionCount(); ++i) {
    const Slot& slot = *slots_[static_cast<std::size_t>(i)];
    if (!slot.isIdle()) continue;
    // Its exchange has ended, but the session may still be about to note that.
    mirrors_.session(slot.mirror()).waitUntilIdle(i);
    if (!startNext(i, std::nullopt)) return;
  }
}

// The first address of the order that may be asked by now, or else the one that may be first; none
// when there is none left.
std::optional<Transfers::Choice> Transfers::choose(const Work& work) const {
  const Timing::TimePoint now = timing_.now();
  std::optional<Choice> choice;
  for (const std::size_t mirror :
       work.body->isAskedAsNamed() ? mirrors_.asNamed() : mirrors_.asDrawn()) {
    if (!work.body->mayComeFrom(mirror)) continue;
    Timing::TimePoint from = mirrors_.pausedUntil(mirror);
    if (mirror < work.attempts.size()) {
      const Work::Attempts& attempts = work.attempts[mirror];
      if (attempts.isOver) continue;
      from = std::max(from, attempts.due);
    }
    if (!choice || from < choice->from) choice = Choice{mirror, from};
    if (from <= now) return Choice{mirror, from};
  }
  return choice;
}

// Whether the work may be started now, at this address if one is given. A limit of bytes a second
// is each session's own, so that then one at a time is asked.
bool Transfers::mayStart(const Work& work, std::optional<std::size_t> mirror) const {
  const std::optional<Choice> choice = choose(work);
  if (!choice || choice->from > timing_.now()) return false;
  if (mirror && choice->mirror != *mirror) return false;
  return !mirrors_.hasRateLimit() || running_ == 0 || choice->mirror == busyMirror_;
}

bool Transfers::isAnyAddressFree() const {
  const Timing::TimePoint now = timing_.now();
  const Mirrors::Order& order = mirrors_.asNamed();
  return std::any_of(order.begin(), order.end(),
                     [&](std::size_t mirror) { return mirrors_.pausedUntil(mirror) <= now; });
}

// Null when there are no more.
std::unique_ptr<Transfers::Work> Transfers::takeNew() {
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

// A body that waits keeps others from being begun in its place: a server in trouble is not asked
// for more and more.
std::unique_ptr<Transfers::Work> Transfers::takeWork(std::optional<std::size_t> mirror) {
  if (stopping_) return nullptr;
  const auto due = std::find_if(waiting_.begin(), waiting_.end(),
                                [&](const auto& work) { return mayStart(*work, mirror); });
  if (due != waiting_.end()) {
    std::unique_ptr<Work> work = std::move(*due);
    waiting_.erase(due);
    return work;
  }
  const std::size_t open = waiting_.size() + static_cast<std::size_t>(running_);
  if (!hasMore_ || open >= slots_.size() || !isAnyAddressFree()) return nullptr;
  std::unique_ptr<Work> work = takeNew();
  if (work == nullptr || mayStart(*work, mirror)) return work;
  waiting_.push_back(std::move(work));
  return nullptr;
}

// At this address, if one is given.
bool Transfers::startNext(int connection, std::optional<std::size_t> mirror) {
  std::unique_ptr<Work> work = takeWork(mirror);
  if (work == nullptr) return false;
  work->mirror = busyMirror_ = choose(*work)->mirror;
  Slot& slot = *slots_[static_cast<std::size_t>(connection)];
  if (Outcome failure = slot.start(std::move(work), connection)) {
    const std::unique_ptr<Work> refused = slot.release();
    if (failure->about.empty()) failure->about = urlOf(*refused);
    fail(std::move(*failure));
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
  attempt(lock, [&] { isStarted = startNext(connection, slot.mirror()); });
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
    finished_.push_back({std::move(work->body), work->mirror});
    return;
  }
  Failure& failure = *ending.failure;
  if (failure.about.empty()) failure.about = urlOf(*work);
  if (ending.isRangeRefused) {
    work->mayUseRange = false;
    return retry(std::move(ending));
  }
  switch (failure.kind) {
    case Failure::Kind::kNetwork:
      return failure.isTransient ? retry(std::move(ending)) : refuse(std::move(ending));
    case Failure::Kind::kContent:
    case Failure::Kind::kUntrusted:
      return refuse(std::move(ending));
    case Failure::Kind::kLimit:
      if (!isTooMuch()) return refuse(std::move(ending));
      break;
    default:
      break;
  }
  fail(std::move(failure));
}

void Transfers::retry(Ending ending) {
  std::unique_ptr<Work> work = std::move(ending.work);
  Failure failure = std::move(*ending.failure);
  Work::Attempts& attempts = work->attemptsAt(work->mirror);
  const std::uint64_t next = work->firstByte();
  if (next >= work->countedFrom + kProgress) {
    work->countedFrom = next;
    attempts.failed = 0;
  }
  attempts.isOver = ++attempts.failed >= policy_.tries;
  milliseconds wait{0};
  if (!ending.isRangeRefused) {
    wait = waitAfter(attempts.failed, timing_.random(), policy_);
    mirrors_.putLast(work->mirror, true);
  }
  if (ending.wishedWait) wait = std::max<milliseconds>(wait, *ending.wishedWait);
  attempts.due = timing_.now() + wait;
  if (attempts.isOver) {
    if (policy_.tries > 1) failure.text += ", in " + std::to_string(policy_.tries) + " tries";
  } else if (wait > policy_.mostPatience) {
    failure.text += ", and asks to wait for " + std::to_string(wait.count() / 1000) + " seconds";
    attempts.isOver = true;
  }
  if (ending.status == kTooManyRequests || ending.status == kServiceUnavailable) {
    // For other bodies, too, nobody waits for longer than there is patience.
    mirrors_.pause(work->mirror, timing_.now() + std::min(wait, policy_.mostPatience));
  }
  waitOrFail(std::move(work), std::move(failure), wait);
}

// Trying again does not help there.
void Transfers::refuse(Ending ending) {
  std::unique_ptr<Work> work = std::move(ending.work);
  const bool isContent = ending.failure->kind == Failure::Kind::kContent;
  if (mirrors_.size() > 1 && isContent && std::exchange(work->isMixed, false)) {
    // Nobody can say whose part of it is wrong.
    work->mayUseRange = false;
    waiting_.push_back(std::move(work));
    return;
  }
  work->attemptsAt(work->mirror).isOver = true;
  mirrors_.putLast(work->mirror, false);
  waitOrFail(std::move(work), std::move(*ending.failure), milliseconds(0));
}

void Transfers::waitOrFail(std::unique_ptr<Work> work, Failure failure, milliseconds wait) {
  work->attemptsAt(work->mirror).failure = failure;
  if (const std::optional<Choice> choice = choose(*work)) {
    const bool isOther = choice->mirror != work->mirror;
    notices_.push_back(
        {std::move(failure), wait, isOther ? mirrors_.address(choice->mirror) : std::string()});
  } else if (!work->pastCaches && work->hadWrongContent()) {
    work->pastCaches = true;
    work->mayUseRange = false;
    for (Work::Attempts& attempts : work->attempts) {
      const bool wasWrong = attempts.failure && attempts.failure->kind == Failure::Kind::kContent;
      if (wasWrong) attempts = {};
    }
  } else {
    return fail(summaryOf(*work, std::move(failure)));
  }
  waiting_.push_back(std::move(work));
}

std::string Transfers::urlOf(const Work& work) const {
  const Session& session = mirrors_.session(work.mirror);
  return session.url(work.body->target(session));
}

// What ends the run when no address has the body. A mirror that lags may have it later, so that one
// of them is enough for a later try to be worth it.
Failure Transfers::summaryOf(const Work& work, Failure last) const {
  if (mirrors_.size() == 1) return last;
  const auto mayLag = [](const Outcome& failure) {
    if (!failure) return false;
    const bool isOther = failure->kind == Failure::Kind::kUntrusted && failure->isTransient;
    return isOther || failure->kind == Failure::Kind::kNetwork ||
           failure->kind == Failure::Kind::kContent;
  };
  std::size_t asked = 0;
  bool isSilent = true;
  const Outcome* lagging = nullptr;
  for (const Work::Attempts& attempts : work.attempts) {
    if (!attempts.failure) continue;
    ++asked;
    isSilent = isSilent && attempts.failure->kind == Failure::Kind::kNetwork &&
               attempts.failure->isTransient;
    if (lagging == nullptr && mayLag(attempts.failure)) lagging = &attempts.failure;
  }
  Failure failure = std::move(last);
  if (lagging != nullptr) {
    failure = **lagging;
    failure.kind = Failure::Kind::kNetwork;
  }
  failure.isTransient = isSilent;
  if (asked > 1) {
    failure.text += "; none of " + std::to_string(asked) + " addresses has it";
    if (lagging != nullptr) failure.text += " at the moment";
  }
  return failure;
}

void Transfers::fail(Failure failure) {
  stopping_ = true;
  if (!failure_) failure_ = std::move(failure);
}

bool Transfers::mayReceive(std::size_t size) {
  const std::uint64_t before = received_.fetch_add(size);
  return !limits_.totalBytes || before + size <= *limits_.totalBytes;
}

bool Transfers::isTooMuch() const {
  return limits_.totalBytes && received_ > *limits_.totalBytes;
}

}  // namespace mtlupdate
