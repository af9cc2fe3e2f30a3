// Tests making hostile texts safe to show.
#include "rules/printable.h"

#include <gtest/gtest.h>

namespace mtlrules {
namespace {

TEST(Printable, LeavesOrdinaryTextAlone) {
  EXPECT_EQ(printable(""), "");
  EXPECT_EQ(printable("maps/é 木 🌳\xC2\xA0\\"), "maps/é 木 🌳\xC2\xA0\\");
}

TEST(Printable, GivesATerminalNoCommands) {
  EXPECT_EQ(printable("maps/é\x1B[2Jb\x07\x7F\n"), "maps/é\\x1B[2Jb\\x07\\x7F\\x0A");
  EXPECT_EQ(printable("\xC2\x80\xC2\x9B"
                      "2J\xC2\x9F\xC2\xA0"),
            "\\xC2\\x80\\xC2\\x9B2J\\xC2\\x9F\xC2\xA0");
  EXPECT_EQ(printable(std::string_view("\0", 1)), "\\x00");
}

TEST(Printable, ShowsBytesThatAreNotUtf8) {
  EXPECT_EQ(printable("a\xFF\xC3"), "a\\xFF\\xC3");
  EXPECT_EQ(printable("\x9B"
                      "2J"),
            "\\x9B2J");
  EXPECT_EQ(printable("\xE2\x80"), "\\xE2\\x80");
}

TEST(Printable, ShowsWhatWouldChangeTheTextAround) {
  EXPECT_EQ(printable("\u061C"), "\\xD8\\x9C");
  EXPECT_EQ(printable("a\u202Exe.txt"), "a\\xE2\\x80\\xAExe.txt");
  for (const char* mark : {"\u200E", "\u200F", "\u2028", "\u2029", "\u202A", "\u202B", "\u202C",
                           "\u202D", "\u202E", "\u2066", "\u2067", "\u2068", "\u2069"}) {
    EXPECT_EQ(printable(mark).substr(0, 6), "\\xE2\\x") << printable(mark);
  }
  for (const char* letter :
       {"\u061B", "\u061D", "\u200D", "\u2010", "\u2027", "\u202F", "\u2065", "\u206A"}) {
    EXPECT_EQ(printable(letter), letter);
  }
}

TEST(PrintableLine, IsOneLine) {
  EXPECT_EQ(printableLine("(5) Access is denied.\r\n"), "(5) Access is denied.");
  EXPECT_EQ(printableLine("\n one\n  two\tthree \r\n"), "one two three");
  EXPECT_EQ(printableLine(" \n"), "");
}

TEST(PrintableLine, KeepsTheBlanksOfAName) {
  EXPECT_EQ(printableLine("\"two  blanks.tx\""), "\"two  blanks.tx\"");
}

TEST(PrintableLine, IsPrintable) {
  EXPECT_EQ(printableLine(" a\x1b[2J\n\u202E\x9B"
                          "b "),
            "a\\x1B[2J \\xE2\\x80\\xAE\\x9B"
            "b");
}

TEST(PrintableJson, MeansTheSame) {
  EXPECT_EQ(printableJson("{\"path\":\"é 木 \\n\"}"), "{\"path\":\"é 木 \\n\"}");
  EXPECT_EQ(printableJson("\"\u009B2J\u007F\u202E\u2028\""), R"("\u009b2J\u007f\u202e\u2028")");
  EXPECT_EQ(printableJson("\"\xFF\""), R"("\ufffd")");
}

}  // namespace
}  // namespace mtlrules
