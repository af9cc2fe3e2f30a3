// Tests TextBuilder: formatting, growth, borrowed buffers.
#include "qutils/text_builder.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

using QUtils::CharString;
using QUtils::TextBuilder;

TEST(TextBuilder, IsEmptyByDefault) {
  const TextBuilder text;
  EXPECT_STREQ(text.text(), "");
  EXPECT_EQ(text.length(), 0U);
  EXPECT_EQ(text.capacity(), 0U);
}

TEST(TextBuilder, AppendsFormattedText) {
  TextBuilder text;
  text.append("a = ");
  text.appendFormatted("%d, %s", 5, "b");
  EXPECT_STREQ(text.text(), "a = 5, b");
  EXPECT_EQ(text.length(), 8U);
}

TEST(TextBuilder, DoesNotInterpretAppendedText) {
  TextBuilder text;
  text.append("100%s");
  EXPECT_STREQ(text.text(), "100%s");
}

TEST(TextBuilder, GrowsInMultiplesOfItsDefaultGranularity) {
  TextBuilder text;
  text.append("a");
  EXPECT_EQ(text.capacity(), 1024U);
  text.append(std::string(1022, 'b').c_str());
  EXPECT_EQ(text.capacity(), 1024U);
  text.append("c");
  EXPECT_EQ(text.capacity(), 2048U);
  EXPECT_EQ(text.text(), "a" + std::string(1022, 'b') + "c");
}

TEST(TextBuilder, GrowsToTheNextMultipleOfItsGranularity) {
  const auto capacityFor = [](std::size_t length) {
    TextBuilder text(16, 0);
    text.append(std::string(length, 'a').c_str());
    EXPECT_EQ(text.length(), length);
    return text.capacity();
  };
  EXPECT_EQ(capacityFor(15), 16U);
  EXPECT_EQ(capacityFor(16), 32U);
  EXPECT_EQ(capacityFor(31), 32U);
  EXPECT_EQ(capacityFor(32), 48U);
}

TEST(TextBuilder, GrowsByItsFactorWhenThatIsMore) {
  TextBuilder text(16, 4.0F);
  text.append("0123456789");
  EXPECT_EQ(text.capacity(), 16U);
  text.append("0123456789");
  EXPECT_EQ(text.capacity(), 64U);
}

TEST(TextBuilder, RoundsTheGrownCapacityUp) {
  TextBuilder text(16, 1.7F);
  text.append(std::string(30, 'a').c_str());
  EXPECT_EQ(text.capacity(), 32U);
  text.append("bb");
  EXPECT_EQ(text.capacity(), 64U);  // 32 x 1.7 = 54.4
}

TEST(TextBuilder, GrowsByNeedWhenThatIsMore) {
  TextBuilder text(16, 2.0F);
  text.append("a");
  text.append(std::string(99, 'b').c_str());
  EXPECT_EQ(text.capacity(), 112U);
}

TEST(TextBuilder, IgnoresAFactorOfOneOrLess) {
  TextBuilder text(16, 1.0F);
  text.append("0123456789abcde");
  text.append("f");
  EXPECT_EQ(text.capacity(), 32U);
}

TEST(TextBuilder, FormatsAgainWhatDidNotFit) {
  TextBuilder text(16, 0);
  text.appendFormatted("%s-%d", "0123456789", -42);
  EXPECT_EQ(text.capacity(), 16U);
  text.appendFormatted("%d %s %lld", 7, "and more text", -1234567890123LL);
  EXPECT_STREQ(text.text(), "0123456789--427 and more text -1234567890123");
  EXPECT_EQ(text.length(), 44U);
  EXPECT_EQ(text.capacity(), 48U);
}

TEST(TextBuilder, ClampsItsFactorTo1024) {
  TextBuilder text(16, 1e9F);
  text.append("0123456789abcde");
  text.append("f");
  EXPECT_EQ(text.capacity(), 16384U);
}

