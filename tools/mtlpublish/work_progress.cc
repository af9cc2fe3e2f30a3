// Shows the progress of long work.
#include "mtlpublish/work_progress.h"

#include <chrono>

#include "common/quantity_text.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

constexpr std::chrono::milliseconds kRedrawInterval{100};

}  // namespace

std::string progressText(const WorkProgress& progress) {
  const auto bytesText = [](std::uint64_t bytes) {
    return common::bytesText(static_cast<std::int64_t>(bytes));
  };
  // The name comes last: it is what a narrow terminal can do without.
  return std::to_string(progress.filesDone) + " of " + std::to_string(progress.files) +
         (progress.files == 1 ? " file, " : " files, ") + bytesText(progress.bytesDone) + " of " +
         bytesText(progress.bytes) + "  " + mtlrules::printable(progress.file);
}

// Work that is done before the first redraw is due shows nothing.
OnProgress shownOn(common::Console& console) {
  using Clock = std::chrono::steady_clock;
  if (!console.isTerminal()) return {};
  return [&console, lastDrawn = Clock::now()](const WorkProgress& progress) mutable {
    const Clock::time_point now = Clock::now();
    if (now - lastDrawn < kRedrawInterval) return;
    lastDrawn = now;
    console.showStatus(progressText(progress));
  };
}

}  // namespace mtlpublish
