// Derives progress from captions and byte counts. Of the megabytes in the caption and those
// counted, the larger figure is shown: a list without sizes gives a caption without megabytes, and
// requests that follow one another too fast to be distinguished are missing from the count.
#include "progress_tracker.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <utility>

namespace mtlhost {

namespace {

constexpr std::int64_t kMegabyte = 1000000;
constexpr std::int64_t kWholePermille = 1000;
constexpr std::chrono::milliseconds kMeasuringInterval{100};

}  // namespace

Caption parseCaption(const std::string& text) {
  const std::size_t suffix = text.rfind(" (");
  if (suffix == std::string::npos) return {text};
  long long done = 0;
  long long total = 0;
  int end = 0;
  const char* start = text.c_str() + suffix;
  if (std::sscanf(start, " (%lldMB / %lldMB)%n", &done, &total, &end) != 2 || end == 0 ||
      start[end] != '\0') {
    return {text};
  }
  return {text.substr(0, suffix), done, total};
}

void ProgressTracker::setText(const std::string& caption) {
  const Caption parsed = parseCaption(caption);
  if (parsed.phase != progress_.text) beginPhase(parsed.phase);
  changed_ = changed_ || parsed.megabytesTotal != progress_.megabytesTotal;
  progress_.megabytesTotal = parsed.megabytesTotal;
  setDone(parsed.megabytesDone * kMegabyte);
}

void ProgressTracker::setValue(int value) {
  if (range_ < 1) return;
  const auto permille = static_cast<int>(std::clamp<std::int64_t>(value, 0, range_) *
                                         kWholePermille / static_cast<std::int64_t>(range_));
  changed_ = changed_ || permille != progress_.permille;
  progress_.permille = permille;
}

void ProgressTracker::setBytes(std::int64_t total) {
  bytes_ = total;
  setDone(bytes_ - bytesBeforePhase_);
  measure();
}

void ProgressTracker::setPhaseBytes(std::int64_t done, std::int64_t total) {
  progress_.bytesTotal = total;
  setDone(done);
  measure();
}

void ProgressTracker::endPhase() {
  beginPhase({});
  changed_ = false;
}

void ProgressTracker::beginPhase(const std::string& phase) {
  progress_ = {phase};
  bytesBeforePhase_ = bytes_;
  measured_ = now_();
  meter_.restart(measured_, 0);
  changed_ = true;
}

void ProgressTracker::setDone(std::int64_t bytes) {
  progress_.bytesDone = std::max(bytes, progress_.bytesDone);
  const std::int64_t megabytes = progress_.bytesDone / kMegabyte;
  changed_ = changed_ || megabytes != progress_.megabytesDone;
  progress_.megabytesDone = megabytes;
}

// Whoever shows it would not follow more often.
void ProgressTracker::measure() {
  const RateMeter::TimePoint now = now_();
  if (now - measured_ < kMeasuringInterval) return;
  measured_ = now;
  const double before = progress_.bytesPerSecond;
  meter_.update(now, progress_.bytesDone);
  progress_.bytesPerSecond = meter_.rate();
  progress_.secondsLeft = secondsLeft();
  changed_ = changed_ || before > 0 || progress_.bytesPerSecond > 0;
}

double ProgressTracker::secondsLeft() const {
  if (!(progress_.bytesPerSecond > 0)) return Progress::kUnknown;
  const auto done = static_cast<double>(progress_.bytesDone);
  if (progress_.bytesTotal >= 0) {
    const double left = static_cast<double>(progress_.bytesTotal) - done;
    return std::max(left, 0.0) / progress_.bytesPerSecond;
  }
  if (progress_.permille < 1) return Progress::kUnknown;
  const double left = done * static_cast<double>(kWholePermille - progress_.permille) /
                      static_cast<double>(progress_.permille);
  return left / progress_.bytesPerSecond;
}

const Progress* ProgressTracker::news() {
  if (progress_.text.empty()) return nullptr;
  return std::exchange(changed_, false) ? &progress_ : nullptr;
}

}  // namespace mtlhost
