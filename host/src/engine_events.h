// Reports what the engine does to the host's observer, in the words that the module uses.
#ifndef MTLLIB_HOST_SRC_ENGINE_EVENTS_H_
#define MTLLIB_HOST_SRC_ENGINE_EVENTS_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "event_stream.h"
#include "mtlhost/update.h"
#include "update/updater.h"

namespace mtlhost {

/// Of one operation.
class EngineEvents final : public mtlupdate::UpdateObserver {
 public:
  /// The events must outlive this.
  explicit EngineEvents(EventStream& events) : events_(events) {}

  /// The operation is over: `isWell` when it did not fail.
  void end(bool isWell);

  /// In all, so far.
  std::int64_t receivedBytes() const;
  /// Whether the library's list was asked for.
  bool hasAskedForList() const { return hasAskedForList_; }
  /// "HOST:PORT" that requests go through; "" for none.
  const std::string& proxy() const { return proxy_; }

  bool shouldContinue() override;
  void onReceived(std::uint64_t bytes) override { received_ = bytes; }
  void onProxy(const std::string& proxy) override;
  void onPhase(Phase phase) override;
  void onPlan(const mtlupdate::Plan& plan) override;
  void onProgress(std::uint64_t bytes, std::uint64_t total) override;
  void onFetched(const mtlupdate::Entry& entry, const std::string& address) override;
  void onCopied(const mtlupdate::Entry& entry, const std::string& from) override;
  void onRetry(const mtlupdate::Failure& failure, std::chrono::milliseconds wait) override;
  void onNextAddress(const mtlupdate::Failure& failure, const std::string& address) override;
  void onSecondLook(const mtlupdate::Failure& failure) override;
  void onWarning(const std::string& warning) override;
  void onWaiting(std::int64_t process) override;

 private:
  void beginPhase(const char* caption);
  void endPhase();
  void beginMeasuring(const char* caption, std::int64_t total);
  void tellMeasured(std::int64_t bytes);

  EventStream& events_;
  std::string proxy_;
  std::uint64_t received_ = 0;
  std::int64_t bytesToFetch_ = 0;   ///< 0 when it is not known.
  const char* measured_ = nullptr;  ///< The caption of a phase whose bytes are known; else null.
  std::int64_t total_ = 0;          ///< Of that phase.
  int permille_ = -1;
  bool isInPhase_ = false;
  bool hasContents_ = true;  ///< Something is to be fetched or copied.
  bool isVerifying_ = false;
  bool hasAskedForList_ = false;
  bool hasToldOfWaiting_ = false;
};

/// A number of bytes as hosts get it.
std::int64_t signedBytes(std::uint64_t bytes);

/// The plan as hosts get it.
Plan planOf(const mtlupdate::Plan& plan);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_ENGINE_EVENTS_H_