TEST(TextBuilder, StartsInABorrowedBuffer) {
  char buffer[8] = "old";
  TextBuilder text(buffer, sizeof(buffer), false);
  text.append("abcdefg");
  EXPECT_EQ(text.text(), buffer);
  EXPECT_STREQ(buffer, "abcdefg");
}

TEST(TextBuilder, KeepsTheTextOfABorrowedBuffer) {
  char buffer[8] = "old";
  TextBuilder text(buffer, sizeof(buffer), true);
  text.append("er");
  EXPECT_STREQ(buffer, "older");
}

TEST(TextBuilder, LeavesABorrowedBufferThatBecomesTooSmall) {
  char buffer[8] = "";
  TextBuilder text(buffer, sizeof(buffer), false);
  text.append("abcd");
  text.append("efghijkl");
  EXPECT_NE(text.text(), buffer);
  EXPECT_STREQ(text.text(), "abcdefghijkl");
  EXPECT_STREQ(buffer, "abcd");
}

TEST(TextBuilder, TakesTheTextOfABorrowedBufferAlong) {
  char buffer[8] = "old";
  TextBuilder text(buffer, sizeof(buffer), true);
  text.append("est of them all");
  EXPECT_STREQ(text.text(), "oldest of them all");
  EXPECT_EQ(text.capacity(), 1024U);
  EXPECT_STREQ(buffer, "old");
}

TEST(TextBuilder, FillsABorrowedBufferToItsLastByte) {
  char buffer[4];
  TextBuilder text(buffer, sizeof(buffer), false);
  text.append("abc");
  EXPECT_EQ(text.text(), buffer);
  text.append("d");
  EXPECT_NE(text.text(), buffer);
  EXPECT_STREQ(text.text(), "abcd");
}

TEST(TextBuilder, AppendsIntegersInEveryRadix) {
  TextBuilder text;
  text.appendInteger(0, 10);
  text.append(" ");
  text.appendInteger(-42, 10);
  text.append(" ");
  text.appendInteger(48879, 16);
  text.append(" ");
  text.appendInteger(5, 2);
  text.append(" ");
  text.appendInteger(0x0123456789ABCDEF, 16);
  text.append(" ");
  text.appendInteger(64, 8);
  EXPECT_STREQ(text.text(), "0 -42 BEEF 101 123456789ABCDEF 100");
}

TEST(TextBuilder, AppendsTheSmallestInteger) {
  TextBuilder text;
  text.appendInteger(std::numeric_limits<std::int64_t>::min(), 10);
  EXPECT_STREQ(text.text(), "-9223372036854775808");
}

TEST(TextBuilder, AppendsTheLongestBinaryNumber) {
  TextBuilder text;
  text.appendInteger(std::numeric_limits<std::int64_t>::min(), 2);
  EXPECT_STREQ(text.text(), ("-1" + std::string(63, '0')).c_str());
}

TEST(TextBuilder, ReleasesItsTextAndIsEmpty) {
  TextBuilder text;
  text.append("abc");
  const CharString released = text.releaseText();
  EXPECT_STREQ(released.text(), "abc");
  EXPECT_STREQ(text.text(), "");
  EXPECT_EQ(text.capacity(), 0U);
  text.append("again");
  EXPECT_STREQ(text.text(), "again");
}

TEST(TextBuilder, IsEmptyOnceFreed) {
  TextBuilder text;
  text.append("abc");
  text.free();
  EXPECT_STREQ(text.text(), "");
  EXPECT_EQ(text.length(), 0U);
  EXPECT_EQ(text.capacity(), 0U);
  text.append("again");
  EXPECT_STREQ(text.text(), "again");
}

TEST(TextBuilder, ReleasesAnEmptyTextAsNone) {
  TextBuilder text;
  EXPECT_EQ(text.releaseText().buffer(), nullptr);
}

TEST(TextBuilder, ReleasesTheTextOfABorrowedBufferAsACopy) {
  char buffer[16];
  TextBuilder text(buffer, sizeof(buffer), false);
  text.append("abc");
  const CharString released = text.releaseText();
  EXPECT_NE(released.text(), buffer);
  EXPECT_STREQ(released.text(), "abc");
}

}  // namespace
