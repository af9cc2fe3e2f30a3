// Tests the texts of system error codes.
#include "qutils/system_error.h"

#include <gtest/gtest.h>

#include "support/system_text.h"

namespace {

using QUtils::systemErrorText;

TEST(SystemErrorText, OfCodeZeroIsEmpty) {
  EXPECT_EQ(systemErrorText(0).buffer(), nullptr);
}

TEST(SystemErrorText, IsTheCodeAndTheSystemsMessageWithItsLineBreak) {
  EXPECT_EQ(systemErrorText(2).text(),
            "(2) " + systemText(2, "The system cannot find the file specified.\r\n"));
  EXPECT_EQ(systemErrorText(5).text(), "(5) " + systemText(5, "Access is denied.\r\n"));
}

// Where the system has this message, it has places for inserts.
TEST(SystemErrorText, LeavesThePlacesOfInsertsAsTheyStand) {
  EXPECT_EQ(systemErrorText(34).text(), "(34) " + systemText(34, ""));
}

TEST(SystemErrorText, OfACodeWithoutAMessageIsThePrefixAlone) {
  EXPECT_STREQ(systemErrorText(0x7FFFFFFF).text(), "(2147483647) ");
  EXPECT_STREQ(systemErrorText(0xFFFFFFF0).text(), "(4294967280) ");
}

}  // namespace
