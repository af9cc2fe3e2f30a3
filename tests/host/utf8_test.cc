// Texts that are not always UTF-8.
#include "mtlhost/utf8.h"

#include <gtest/gtest.h>

namespace mtlhost {
namespace {

TEST(FirstCharacter, TellsItsValueAndLength) {
  const auto expectFirst = [](std::string_view text, std::uint32_t value, std::size_t length) {
    EXPECT_EQ(firstCharacter(text).value, value);
    EXPECT_EQ(firstCharacter(text).length, length);
  };
  expectFirst("ab", 'a', 1);
  expectFirst("\xC3\xA4x", 0xE4, 2);
  expectFirst("\xF0\x9F\x8E\xA8", 0x1F3A8, 4);
  expectFirst("\x80", 0, 0);
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
}  // namespace mtlhost
