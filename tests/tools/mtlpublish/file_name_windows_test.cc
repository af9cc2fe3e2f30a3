// Tests a name that is not valid UTF-16, which only Windows can hold.
#include <gtest/gtest.h>

#include "mtlpublish/file_name.h"
#include "rules/utf8.h"

namespace {

using mtlpublish::fileName;

TEST(FileName, KeepsHalfASurrogatePairAsBytesThatAreNotUtf8) {
  const wchar_t name[] = {L'a', 0xD83C, L'b', 0xDF33, 0};
  EXPECT_EQ(fileName(name),
            "a\xED\xA0\xBC"
            "b\xED\xBC\xB3");
  EXPECT_FALSE(mtlrules::isValidUtf8(fileName(name)));
}

}  // namespace
