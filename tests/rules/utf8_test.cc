// Tests texts that are not always UTF-8.
#include "rules/utf8.h"

#include <gtest/gtest.h>

namespace mtlrules {
namespace {

TEST(FirstCharacter, HasItsValueAndLength) {
  const auto expectFirst = [](std::string_view text, std::uint32_t value, std::size_t length) {
    EXPECT_EQ(firstCharacter(text).value, value);
    EXPECT_EQ(firstCharacter(text).length, length);
    EXPECT_TRUE(firstCharacter(text).isValid);
  };
  expectFirst("ab", 'a', 1);
  expectFirst("\xC3\xA4x", 0xE4, 2);
  expectFirst("\xE2\x82\xAC", 0x20AC, 3);
  expectFirst("\xF0\x9F\x8E\xA8", 0x1F3A8, 4);
}

TEST(FirstCharacter, IsAByteWhereThereIsNone) {
  for (const std::string_view text : {"\x80", "\xC3(", "\xFF"}) {
    EXPECT_EQ(firstCharacter(text).value, 0xFFFDU);
    EXPECT_EQ(firstCharacter(text).length, 1U);
    EXPECT_FALSE(firstCharacter(text).isValid);
  }
}

TEST(IsValidUtf8, TakesEveryLengthOfCodePoint) {
  EXPECT_TRUE(isValidUtf8(""));
  EXPECT_TRUE(isValidUtf8("oak é 木 🌳"));
  EXPECT_TRUE(isValidUtf8("\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"));
}

TEST(IsValidUtf8, RefusesBytesThatAreNotUtf8) {
  EXPECT_FALSE(isValidUtf8("\x80")) << "a continuation alone";
  EXPECT_FALSE(isValidUtf8("a\xC3")) << "cut short";
  EXPECT_FALSE(isValidUtf8("\xC3(")) << "no continuation";
  EXPECT_FALSE(isValidUtf8("\xC0\xAF")) << "longer than needed";
  EXPECT_FALSE(isValidUtf8("\xE0\x80\xAF")) << "longer than needed";
  EXPECT_FALSE(isValidUtf8("\xF0\x80\x80\xAF")) << "longer than needed";
  EXPECT_FALSE(isValidUtf8("\xED\xA0\x80")) << "half of a surrogate pair";
  EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80")) << "beyond the last code point";
  EXPECT_FALSE(isValidUtf8("\xFF"));
}

TEST(CodePoints, AreThoseOfTheText) {
  EXPECT_EQ(codePoints(""), U"");
  EXPECT_EQ(codePoints("aé木🌳"), U"aé木🌳");
  EXPECT_EQ(codePoints("a\xFF\xC3"), U"a\uFFFD\uFFFD");
}

TEST(ValidUtf8, LeavesValidTextAlone) {
  const std::string text = "plain \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x8E\xA8 \xF4\x8F\xBF\xBF\n\x1b";
  EXPECT_EQ(validUtf8(text), text);
  EXPECT_EQ(validUtf8(""), "");
}

TEST(ValidUtf8, ReplacesEveryByteThatBelongsToNoCharacter) {
  EXPECT_EQ(validUtf8("\x80"), "\xEF\xBF\xBD");
  EXPECT_EQ(validUtf8("a\xC3"), "a\xEF\xBF\xBD");
  EXPECT_EQ(validUtf8("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(validUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(validUtf8("\xF4\x90\x80\x80x"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDx");
}

}  // namespace
}  // namespace mtlrules
