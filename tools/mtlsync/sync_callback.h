// The host's side of a run: what the library tells, counted and passed on.
#ifndef MTLLIB_TOOLS_MTLSYNC_SYNC_CALLBACK_H_
#define MTLLIB_TOOLS_MTLSYNC_SYNC_CALLBACK_H_

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "mtllib/host_callback.h"
#include "mtlsync/byte_counter.h"
#include "mtlsync/console.h"
#include "mtlsync/error_text.h"
#include "mtlsync/json_events.h"
#include "mtlsync/options.h"
#include "mtlsync/progress_display.h"
#include "mtlsync/size_limits.h"

namespace mtlsync {

/// What a run has told about itself.
struct RunRecord {
  std::int64_t files = 0;  ///< Downloads that were begun.
  std::int64_t bytes = 0;
  bool stampsMatched = false;
  bool errorShown = false;
  bool saveFailed = false;
  std::string lastWarning;    ///< Told by the library as the end of a run may be.
  std::string exceededLimit;  ///< Why we ended the run ourselves; "" when we did not.
};

/// Messages go to the console as far as the verbosity allows, everything goes to the
/// events. Any thread may call; the members given to it are used under a lock. Running out
/// of memory ends the program: an exception would have to pass through the library.
class SyncCallback final : public HostCallback {
 public:
  struct Outputs {
    Console& messages;
    ProgressDisplay* progress;  ///< May be null.
    JsonEvents* events;         ///< May be null.
  };

  /// `stop` is asked, on any thread, whether to end the run; beyond the limits it ends, too.
  SyncCallback(const Outputs& outputs, Verbosity verbosity, const SizeLimits& limits,
               std::function<bool()> stop);

  /// Tells of a failure, as the library does with reportError().
  void showError(const ErrorEntries& entries);

  /// Tells that a file of the local copy was removed.
  void showRemoved(const std::string& path);

  RunRecord record() const;

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
  bool tellsEverything() const;
  void tell(const char* event, const std::string& text);
  void printWarning(const std::string& text);
  JsonEvents* events();
  bool isEnding() const { return stop_() || !record_.exceededLimit.empty(); }

  mutable std::mutex mutex_;
  Outputs outputs_;
  Verbosity verbosity_;
  SizeLimits limits_;
  std::function<bool()> stop_;
  ByteCounter bytes_;
  RunRecord record_;
};

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_SYNC_CALLBACK_H_
