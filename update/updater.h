// An Updater brings the local copy of a library up to date. It is the interface of the engine.
#ifndef MTLLIB_UPDATE_UPDATER_H_
#define MTLLIB_UPDATE_UPDATER_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "update/failure.h"
#include "update/listing.h"
#include "update/plan.h"
#include "update/retries.h"
#include "update/session.h"
#include "update/timing.h"
#include "update/trust.h"
#include "update/verify.h"

namespace mtlupdate {

struct UpdateOptions {
  SessionOptions session{};
  /// Other addresses of the same library, with the same options. One that does not answer, lags, or
  /// has not what was published is passed over for another one.
  std::vector<std::string> mirrors{};
  std::string folder{};    ///< Of the copy; made when there is something to put in it.
  std::string subPath{};   ///< Which of the library's stamps and lists.
  bool full = false;       ///< Fetch whatever the list selects.
  bool prune = false;      ///< Remove files that the library has withdrawn.
  bool pruneMost = false;  ///< Also when they are more than half of the copy.
  std::optional<std::uint64_t> largestFile{};       ///< In bytes.
  std::optional<std::uint64_t> largestTotal{};      ///< In bytes received, stamp and list included.
  std::optional<std::chrono::seconds> timeLimit{};  ///< Of everything.
  RetryPolicy retries{};
  bool waitForOthers = false;  ///< Of runs on the same folder; else kBusy.
  TrustOptions trust{};
};

/// An UpdateObserver receives what an Updater does, on the thread that called it.
class UpdateObserver {
 public:
  enum class Phase { kStamp, kList, kPlan, kFetch, kCommit, kVerify };

  virtual ~UpdateObserver() = default;
  /// Asked at least ten times a second, but for calls of the system that take longer. False ends
  /// the operation as Updater::cancel() does.
  virtual bool shouldContinue() { return true; }
  /// "HOST:PORT" that requests go through, to the first address; "" for none. Before the first
  /// request.
  virtual void onProxy(const std::string& /*proxy*/) {}
  virtual void onPhase(Phase /*phase*/) {}
  /// Bytes of all bodies that were received so far, those of stamp and list among them: before each
  /// shouldContinue(), and when the operation is over.
  virtual void onReceived(std::uint64_t /*bytes*/) {}
  /// What will be done, before anything is fetched.
  virtual void onPlan(const Plan& /*plan*/) {}
  /// Bytes of contents that were received in kFetch, or read in kVerify, and how many there will be
  /// of known size.
  virtual void onProgress(std::uint64_t /*bytes*/, std::uint64_t /*total*/) {}
  /// A content was fetched into the stage, from this address if the library has several, else "";
  /// or copied there from another file of the copy.
  virtual void onFetched(const Entry& /*entry*/, const std::string& /*address*/) {}
  virtual void onCopied(const Entry& /*entry*/, const std::string& /*from*/) {}
  /// A request failed, and is sent again after the wait.
  virtual void onRetry(const Failure& /*failure*/, std::chrono::milliseconds /*wait*/) {}
  /// A request failed, and what it was for is asked for at another address of the library.
  virtual void onNextAddress(const Failure& /*failure*/, const std::string& /*address*/) {}
  /// The library does not match its list, or either is not signed as it should be: stamp and list
  /// are looked at once more, past caches.
  virtual void onSecondLook(const Failure& /*failure*/) {}
  /// Something is not as it should be, and does not end the operation.
  virtual void onWarning(const std::string& /*text*/) {}
  /// Another process has the copy, and is waited for.
  virtual void onWaiting(std::int64_t /*process*/) {}
};

struct CheckResult {
  bool isCurrent = false;  ///< The copy has the library's stamp.
  std::string stamp{};     ///< Of the library.
};

/// A plan with the list that it was made from.
struct Preview {
  bool isCurrent = false;  ///< The copy has the library's stamp.
  std::string stamp{};     ///< Of the library.
  std::unique_ptr<Listing> listing{};
  Plan plan{};
};

struct UpdateResult {
  bool isChanged = false;  ///< Some file of the copy was placed or removed.
  std::string stamp{};     ///< Of the library.
  std::size_t filesFetched = 0;
  std::uint64_t bytesFetched = 0;  ///< Of contents, as they were received.
  std::size_t filesCopied = 0;
  std::uint64_t bytesCopied = 0;
  std::size_t filesUnchanged = 0;
  std::uint64_t bytesUnchanged = 0;
  std::vector<std::string> placed{};   ///< Paths: hosts reload these.
  std::vector<std::string> removed{};  ///< Paths of withdrawn files.
  std::vector<SkippedEntry> skipped{};
  std::vector<Plan::Withdrawn> withdrawn{};  ///< Those that stay, too.
  /// Files that some program keeps from being replaced or removed: the first one is the failure.
  /// The next update finishes.
  std::vector<Failure> busy{};
  std::chrono::microseconds commitTime{};  ///< From the first file put in its place to the last.
};

/// One operation at a time, on any thread. cancel() may be called by any thread meanwhile.
class Updater {
 public:
  /// The observer, and a timing that is given, must live longer.
  Updater(UpdateOptions options, UpdateObserver& observer, Timing* timing = nullptr);

  /// Compares the stamps: one request. Nothing is written.
  Outcome check(CheckResult& result);
  /// Says what update() would do. Nothing is written.
  Outcome plan(Preview& preview);
  /// Does nothing after one request when the stamps are the same, unless it was asked to prune or
  /// to fetch everything. After a failure the next call continues where this one was.
  Outcome update(UpdateResult& result);

  /// Compares the copy with the list that the last update kept, without a network. Where there is
  /// none, with the library's own; kUsage when no address of it is given.
  Outcome verify(VerifyResult& result);
  /// As update(), but whatever the stamps say, and reading every file.
  Outcome repair(UpdateResult& result);

  /// Ends the operation that runs within 200 ms, but for calls of the system that take longer, and
  /// those that come: kCancelled.
  void cancel() { isCancelled_ = true; }

 private:
  class Run;

  template <typename Operation>
  Outcome perform(Operation operation);

  const UpdateOptions options_;
  UpdateObserver& observer_;
  Timing ownTiming_;
  Timing& timing_;
  std::atomic<bool> isCancelled_{false};
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_UPDATER_H_
