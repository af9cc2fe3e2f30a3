// Tests how many columns texts take on a terminal, and how they are cut.
#include "common/display_width.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace common {
namespace {

TEST(DisplayWidth, CountsColumnsNotBytes) {
  EXPECT_EQ(displayWidth(""), 0);
  EXPECT_EQ(displayWidth("oak.tx"), 6);
  EXPECT_EQ(displayWidth("\xC3\xA4\xC3\xB6\xC3\xBC \xD0\xB4"), 5);
}

TEST(DisplayWidth, KnowsWideCharacters) {
  EXPECT_EQ(displayWidth("木材.tx"), 7);
  EXPECT_EQ(displayWidth("ｱカ한"), 5);
  EXPECT_EQ(displayWidth("\xF0\x9F\x8C\xB3"), 2);
}

/// In UTF-8, of a character beyond ASCII.
std::string utf8(std::uint32_t character) {
  const auto trailing = [&](int shift) {
    return static_cast<char>(0x80U | (character >> shift & 0x3FU));
  };
  if (character < 0x800) return {static_cast<char>(0xC0U | character >> 6U), trailing(0)};
  if (character < 0x10000) {
    return {static_cast<char>(0xE0U | character >> 12U), trailing(6), trailing(0)};
  }
  return {static_cast<char>(0xF0U | character >> 18U), trailing(12), trailing(6), trailing(0)};
}

/// The first and last character of a block, all of one width.
using Block = std::pair<std::uint32_t, std::uint32_t>;

void expectBlocksOfWidth(const std::vector<Block>& blocks, int width) {
  for (const auto& [first, last] : blocks) {
    EXPECT_EQ(displayWidth(utf8(first - 1)), 1) << std::hex << first;
    EXPECT_EQ(displayWidth(utf8(first)), width) << std::hex << first;
    EXPECT_EQ(displayWidth(utf8(last)), width) << std::hex << last;
    EXPECT_EQ(displayWidth(utf8(last + 1)), 1) << std::hex << last;
  }
}

TEST(DisplayWidth, KnowsWhereWideCharactersBeginAndEnd) {
  expectBlocksOfWidth({{0x1100, 0x115F},
                       {0x231A, 0x23FF},
                       {0x25FD, 0x27BF},
                       {0x2B1B, 0x2B55},
                       {0x2E80, 0xA4CF},
                       {0xA960, 0xA97F},
                       {0xAC00, 0xD7A3},
                       {0xF900, 0xFAFF},
                       {0xFF00, 0xFF60},
                       {0xFFE0, 0xFFE6},
                       {0x16FE0, 0x3FFFD}},
                      2);
  // Marks without a width stand in front of this one.
  EXPECT_EQ(displayWidth(utf8(0xFE10) + utf8(0xFE6F) + utf8(0xFE70)), 5);
}

TEST(DisplayWidth, KnowsWhereMarksBeginAndEnd) {
  expectBlocksOfWidth({{0x0300, 0x036F}, {0x1AB0, 0x1AFF}, {0x20D0, 0x20FF}}, 0);
  EXPECT_EQ(displayWidth(utf8(0xFDFF) + utf8(0xFE00) + utf8(0xFE0F)), 1);
}

TEST(DisplayWidth, KnowsMarksThatTakeNoColumn) {
  EXPECT_EQ(displayWidth("a\xCC\x88o\xCC\x88"), 2);
}

TEST(DisplayWidth, CountsAByteThatIsNoUtf8AsACharacter) {
  EXPECT_EQ(displayWidth("a\xFF\xC3"), 3);
}

TEST(Elided, LeavesWhatFits) {
  EXPECT_EQ(elided("", 0), "");
  EXPECT_EQ(elided("abcde", 5), "abcde");
  EXPECT_EQ(elided("\xC3\xA4\xC3\xB6\xC3\xBC", 3), "\xC3\xA4\xC3\xB6\xC3\xBC");
}

TEST(Elided, CutsBetweenCharacters) {
  EXPECT_EQ(elided("\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\xC3\x9F", 4), "\xC3\xA4...");
  EXPECT_EQ(elided("\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\xC3\x9F", 3), "\xC3\xA4\xC3\xB6\xC3\xBC");
}

TEST(Elided, GivesNothingWhereThereIsNoRoom) {
  EXPECT_EQ(elided("abc", 0), "");
  EXPECT_EQ(elided("abc", -1), "");
}

TEST(Elided, CutsByColumns) {
  EXPECT_EQ(elided("木木木木", 7), "木木...");
  EXPECT_EQ(elided("木木木木", 6), "木...");
  EXPECT_EQ(elided("木木木木", 3), "木");
  EXPECT_EQ(elided("a\xCC\x88xyz", 4), "a\xCC\x88xyz");
  EXPECT_EQ(elided("a\xCC\x88xyzw", 4), "a\xCC\x88...");
}

TEST(ElidedFront, KeepsTheEnd) {
  EXPECT_EQ(elidedFront("maps/oak.tx", 11), "maps/oak.tx");
  EXPECT_EQ(elidedFront("maps/oak.tx", 10), ".../oak.tx");
  EXPECT_EQ(elidedFront("木木木木", 7), "...木木");
  EXPECT_EQ(elidedFront("木木木木", 6), "...木");
  EXPECT_EQ(elidedFront("maps", 3), "...");
  EXPECT_EQ(elidedFront("maps", 2), "..");
  EXPECT_EQ(elidedFront("maps", 0), "");
}

TEST(ElidedFront, FitsEveryWidth) {
  const std::string text = "textures/木材/a\xCC\x88hnlich\xF0\x9F\x8C\xB3.tx";
  for (int columns = 0; columns <= 40; ++columns) {
    EXPECT_LE(displayWidth(elidedFront(text, columns)), columns);
    EXPECT_LE(displayWidth(elided(text, columns)), columns);
  }
}

}  // namespace
}  // namespace common
