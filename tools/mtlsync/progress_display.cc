// Redrawn at most ten times a second on a terminal; a line every tenth elsewhere.
#include "mtlsync/progress_display.h"

#include <algorithm>
#include <utility>

#include "mtlhost/progress.h"
#include "rules/printable.h"

namespace mtlsync {

namespace {

constexpr std::chrono::milliseconds kRedrawInterval{100};
constexpr std::int64_t kPermille = 1000;
constexpr int kPermillePerTenth = 100;

}  // namespace

ProgressDisplay::ProgressDisplay(common::Console& console, Clock now)
    : console_(console), now_(std::move(now)) {}

void ProgressDisplay::setText(const std::string& text) {
  const mtlhost::Caption caption = mtlhost::parseCaption(text);
  const std::string phase = mtlrules::printableLine(caption.phase);
  if (phase != progress_.phase) beginPhase(phase);
  captionBytes_ = caption.megabytesDone * kBytesPerMegabyte;
  progress_.totalMegabytes = caption.megabytesTotal;
  measure();
  draw();
}

void ProgressDisplay::setRange(int end) {
  range_ = end;
}

void ProgressDisplay::setValue(int value) {
  if (range_ < 1) return;
  progress_.permille = static_cast<int>(std::clamp<std::int64_t>(value, 0, range_) * kPermille /
                                        static_cast<std::int64_t>(range_));
  printNote();
  draw();
}

void ProgressDisplay::update(std::int64_t totalBytes) {
  totalBytes_ = totalBytes;
  measure();
  draw();
}

void ProgressDisplay::setFile(const std::string& name) {
  if (showsFiles()) progress_.file = mtlrules::printableLine(name);
}

void ProgressDisplay::endPhase() {
  console_.hideStatus();
  progress_ = Progress{};
}

void ProgressDisplay::beginPhase(const std::string& phase) {
  progress_ = Progress{phase};
  range_ = 0;
  bytesBeforePhase_ = totalBytes_;
  tenthsPrinted_ = 0;
  meter_.restart(now_(), 0);
  if (!console_.isTerminal() && !phase.empty()) console_.printLine(phase);
}

// Requests that follow one another too fast to be told apart are missing from the byte
// count, but not from the caption.
void ProgressDisplay::measure() {
  progress_.bytes = std::max(totalBytes_ - bytesBeforePhase_, captionBytes_);
}

void ProgressDisplay::printNote() {
  const int tenths = progress_.permille / kPermillePerTenth;
  if (console_.isTerminal() || tenths <= tenthsPrinted_) return;
  tenthsPrinted_ = tenths;
  console_.printLine(progressNote(progress_));
}

void ProgressDisplay::draw() {
  if (!console_.isTerminal() || progress_.phase.empty()) return;
  const TimePoint now = now_();
  if (drawn_ && now - lastDrawn_ < kRedrawInterval) return;
  drawn_ = true;
  lastDrawn_ = now;
  meter_.update(now, progress_.bytes);
  progress_.bytesPerSecond = meter_.rate();
  progress_.secondsLeft = Progress::kUnknown;
  if (progress_.bytesPerSecond > 0 && progress_.permille > 0) {
    progress_.secondsLeft = static_cast<double>(progress_.bytes) *
                            static_cast<double>(kPermille - progress_.permille) /
                            static_cast<double>(progress_.permille) / progress_.bytesPerSecond;
  }
  console_.showStatus(progressLine(progress_, console_.statusWidth()));
}

}  // namespace mtlsync
