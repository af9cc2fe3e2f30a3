// Hostile texts made fit to be printed.
#include "mtlsync/printable.h"

#include <gtest/gtest.h>

namespace mtlsync {
namespace {

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

TEST(PrintableLine, IsOneLine) {
  EXPECT_EQ(printableLine("(5) Access is denied.\r\n"), "(5) Access is denied.");
  EXPECT_EQ(printableLine("\n one\n  two\tthree \r\n"), "one two three");
  EXPECT_EQ(printableLine(" \n"), "");
}

TEST(PrintableLine, KeepsTheBlanksOfAName) {
  EXPECT_EQ(printableLine("\"two  blanks.tx\""), "\"two  blanks.tx\"");
}

TEST(PrintableLine, GivesATerminalNoCommands) {
  EXPECT_EQ(printableLine("a\x1b[2Jb\x07\x7F"), "a\\x1B[2Jb\\x07\\x7F");
  EXPECT_EQ(printableLine("a\xC2\x9B"
                          "2Jb"),
            "a\\x9B2Jb");
  EXPECT_EQ(printableLine("a\x9B"
                          "2Jb"),
            "a\xEF\xBF\xBD"
            "2Jb");
}

}  // namespace
}  // namespace mtlsync
