// Computes widths: East Asian letters and pictographs take two columns, combining marks none.
// Characters that only some terminals draw wide count as wide, and rare marks as letters: a line
// that is slightly too short does no harm, but one that wraps does.
#include "common/display_width.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "rules/utf8.h"

namespace common {

namespace {

constexpr std::string_view kEllipsis = "...";

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

constexpr std::array<Range, 12> kWide{{{0x1100, 0x115F},
                                       {0x231A, 0x23FF},
                                       {0x25FD, 0x27BF},
                                       {0x2B1B, 0x2B55},
                                       {0x2E80, 0xA4CF},
                                       {0xA960, 0xA97F},
                                       {0xAC00, 0xD7A3},
                                       {0xF900, 0xFAFF},
                                       {0xFE10, 0xFE6F},
                                       {0xFF00, 0xFF60},
                                       {0xFFE0, 0xFFE6},
                                       {0x16FE0, 0x3FFFD}}};
constexpr std::array<Range, 4> kCombining{
    {{0x0300, 0x036F}, {0x1AB0, 0x1AFF}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}}};

template <std::size_t size>
bool isIn(const std::array<Range, size>& ranges, std::uint32_t character) {
  return std::any_of(ranges.begin(), ranges.end(), [character](const Range& range) {
    return range.first <= character && character <= range.last;
  });
}

int columnsOf(std::uint32_t character) {
  if (isIn(kCombining, character)) return 0;
  return isIn(kWide, character) ? 2 : 1;
}

/// How many bytes from the start of `text` take at most so many columns.
std::size_t bytesThatFit(std::string_view text, int columns) {
  std::size_t bytes = 0;
  while (bytes < text.size()) {
    const mtlrules::Utf8Character next = mtlrules::firstCharacter(text.substr(bytes));
    columns -= columnsOf(next.value);
    if (columns < 0) break;
    bytes += next.length;
  }
  return bytes;
}

int roomBesideEllipsis(int columns) {
  return columns - static_cast<int>(kEllipsis.size());
}

}  // namespace

int displayWidth(std::string_view text) {
  int columns = 0;
  while (!text.empty()) {
    const mtlrules::Utf8Character next = mtlrules::firstCharacter(text);
    columns += columnsOf(next.value);
    text.remove_prefix(next.length);
  }
  return columns;
}

std::string elided(std::string_view text, int columns) {
  if (displayWidth(text) <= columns) return std::string(text);
  const int room = roomBesideEllipsis(columns);
  if (room <= 0) return std::string(text.substr(0, bytesThatFit(text, columns)));
  return std::string(text.substr(0, bytesThatFit(text, room))) + std::string(kEllipsis);
}

std::string elidedFront(std::string_view text, int columns) {
  const int width = displayWidth(text);
  if (width <= columns) return std::string(text);
  for (int excess = width - std::max(roomBesideEllipsis(columns), 0); excess > 0;) {
    const mtlrules::Utf8Character first = mtlrules::firstCharacter(text);
    excess -= columnsOf(first.value);
    text.remove_prefix(first.length);
  }
  return elided(kEllipsis, columns) + std::string(text);
}

}  // namespace common
