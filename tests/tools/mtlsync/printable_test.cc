// Hostile texts made fit to be printed.
#include "mtlsync/printable.h"

#include <gtest/gtest.h>

namespace mtlsync {
namespace {

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
