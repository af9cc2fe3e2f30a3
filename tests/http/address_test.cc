// Tests splitting addresses.
#include "http/address.h"

#include <gtest/gtest.h>

namespace {

void expectAddress(const char* text, Address::Kind kind, const char* host, int port,
                   const char* path) {
  const Address address = splitAddress(text);
  EXPECT_EQ(address.kind, kind) << text;
  EXPECT_STREQ(address.host.text(), host) << text;
  EXPECT_EQ(address.port, port) << text;
  EXPECT_STREQ(address.path.text(), path) << text;
}

TEST(SplitAddress, TakesSchemeHostPortAndPath) {
  expectAddress("http://h:8080/a/b", Address::kHttp, "h", 8080, "/a/b");
  expectAddress("https://server.example:444/lib", Address::kHttps, "server.example", 444, "/lib");
}

TEST(SplitAddress, ComparesTheSchemeInLowerCase) {
  expectAddress("HTTP://h/lib", Address::kHttp, "h", -1, "/lib");
  expectAddress("HttpS://h", Address::kHttps, "h", -1, "");
}

TEST(SplitAddress, CountsAMissingSchemeAsHttp) {
  expectAddress("h/lib", Address::kHttp, "h", -1, "/lib");
  expectAddress("h:8080", Address::kHttp, "h", 8080, "");
  expectAddress("", Address::kHttp, "", -1, "");
}

TEST(SplitAddress, KnowsNoOtherScheme) {
  expectAddress("ftp://h/x", Address::kUnknown, "h", -1, "/x");
  expectAddress("httpx://h", Address::kUnknown, "h", -1, "");
  expectAddress("htt://h", Address::kUnknown, "h", -1, "");
  expectAddress("ftp://h:80/x", Address::kUnknown, "h", 80, "/x");
}

TEST(SplitAddress, CountsAnEmptySchemeAsUnknown) {
  expectAddress("://h", Address::kUnknown, "h", -1, "");
  expectAddress("://h/x", Address::kUnknown, "h", -1, "/x");
}

TEST(SplitAddress, EndsTheSchemeAtTheFirstSeparator) {
  expectAddress("http://h/x://y", Address::kHttp, "h", -1, "/x://y");
  expectAddress("h/x://y", Address::kUnknown, "y", -1, "");
}

TEST(SplitAddress, TakesNothingShorterForASeparator) {
  expectAddress("http:/h/x", Address::kHttp, "http", -1, "/h/x");
  expectAddress("https:h/x", Address::kHttp, "https:h", -1, "/x");
}

TEST(SplitAddress, StartsThePathAtTheFirstSlash) {
  expectAddress("http://h/", Address::kHttp, "h", -1, "/");
  expectAddress("http://h//a", Address::kHttp, "h", -1, "//a");
  expectAddress("http://h/a:1", Address::kHttp, "h", -1, "/a:1");
  expectAddress("http://h?x/y#z", Address::kHttp, "h?x", -1, "/y#z");
}

TEST(SplitAddress, LeavesAnEmptyHostUnparsed) {
  expectAddress("http:///lib", Address::kHttp, "", -1, "/lib");
  expectAddress("http://", Address::kHttp, "", -1, "");
  expectAddress("//h/lib", Address::kHttp, "", -1, "//h/lib");
}

}  // namespace
