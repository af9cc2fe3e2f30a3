// What texts take on a terminal, and how they are cut.
#include "common/display_width.h"

#include <gtest/gtest.h>

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
