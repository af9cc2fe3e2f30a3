// Lays out the line of progress: the richest layout that fits the width is used.
#include "mtlsync/progress_line.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "common/display_width.h"
#include "common/quantity_text.h"

namespace mtlsync {

namespace {

/// Megabytes are those of the module: powers of ten.
constexpr std::int64_t kBytesPerMegabyte = 1000000;
constexpr int kFullPermille = 1000;
constexpr int kPermillePerPercent = 10;
constexpr int kNarrowestBar = 12;
constexpr int kWidestBar = 42;
constexpr int kShortestFile = 16;
constexpr const char* kGap = "  ";

enum Part { kPhase, kBar, kPercent, kAmount, kRate, kTimeLeft };
using Layout = std::vector<Part>;
using mtlhost::Progress;

/// From the richest to the poorest; the first one that fits is used.
const std::array<Layout, 4> kLayoutsWithFile{{{kPhase, kBar, kPercent, kAmount, kRate, kTimeLeft},
                                              {kBar, kPercent, kAmount, kRate, kTimeLeft},
                                              {kPercent, kAmount, kRate, kTimeLeft},
                                              {kPercent, kAmount}}};
const std::array<Layout, 6> kLayouts{{{kPhase, kBar, kPercent, kAmount, kRate, kTimeLeft},
                                      {kBar, kPercent, kAmount, kRate, kTimeLeft},
                                      {kPercent, kAmount, kRate, kTimeLeft},
                                      {kPercent, kAmount, kRate},
                                      {kPercent, kAmount},
                                      {kPercent}}};
const std::array<Layout, 3> kLayoutsWithoutTotal{
    {{kPhase, kAmount, kRate}, {kPhase, kAmount}, {kPhase}}};
const std::array<Layout, 2> kLayoutsWithFileWithoutTotal{
    {{kPhase, kAmount, kRate}, {kAmount, kRate}}};

bool hasTotal(const Progress& progress) {
  return progress.permille >= 0;
}

int percentOf(const Progress& progress) {
  return std::min(progress.permille, kFullPermille) / kPermillePerPercent;
}

std::string megabytesText(std::int64_t bytes) {
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%.1f",
                static_cast<double>(bytes) / static_cast<double>(kBytesPerMegabyte));
  return text.data();
}

// A total in whole megabytes is rounded down; the amount stops there too.
std::string amountText(const Progress& progress, const char* separator) {
  const std::int64_t done = progress.bytesDone;
  if (progress.bytesTotal >= kBytesPerMegabyte) {
    return megabytesText(std::min(done, progress.bytesTotal)) + separator +
           megabytesText(progress.bytesTotal) + " MB";
  }
  if (progress.bytesTotal >= 0) {
    return common::bytesText(std::min(done, progress.bytesTotal)) + separator +
           common::bytesText(progress.bytesTotal);
  }
  if (progress.megabytesTotal <= 0) return common::bytesText(done);
  const std::int64_t total = progress.megabytesTotal * kBytesPerMegabyte;
  return megabytesText(std::min(done, total)) + separator +
         std::to_string(progress.megabytesTotal) + " MB";
}

/// "[====>     ]", `columns` wide.
std::string bar(const Progress& progress, int columns) {
  const int room = columns - 2;
  const int filled = std::min(progress.permille, kFullPermille) * room / kFullPermille;
  std::string text(static_cast<std::size_t>(room), ' ');
  std::fill_n(text.begin(), filled, '=');
  if (filled < room) text[static_cast<std::size_t>(filled)] = '>';
  return "[" + text + "]";
}

/// "" when there is nothing to show.
std::string partText(Part part, const Progress& progress) {
  switch (part) {
    case kPhase:
      return progress.text;
    case kBar:
      return bar(progress, kNarrowestBar);
    case kPercent: {
      const std::string number = std::to_string(percentOf(progress));
      return std::string(number.size() < 3 ? 3 - number.size() : 0, ' ') + number + "%";
    }
    case kAmount:
      return amountText(progress, " / ");
    case kRate:
      return progress.bytesPerSecond > 0
                 ? common::bytesText(static_cast<std::int64_t>(progress.bytesPerSecond)) + "/s"
                 : "";
    case kTimeLeft:
      return progress.secondsLeft >= 0 ? common::countdownText(progress.secondsLeft) + " left" : "";
  }
  return "";
}

/// The parts side by side, the bar as wide as `columns` allow; longer than that when they
/// do not fit.
std::string arranged(const Layout& layout, const Progress& progress, int columns) {
  std::string text;
  std::size_t barStart = std::string::npos;
  for (const Part part : layout) {
    const std::string piece = partText(part, progress);
    if (piece.empty()) continue;
    if (!text.empty()) text += kGap;
    if (part == kBar) barStart = text.size();
    text += piece;
  }
  const int spare = columns - common::displayWidth(text);
  if (barStart == std::string::npos || spare <= 0) return text;
  const int width = std::min(kNarrowestBar + spare, kWidestBar);
  return text.replace(barStart, kNarrowestBar, bar(progress, width));
}

template <typename Layouts>
std::string firstThatFits(const Layouts& layouts, const Progress& progress, int columns) {
  std::string text;
  for (const Layout& layout : layouts) {
    text = arranged(layout, progress, columns);
    if (common::displayWidth(text) <= columns) return text;
  }
  return common::elided(text, columns);
}

/// The parts with the file behind them; "" when there is no room for a file.
template <typename Layouts>
std::string firstWithRoomForFile(const Layouts& layouts, const Progress& progress,
                                 const std::string& file, int columns) {
  for (const Layout& layout : layouts) {
    const std::string text = arranged(layout, progress, 0) + kGap;
    const int room = columns - common::displayWidth(text);
    if (room >= kShortestFile) return text + common::elidedFront(file, room);
  }
  return "";
}

}  // namespace

std::string progressLine(const Progress& progress, const std::string& file, int columns) {
  if (!file.empty()) {
    std::string text =
        hasTotal(progress)
            ? firstWithRoomForFile(kLayoutsWithFile, progress, file, columns)
            : firstWithRoomForFile(kLayoutsWithFileWithoutTotal, progress, file, columns);
    if (!text.empty()) return text;
  }
  return hasTotal(progress) ? firstThatFits(kLayouts, progress, columns)
                            : firstThatFits(kLayoutsWithoutTotal, progress, columns);
}

std::string progressNote(const Progress& progress) {
  if (!hasTotal(progress)) return progress.text;
  return progress.text + ": " + std::to_string(percentOf(progress)) + " % (" +
         amountText(progress, " of ") + ")";
}

}  // namespace mtlsync
