// From what the library says about progress to what there is to tell.
#ifndef MTLLIB_HOST_SRC_PROGRESS_TRACKER_H_
#define MTLLIB_HOST_SRC_PROGRESS_TRACKER_H_

#include <cstdint>
#include <string>

#include "mtlhost/progress.h"

namespace mtlhost {

/// Follows the phases of a check or run. Used by one thread at a time.
class ProgressTracker {
 public:
  /// The caption of the phase, perhaps with megabytes; a new one begins a new phase.
  void setText(const std::string& caption);

  /// The value that stands for "complete".
  void setRange(int end) { range_ = end; }

  /// How much of the range is done.
  void setValue(int value);

  /// So many bytes have arrived since the check or run began.
  void setBytes(std::int64_t total);

  /// So many bytes are to be received in the phase that runs.
  void setTotalBytes(std::int64_t total) { progress_.bytesTotal = total; }

  void endPhase();

  /// What is known, if that is something else than the last time; else null. Valid until
  /// the tracker is changed.
  const Progress* news();

 private:
  Progress progress_;
  int range_ = 0;
  std::int64_t bytes_ = 0;
  std::int64_t bytesBeforePhase_ = 0;
  bool changed_ = false;
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_PROGRESS_TRACKER_H_
