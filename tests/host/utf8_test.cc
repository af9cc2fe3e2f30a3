// Texts that are not always UTF-8.
#include "mtlhost/utf8.h"

#include <gtest/gtest.h>

namespace mtlhost {
namespace {

TEST(ValidUtf8, ReplacesEveryByteThatBelongsToNoCharacter) {
  EXPECT_EQ(validUtf8("plain \xC3\xA4\n\x1b"), "plain \xC3\xA4\n\x1b");
  EXPECT_EQ(validUtf8("a\xC3 \xC0\xAF"), "a\xEF\xBF\xBD \xEF\xBF\xBD\xEF\xBF\xBD");
}

}  // namespace
}  // namespace mtlhost
