// Work that is done before the first redraw is due shows nothing.
#include "mtlpublish/progress_display.h"

#include <chrono>

namespace mtlpublish {

namespace {

constexpr std::chrono::milliseconds kInterval{100};

}  // namespace

OnProgress shownOn(common::Console& console) {
  using Clock = std::chrono::steady_clock;
  if (!console.isTerminal()) return {};
  return [&console, lastDrawn = Clock::now()](const WorkProgress& progress) mutable {
    const Clock::time_point now = Clock::now();
    if (now - lastDrawn < kInterval) return;
    lastDrawn = now;
    console.showStatus(progressText(progress));
  };
}

}  // namespace mtlpublish
