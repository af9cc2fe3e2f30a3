// A ProgressDisplay shows how far a run has come.
#ifndef MTLLIB_TOOLS_MTLSYNC_PROGRESS_DISPLAY_H_
#define MTLLIB_TOOLS_MTLSYNC_PROGRESS_DISPLAY_H_

#include <chrono>
#include <functional>
#include <string>

#include "common/console.h"
#include "mtlhost/progress.h"

namespace mtlsync {

/// Follows the phases of a run. On a terminal it draws a status line, at most ten times a
/// second; elsewhere it prints a line for each phase and one for every 10 % of a phase
/// with a known size. Used by one thread at a time.
class ProgressDisplay {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  using Clock = std::function<TimePoint()>;

  /// The console must outlive the display.
  explicit ProgressDisplay(common::Console& console, Clock now = std::chrono::steady_clock::now);

  /// Something of the progress has changed.
  void show(const mtlhost::Progress& progress);

  /// Time has passed: the terminal may have another width by now.
  void refresh();

  /// The file, whatever its name holds, that the phase is at.
  void setFile(const std::string& name);

  /// Whether setFile() makes a difference.
  bool showsFiles() const { return console_.isTerminal(); }

  void endPhase();

 private:
  void printNote(bool isNew);

  common::Console& console_;
  Clock now_;
  mtlhost::Progress progress_;
  std::string file_;
  int tenthsPrinted_ = 0;
  bool drawn_ = false;
  TimePoint lastDrawn_;
};

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_PROGRESS_DISPLAY_H_
