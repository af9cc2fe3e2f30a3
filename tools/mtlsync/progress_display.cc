// Updates the display at most ten times a second on a terminal, and prints a line for every tenth
// of the run elsewhere.
#include "mtlsync/progress_display.h"

#include <utility>

#include "mtlsync/progress_line.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

constexpr std::chrono::milliseconds kRedrawInterval{100};
constexpr int kPermillePerTenth = 100;

}  // namespace

ProgressDisplay::ProgressDisplay(common::Console& console, Clock now)
    : console_(console), now_(std::move(now)) {}

void ProgressDisplay::show(const mtlhost::Progress& progress) {
  const std::string text = mtlrules::printableLine(progress.text);
  const bool isNew = progress_.text != text;
  progress_ = progress;
  progress_.text = text;
  if (!console_.isTerminal()) return printNote(isNew);
  refresh();
}

void ProgressDisplay::refresh() {
  if (!console_.isTerminal() || progress_.text.empty()) return;
  const TimePoint now = now_();
  if (drawn_ && now - lastDrawn_ < kRedrawInterval) return;
  drawn_ = true;
  lastDrawn_ = now;
  console_.showStatus(progressLine(progress_, file_, console_.statusWidth()));
}

void ProgressDisplay::setFile(const std::string& name) {
  if (showsFiles()) file_ = mtlrules::printableLine(name);
}

void ProgressDisplay::endPhase() {
  console_.hideStatus();
  progress_ = {};
  file_.clear();
}

void ProgressDisplay::printNote(bool isNew) {
  if (isNew) {
    tenthsPrinted_ = 0;
    console_.printLine(progress_.text);
  }
  const int tenths = progress_.permille / kPermillePerTenth;
  if (tenths <= tenthsPrinted_) return;
  tenthsPrinted_ = tenths;
  console_.printLine(progressNote(progress_));
}

}  // namespace mtlsync
