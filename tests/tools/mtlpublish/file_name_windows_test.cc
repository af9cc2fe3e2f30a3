// Names of 16-bit units, which only Windows has.
#include <gtest/gtest.h>

#include "mtlpublish/file_name.h"

namespace {

using mtlpublish::fileName;

TEST(FileName, IsUtf8WhereTheSystemHasUtf16) {
  EXPECT_EQ(fileName(L"folder\\a\u00E9\u6728\U0001F333"), "aé木🌳");
}

TEST(FileName, KeepsHalfASurrogatePairAsBytesThatAreNotUtf8) {
  const wchar_t name[] = {L'a', 0xD83C, L'b', 0xDF33, 0};
  EXPECT_EQ(fileName(name),
            "a\xED\xA0\xBC"
            "b\xED\xBC\xB3");
  EXPECT_FALSE(mtlpublish::isValidUtf8(fileName(name)));
}

}  // namespace
