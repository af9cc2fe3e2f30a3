// Implements Transfers. A session's thread settles each request as it ends and at once issues the
// connection's next one, if that belongs to the same session. The thread that called run() starts
// the first requests, those that waited and those of other sessions, calls the client, and digests
// large bodies, which the sessions' threads put into a queue for it.
#include "update/transfers.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "update/transfer_slot.h"

namespace mtlupdate {

namespace {

using std::chrono::milliseconds;

constexpr int kTooManyRequests = 429;
constexpr int kServiceUnavailable = 503;

// How often the client is asked.
constexpr milliseconds kLookInterval{50};
// After so many more bytes of a body, the count of tries starts over.
constexpr std::uint64_t kProgress = 64UL * 1024;

}  // namespace

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
  fail({Failure::Kind::kLimit, "the time limit is over"});
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
