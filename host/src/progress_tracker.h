// A ProgressTracker turns the module's progress callbacks into the values of Progress.
#ifndef MTLLIB_HOST_SRC_PROGRESS_TRACKER_H_
#define MTLLIB_HOST_SRC_PROGRESS_TRACKER_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "mtlhost/progress.h"
#include "rate_meter.h"

namespace mtlhost {

/// Follows the phases of a check or run. Used by one thread at a time.
class ProgressTracker {
 public:
  using Clock = std::function<RateMeter::TimePoint()>;

  ProgressTracker() : ProgressTracker(std::chrono::steady_clock::now) {}
  explicit ProgressTracker(Clock now) : now_(std::move(now)) {}

  /// The caption of the phase, perhaps with megabytes; a new one begins a new phase.
  void setText(const std::string& caption);

  /// The value that stands for "complete".
  void setRange(int end) { range_ = end; }

  /// How much of the range is done.
  void setValue(int value);

  /// So many bytes have arrived since the check or run began.
  void setBytes(std::int64_t total);

  /// So many bytes of the phase that runs are done, of so many, or of Progress::kUnknown.
  void setPhaseBytes(std::int64_t done, std::int64_t total);

  void endPhase();

  /// What is known, if it differs from the last time; otherwise null. Valid until
  /// the tracker is changed.
  const Progress* news();

 private:
  void beginPhase(const std::string& phase);
  void setDone(std::int64_t bytes);
  void measure();
  double secondsLeft() const;

  Clock now_;
  RateMeter meter_;
  RateMeter::TimePoint measured_;
  Progress progress_;
  int range_ = 0;
  std::int64_t bytes_ = 0;
  std::int64_t bytesBeforePhase_ = 0;
  bool changed_ = false;
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_PROGRESS_TRACKER_H_
