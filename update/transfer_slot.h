// The parts of Transfers, for its own sources only: a Work is a body on its way through all its
// tries, a Slot is one connection with the try that it is making, and a Check is a piece of a body
// that waits for its digest.
#ifndef MTLLIB_UPDATE_TRANSFER_SLOT_H_
#define MTLLIB_UPDATE_TRANSFER_SLOT_H_

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "update/failure.h"
#include "update/session.h"
#include "update/timing.h"
#include "update/transfers.h"

namespace mtlupdate {

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
  Outcome start(std::unique_ptr<Work> work, int connection);
  std::unique_ptr<Work> release() { return std::move(work_); }

  /// What became of the try, but for its work. Pieces that the other thread still has to check
  /// leave open what finish() says.
  Ending conclude();
  /// Whether pieces of the body go, or went, to the other thread: the ending goes there, too.
  bool isHandedOver() const { return isHandedOver_; }
  /// The last piece, which may have nothing.
  Piece takePiece() { return std::exchange(piece_, {}); }

  void onField(std::string_view name, std::string_view value) override;
  void onStatus(int status) override;
  Room room() override;
  bool onBytes(std::string_view bytes) override;
  void onFailure(const Krell::Networking::ConnectionError& error,
                 const Krell::Networking::FailureDetail& detail) override;
  void onEnd(int connection) override;

 private:
  template <typename Step>
  void attempt(Step step) noexcept;
  void takeField(std::string_view name, std::string_view value);
  void takeStatus(int status);
  Room roomInPiece();
  bool takeBytes(std::string_view bytes);
  void takeFailure(const Krell::Networking::ConnectionError& error,
                   const Krell::Networking::FailureDetail& detail);
  std::optional<std::uint64_t> mostBytes() const;
  void check(std::string_view bytes);
  bool hasRoom(std::size_t size);
  Outcome completion() const;
  Failure statusFailure() const;

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

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_TRANSFER_SLOT_H_
