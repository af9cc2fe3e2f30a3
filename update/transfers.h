// A Transfers object fetches bodies of a library, as many at a time as a session has connections.
// Where that may help, it tries again, asks another address of the library, and continues a body
// where it was cut.
#ifndef MTLLIB_UPDATE_TRANSFERS_H_
#define MTLLIB_UPDATE_TRANSFERS_H_

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "update/failure.h"
#include "update/mirrors.h"
#include "update/retries.h"
#include "update/session.h"
#include "update/timing.h"

namespace mtlupdate {

/// In bytes: smaller bodies that were cut are fetched again from the beginning.
inline constexpr std::uint64_t kWorthARange = 1048576;
/// In bytes: what a larger body brings is checked by the thread of Transfers::run(), while the next
/// bytes are received.
inline constexpr std::uint64_t kWorthHandingOver = 64UL * 1024;
/// In bytes, of all bodies: what waits to be checked. When there is more, receiving waits.
inline constexpr std::size_t kMostUnchecked = 4UL * 1024 * 1024;

/// A Body takes one body as it arrives. It is used by one thread at a time, not always the same;
/// only check() may run while more is appended.
class Body {
 public:
  virtual ~Body() = default;

  /// What is asked for at the address of this session: the path of a URL, encoded.
  virtual std::string target(const Session& session) const = 0;
  /// Whether it may come from this address of the library.
  virtual bool mayComeFrom(std::size_t /*mirror*/) const { return true; }
  /// Whether the addresses are asked in the order in which they were named, not as drawn.
  virtual bool isAskedAsNamed() const { return false; }

  /// The size of the whole body, where it is known. Another one is kContent.
  virtual std::optional<std::uint64_t> size() const { return std::nullopt; }
  /// A larger body is a kLimit; none for any size.
  virtual std::optional<std::uint64_t> largestSize() const { return std::nullopt; }
  /// Caches on the way are not to answer: not even the first time.
  virtual bool isPastCaches() const { return false; }
  /// The bytes that were taken, in earlier tries and runs too.
  virtual std::uint64_t part() const = 0;
  /// Whether finish() would notice that the part is not of the same body as the rest.
  virtual bool isChecked() const { return false; }

  /// What the server called the state of the body that the part is of: its validator, as it goes
  /// into If-Range. "" when it is not known.
  virtual std::string validator() const { return {}; }

  /// A body begins to arrive: the rest, behind the part, or the whole, anew.
  virtual Outcome begin(bool anew, const std::string& validator) = 0;
  virtual Outcome append(std::string_view bytes) = 0;
  /// Of a body that isChecked(): takes what was appended for finish() to judge by, all of it, in
  /// its order, and sooner or later.
  virtual void check(std::string_view /*bytes*/) {}
  /// The body is complete, and all of it was checked. After kContent it is fetched once more, past
  /// caches.
  virtual Outcome finish() = 0;
};

struct TransferLimits {
  std::optional<std::uint64_t> totalBytes;  ///< Received in all.
  std::optional<Timing::TimePoint> end;     ///< Of everything.
};

class Transfers {
 public:
  /// A Client has the bodies that are to be fetched, and receives the progress.
  class Client {
   public:
    virtual ~Client() = default;
    /// The next body; null when there are no more. Called on any thread, one call at a time.
    virtual std::unique_ptr<Body> next() = 0;
    /// A body was fetched from this address and finished. On the thread of run(), as are all below.
    virtual void done(Body& body, std::size_t mirror) = 0;
    /// Asked at least ten times a second. False ends everything, as kCancelled.
    virtual bool shouldContinue() = 0;
    /// A try failed, and another one follows after the wait.
    virtual void onRetry(const Failure& /*failure*/, std::chrono::milliseconds /*wait*/) {}
    /// A try failed, and another address of the library is asked.
    virtual void onNextAddress(const Failure& /*failure*/, const std::string& /*address*/) {}
  };

  /// All must live longer. While run() is at work, the mirrors are left to it.
  Transfers(Mirrors& mirrors, Timing& timing, const RetryPolicy& policy,
            const TransferLimits& limits);
  ~Transfers();
  Transfers(const Transfers&) = delete;
  Transfers& operator=(const Transfers&) = delete;

  /// Fetches all bodies. The first failure that neither further tries nor other addresses help ends
  /// all of it, with what was taken until then as parts. Of several addresses of which some may
  /// have the body later, it is kNetwork. One call at a time. Throws what bodies and the client
  /// throw, on whatever thread, when everything has ended.
  Outcome run(Client& client);

  /// Bytes of bodies received so far, over all runs. Any thread may ask.
  std::uint64_t receivedBytes() const { return received_; }

 private:
  class Slot;
  struct Work;
  struct Piece;
  struct Ending;
  struct Check;
  struct Choice;
  using Lock = std::unique_lock<std::mutex>;

  template <typename Step>
  void attempt(Lock& lock, Step step) noexcept;
  void end();
  std::optional<Choice> choose(const Work& work) const;
  bool mayStart(const Work& work, std::optional<std::size_t> mirror) const;
  bool isAnyAddressFree() const;
  std::unique_ptr<Work> takeNew();
  std::unique_ptr<Work> takeWork(std::optional<std::size_t> mirror);
  bool startNext(int connection, std::optional<std::size_t> mirror);
  void startIdle();
  void settle(Slot& slot, int connection) noexcept;
  void takeEnding(Lock& lock, Slot& slot);
  void judge(Ending ending);
  void retry(Ending ending);
  void refuse(Ending ending);
  void waitOrFail(std::unique_ptr<Work> work, Failure failure, std::chrono::milliseconds wait);
  std::string urlOf(const Work& work) const;
  Failure summaryOf(const Work& work, Failure last) const;
  Piece takeSpare();
  void makeRoom(Lock& lock);
  void addCheck(Check check);
  void checkNext(Lock& lock);
  void fail(Failure failure);
  bool mayReceive(std::size_t size);
  bool isTooMuch() const;
  Timing::TimePoint nextLook() const;
  void handOver(Lock& lock);
  void checkEnd();

  Mirrors& mirrors_;
  Timing& timing_;
  const RetryPolicy policy_;
  const TransferLimits limits_;
  std::atomic<std::uint64_t> received_{0};
  std::atomic<bool> stopping_{false};  ///< Written under the mutex.
  std::vector<std::unique_ptr<Slot>> slots_;

  std::mutex mutex_;
  std::condition_variable changed_;
  // All below is guarded by the mutex.
  struct Notice {
    Failure failure;
    std::chrono::milliseconds wait;
    std::string address;  ///< That is asked next; "" for the same one.
  };
  struct Finished {
    std::unique_ptr<Body> body;
    std::size_t mirror;
  };
  Client* client_ = nullptr;
  bool hasMore_ = false;
  int running_ = 0;
  std::size_t busyMirror_ = 0;  ///< Where the last try was begun.
  std::list<std::unique_ptr<Work>> waiting_;
  std::list<Check> checks_;
  std::vector<Piece> spare_;
  bool isChecking_ = false;
  std::condition_variable checked_;
  std::vector<Finished> finished_;
  std::vector<Notice> notices_;
  Outcome failure_;
  std::exception_ptr thrown_;  ///< On the session's thread.
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_TRANSFERS_H_
