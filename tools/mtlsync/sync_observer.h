// A SyncObserver receives the events of a run, counts them and passes them on.
#ifndef MTLLIB_TOOLS_MTLSYNC_SYNC_OBSERVER_H_
#define MTLLIB_TOOLS_MTLSYNC_SYNC_OBSERVER_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/console.h"
#include "mtlhost/observer.h"
#include "mtlsync/json_events.h"
#include "mtlsync/options.h"
#include "mtlsync/progress_display.h"

namespace mtlsync {

/// What a run has reported about itself.
struct RunRecord {
  std::int64_t files = 0;  ///< Downloads that were begun; of the engine, those that were done.
  std::int64_t bytes = 0;
  std::int64_t compared = 0;     ///< Files that were compared with the list.
  std::int64_t differences = 0;  ///< How many were reported.
  bool isUnchanged = false;      ///< The copy was as it should be.
  mtlhost::Errors failure;       ///< The last one reported.
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

  /// `stop` is asked whether to end the run.
  SyncObserver(const Outputs& outputs, Verbosity verbosity, std::function<bool()> stop);

  /// Reports how the copy differs from the list.
  void showDifferences(const std::vector<mtlhost::Difference>& differences);

  const RunRecord& record() const { return record_; }

  /// Reports what an update would do.
  void showPlan(const mtlhost::Plan& plan);

  void stage(const mtlhost::Message& message) override;
  void info(const mtlhost::Message& message) override;
  void warning(const std::string& text) override;
  void nonFatalError(const mtlhost::Error& error) override;
  void error(const mtlhost::Errors& chain) override;
  bool shouldContinue(const mtlhost::Transfer& transfer) override;
  void planned(const mtlhost::Plan& plan) override;
  void file(const mtlhost::FileChange& change) override;
  void waiting(std::int64_t process) override;
  void progress(const mtlhost::Progress& progress) override;
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
  Outputs outputs_;
  Verbosity verbosity_;
  std::function<bool()> stop_;
  bool hasToldOfWaiting_ = false;
  RunRecord record_;
};

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_SYNC_OBSERVER_H_
