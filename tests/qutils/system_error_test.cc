// The texts of system error codes.
#include "qutils/system_error.h"

#include <gmock/gmock.h>

namespace {

using QUtils::systemErrorText;
using testing::EndsWith;
using testing::StartsWith;

TEST(SystemErrorText, OfCodeZeroIsEmpty) {
  EXPECT_EQ(systemErrorText(0).buffer(), nullptr);
}

TEST(SystemErrorText, BeginsWithTheCode) {
  EXPECT_THAT(systemErrorText(2).text(), StartsWith("(2) "));
}

TEST(SystemErrorText, KeepsTheLineBreakOfTheSystemsMessage) {
  const QUtils::CharString text = systemErrorText(5);
  EXPECT_THAT(text.text(), StartsWith("(5) A"));
  EXPECT_THAT(text.text(), EndsWith("\r\n"));
}

TEST(SystemErrorText, OfACodeWithoutAMessageIsThePrefixAlone) {
  EXPECT_STREQ(systemErrorText(0xFFFFFFF0).text(), "(4294967280) ");
}

}  // namespace
