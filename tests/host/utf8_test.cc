// Tests texts that are not always UTF-8, nor fit to be shown.
#include "mtlhost/utf8.h"

#include <gtest/gtest.h>

namespace mtlhost {
namespace {

TEST(ValidUtf8, ReplacesEveryByteThatBelongsToNoCharacter) {
  EXPECT_EQ(validUtf8("plain \xC3\xA4\n\x1b"), "plain \xC3\xA4\n\x1b");
  EXPECT_EQ(validUtf8("a\xC3 \xC0\xAF"), "a\xEF\xBF\xBD \xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(PrintableLine, IsFitForATerminal) {
  EXPECT_EQ(printableLine("maps/é  木\n"), "maps/é  木");
  EXPECT_EQ(printableLine("a\x1B[2J\r\nb\u009B\u202E\xFF"),
            R"(a\x1B[2J b\xC2\x9B\xE2\x80\xAE\xFF)");
}

}  // namespace
}  // namespace mtlhost
