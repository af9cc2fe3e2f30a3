// The host's side of a run: what the library tells, counted and passed on.
#ifndef MTLLIB_TOOLS_MTLSYNC_SYNC_OBSERVER_H_
#define MTLLIB_TOOLS_MTLSYNC_SYNC_OBSERVER_H_

#include <cstdint>
#include <functional>
#include <string>

#include "common/console.h"
#include "mtlhost/observer.h"
#include "mtlsync/error_text.h"
#include "mtlsync/json_events.h"
#include "mtlsync/options.h"
#include "mtlsync/progress_display.h"
#include "mtlsync/size_limits.h"

namespace mtlsync {

/// What a run has told about itself.
struct RunRecord {
  std::int64_t files = 0;  ///< Downloads that were begun; of the engine, those that were done.
  std::int64_t bytes = 0;
  std::int64_t compared = 0;       ///< Listed files that were compared with the local copy.
  std::int64_t differences = 0;    ///< That were told.
  bool foundIrregular = false;     ///< A difference that only the user can fix.
  bool foundUnreadable = false;    ///< The same.
  std::int64_t leftAsTheyAre = 0;  ///< Differences that were found to be none of ours to fix.
  std::string firstLeft;
  bool stampsMatched = false;
  bool warned = false;        ///< Told by the library as the end of a run may be.
  ErrorEntries failure;       ///< The last one told.
  std::string exceededLimit;  ///< Why we ended the run ourselves; "" when we did not.
};

/// Messages go to the console as far as the verbosity allows, everything goes to the
/// events. Used by one thread at a time.
class SyncObserver final : public mtlhost::Observer {
 public:
  struct Outputs {
    common::Console& messages;  ///< Failures, warnings, progress.
    common::Console& results;   ///< What was asked for.
    ProgressDisplay* progress;  ///< May be null.
    JsonEvents* events;         ///< May be null.
  };

  /// `stop` is asked whether to end the run; beyond the limits it ends, too.
  SyncObserver(const Outputs& outputs, Verbosity verbosity, const SizeLimits& limits,
               std::function<bool()> stop);

  /// Tells that a file of the local copy was removed.
  void showRemoved(const std::string& path);

  /// Tells that what stands in a listed file's place is not a regular file, and stays.
  void leftAsItIs(const std::string& path);

  /// Tells that a file of the local copy is not as the library has it: in a word for
  /// programs, and in words that follow the path for people.
  void difference(const std::string& path, const std::string& kind, const std::string& text);

  /// The list that is fetched beside a run has received so many bytes; whether to go on.
  bool listReceived(std::int64_t bytes);

  /// So many files are compared with the list, for which so many bytes are to be read.
  void comparisonBegins(std::int64_t files, std::int64_t bytes);
  /// The file is looked at, when so many bytes have been read of all; whether to go on.
  bool comparing(const std::string& path, std::int64_t bytes);
  void comparisonEnds();

  const RunRecord& record() const { return record_; }

  /// Tells what an update would do.
  void showPlan(const mtlhost::Plan& plan);

  void stage(const mtlhost::Message& message) override;
  void info(const mtlhost::Message& message) override;
  void warning(const std::string& text) override;
  void survived(const ErrorEntry& entry) override;
  void error(const ErrorEntries& entries) override;
  bool goOn(const mtlhost::Transfer& transfer) override;
  void planned(const mtlhost::Plan& plan) override;
  void file(const mtlhost::FileChange& change) override;
  void waiting(std::int64_t process) override;
  void progressRange(int end) override;
  void progressValue(int value) override;
  void progressText(const std::string& caption) override;
  void progressBegins() override;
  void progressEnds() override;

 private:
  void tell(const char* event, const mtlhost::Message& message);
  void printWarning(const std::string& text);
  JsonEvents* events();
  void tellFile(const mtlhost::Message& message);
  bool received(std::int64_t fileBytes);
  bool isEnding() const { return stop_() || !record_.exceededLimit.empty(); }

  Outputs outputs_;
  Verbosity verbosity_;
  SizeLimits limits_;
  std::function<bool()> stop_;
  std::int64_t listBytes_ = 0;
  std::int64_t runBytes_ = 0;
  std::int64_t comparisonBytes_ = 0;
  int comparisonPermille_ = 0;
  bool hasToldOfWaiting_ = false;
  RunRecord record_;
};

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_SYNC_OBSERVER_H_
