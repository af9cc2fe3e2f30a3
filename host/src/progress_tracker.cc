// Megabytes are those of the caption or those counted, whichever are more: a list without
// sizes gives a caption without megabytes, and requests that follow one another too fast to
// be told apart are missing from the count.
#include "progress_tracker.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <utility>

namespace mtlhost {

namespace {

constexpr std::int64_t kBytesPerMegabyte = 1000000;
constexpr std::int64_t kPermille = 1000;

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
  if (parsed.phase != progress_.text) {
    progress_ = {parsed.phase};
    bytesBeforePhase_ = bytes_;
    changed_ = true;
  }
  const std::int64_t done = std::max(parsed.megabytesDone, progress_.megabytesDone);
  changed_ = changed_ || done != progress_.megabytesDone ||
             parsed.megabytesTotal != progress_.megabytesTotal;
  progress_.megabytesDone = done;
  progress_.megabytesTotal = parsed.megabytesTotal;
}

void ProgressTracker::setValue(int value) {
  if (range_ < 1) return;
  const auto permille = static_cast<int>(std::clamp<std::int64_t>(value, 0, range_) * kPermille /
                                         static_cast<std::int64_t>(range_));
  changed_ = changed_ || permille != progress_.permille;
  progress_.permille = permille;
}

void ProgressTracker::setBytes(std::int64_t total) {
  bytes_ = total;
  progress_.bytesDone = bytes_ - bytesBeforePhase_;
  const std::int64_t megabytes = progress_.bytesDone / kBytesPerMegabyte;
  if (megabytes <= progress_.megabytesDone) return;
  progress_.megabytesDone = megabytes;
  changed_ = true;
}

void ProgressTracker::endPhase() {
  progress_ = {};
  bytesBeforePhase_ = bytes_;
  changed_ = false;
}

const Progress* ProgressTracker::news() {
  if (progress_.text.empty()) return nullptr;
  return std::exchange(changed_, false) ? &progress_ : nullptr;
}

}  // namespace mtlhost
