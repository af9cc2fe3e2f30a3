// Addresses as people write them.
#include "rules/address.h"

#include <gtest/gtest.h>

namespace mtlrules {
namespace {

TEST(WithoutTrailingSlashes, KeepsNothingBehindTheLastName) {
  EXPECT_EQ(withoutTrailingSlashes("http://a/"), "http://a");
  EXPECT_EQ(withoutTrailingSlashes("http://a/b//"), "http://a/b");
  EXPECT_EQ(withoutTrailingSlashes("a/"), "a");
}

TEST(WithoutTrailingSlashes, KeepsEveryOtherSlash) {
  for (const char* address : {"http://a", "http://a//b", "//a", "http://", "x://", "/", "//", ""})
    EXPECT_EQ(withoutTrailingSlashes(address), address);
  EXPECT_EQ(withoutTrailingSlashes("http:///"), "http://");
}

}  // namespace
}  // namespace mtlrules
