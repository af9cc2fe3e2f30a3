// An EventStream passes what the module reports to the host's observer, one event at a time.
#ifndef MTLLIB_HOST_SRC_EVENT_STREAM_H_
#define MTLLIB_HOST_SRC_EVENT_STREAM_H_

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "byte_counter.h"
#include "mtlhost/observer.h"
#include "mtllib/host_callback.h"
#include "progress_tracker.h"
#include "requested_files.h"

namespace mtlhost {

/// What a call into the library reported.
struct CallRecord {
  std::int64_t files = 0;      ///< That were begun to be fetched.
  std::int64_t bytes = 0;      ///< That were received.
  Errors errors;               ///< The chain that was reported.
  std::string lastWarning;     ///< Reported by the library; may be how a run ended.
  bool stopped = false;        ///< The library was asked to stop.
  bool isBeyondLimit = false;  ///< Because it received too much.
  std::exception_ptr failure;  ///< The observer's exception.
};

/// The library's callback. It catches exceptions of the observer; after one, it reports nothing
/// more, and asks the library to stop.
class EventStream final : public HostCallback {
 public:
  /// The observer must outlive this.
  explicit EventStream(Observer& observer) : observer_(observer) {}

  using Explainer = std::function<void(Errors& chain, const RequestedFiles& requested)>;
  /// Explains the library's chains before they are reported.
  void explainBy(Explainer explainer) { explain_ = std::move(explainer); }

  /// Ends a call of the module that receives more: for one request, and in all.
  void limit(std::optional<std::uint64_t> request, std::optional<std::uint64_t> total) {
    mostOfRequest_ = request;
    mostInAll_ = total;
  }

  /// Any thread may call.
  void cancel() noexcept { cancelled_ = true; }
  bool isCancelled() const noexcept { return cancelled_; }

  /// Ends a call into the library and returns what it reported, which is then forgotten, as is
  /// any request to cancel.
  CallRecord finish();

  /// So many bytes of the phase that runs are done, of so many, or of Progress::kUnknown.
  void setPhaseBytes(std::int64_t done, std::int64_t total) noexcept;
  /// Reports to the observer something that the operations below do not cover.
  void tell(const std::function<void(Observer& observer)>& event) noexcept;

  void setProgressRange(int end) noexcept override;
  void setProgressValue(int permille) noexcept override;
  void setProgressText(const char* text) noexcept override;
  int isAborted(Krell::Networking::ReqTokenGeneralType* request,
                Krell::Networking::TransferProgress* progress,
                Krell::Networking::Response* response) noexcept override;
  void beginProgress() noexcept override;
  void endProgress() noexcept override;
  void logStage(const char* format, ...) noexcept override MTLLIB_PRINTF_METHOD(2, 3);
  void logTaggedError(const char* tag, int code, const char* format, ...) noexcept override
      MTLLIB_PRINTF_METHOD(4, 5);
  void reportError(ErrorChain* chain) noexcept override;
  void logWarning(const char* format, ...) noexcept override MTLLIB_PRINTF_METHOD(2, 3);
  void logInfo(const char* format, ...) noexcept override MTLLIB_PRINTF_METHOD(2, 3);

 private:
  template <typename Tell>
  void deliver(Tell tell) noexcept;
  void tellProgress();
  void checkLimits(std::int64_t received);

  Observer& observer_;
  std::atomic<bool> cancelled_{false};
  std::mutex mutex_;
  CallRecord record_;
  ByteCounter bytes_;
  ProgressTracker tracker_;
  RequestedFiles requested_;
  std::optional<std::uint64_t> mostOfRequest_{};
  std::optional<std::uint64_t> mostInAll_{};
  Explainer explain_;
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_EVENT_STREAM_H_
