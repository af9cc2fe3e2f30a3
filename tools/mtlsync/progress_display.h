// Shows how far a run has come.
#ifndef MTLLIB_TOOLS_MTLSYNC_PROGRESS_DISPLAY_H_
#define MTLLIB_TOOLS_MTLSYNC_PROGRESS_DISPLAY_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "common/console.h"
#include "mtlsync/progress_line.h"
#include "mtlsync/rate_meter.h"

namespace mtlsync {

/// Follows the phases of a run. On a terminal it draws a status line, at most ten times a
/// second; elsewhere it prints a line for each phase and one for every 10 % of a phase
/// with a known size. Used by one thread at a time.
class ProgressDisplay {
 public:
  using TimePoint = RateMeter::TimePoint;
  using Clock = std::function<TimePoint()>;

  /// The console must outlive the display.
  explicit ProgressDisplay(common::Console& console, Clock now = std::chrono::steady_clock::now);

  /// The caption of the phase, perhaps with megabytes; a new one begins a new phase.
  void setText(const std::string& text);

  /// The value that stands for "complete".
  void setRange(int end);

  /// How much of the range is done.
  void setValue(int value);

  /// Something arrived, or time has passed: `totalBytes` arrived in the whole run.
  void update(std::int64_t totalBytes);

  /// The file, whatever its name holds, that the phase is at.
  void setFile(const std::string& name);

  /// Whether setFile() makes a difference.
  bool showsFiles() const { return console_.isTerminal(); }

  void endPhase();

 private:
  void beginPhase(const std::string& phase);
  void measure();
  void printNote();
  void draw();

  common::Console& console_;
  Clock now_;
  Progress progress_;
  RateMeter meter_;
  int range_ = 0;
  std::int64_t totalBytes_ = 0;
  std::int64_t bytesBeforePhase_ = 0;
  std::int64_t captionBytes_ = 0;
  int tenthsPrinted_ = 0;
  bool drawn_ = false;
  TimePoint lastDrawn_;
};

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_PROGRESS_DISPLAY_H_
