// Tests paths, resolved and encoded.
#include "rules/path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace mtlrules {
namespace {

TEST(CanonicalPath, GivesNothingForNothing) {
  EXPECT_EQ(canonicalPath(""), "");
}

TEST(CanonicalPath, UsesSlashes) {
  EXPECT_EQ(canonicalPath("a/b\\c/d.tx"), "a/b/c/d.tx");
  EXPECT_EQ(canonicalPath("/a/b"), "/a/b");
}

TEST(CanonicalPath, MakesARunOfSeparatorsOne) {
  EXPECT_EQ(canonicalPath("a//b\\\\/c"), "a/b/c");
}

TEST(CanonicalPath, KeepsTheDoubleLeadOfANetworkPath) {
  EXPECT_EQ(canonicalPath("\\\\server\\share\\x"), "//server/share/x");
  EXPECT_EQ(canonicalPath("//server/share"), "//server/share");
  EXPECT_EQ(canonicalPath("/\\server"), "//server");
  EXPECT_EQ(canonicalPath("\\\\server\\share\\..\\x"), "//server/x");
}

TEST(CanonicalPath, RemovesOneDotComponents) {
  EXPECT_EQ(canonicalPath("a/./b"), "a/b");
  EXPECT_EQ(canonicalPath("/./a"), "/a");
  EXPECT_EQ(canonicalPath("/."), "");
  EXPECT_EQ(canonicalPath("a/././b"), "a/b");
  EXPECT_EQ(canonicalPath("a/."), "a");
}

TEST(CanonicalPath, KeepsALeadingDot) {
  EXPECT_EQ(canonicalPath("./a"), "./a");
  EXPECT_EQ(canonicalPath("."), ".");
  EXPECT_EQ(canonicalPath("./"), ".");
  EXPECT_EQ(canonicalPath("./."), ".");
  EXPECT_EQ(canonicalPath("././a"), "./a");
  EXPECT_EQ(canonicalPath("a/.././b"), "./b");
}

TEST(CanonicalPath, ResolvesTwoDotsBehindALeadingDot) {
  EXPECT_EQ(canonicalPath("./.."), "");
  EXPECT_EQ(canonicalPath("./../a"), "a");
}

TEST(CanonicalPath, ResolvesTwoDotComponents) {
  EXPECT_EQ(canonicalPath("a/../b"), "b");
  EXPECT_EQ(canonicalPath("a/b/../../c"), "c");
  EXPECT_EQ(canonicalPath("/a/b/../c"), "/a/c");
  EXPECT_EQ(canonicalPath("a/b/.."), "a");
  EXPECT_EQ(canonicalPath("a/.."), "");
  EXPECT_EQ(canonicalPath("/a/.."), "");
  EXPECT_EQ(canonicalPath("a/b/../"), "a");
  EXPECT_EQ(canonicalPath("C:\\a\\..\\b"), "C:/b");
}

TEST(CanonicalPath, KeepsTwoDotsWithNothingBeforeThem) {
  EXPECT_EQ(canonicalPath(".."), "..");
  EXPECT_EQ(canonicalPath("../a"), "../a");
  EXPECT_EQ(canonicalPath("../../a"), "../../a");
  EXPECT_EQ(canonicalPath("a/../../b"), "../b");
  EXPECT_EQ(canonicalPath("../.."), "../..");
  EXPECT_EQ(canonicalPath("/../a"), "/../a");
}

TEST(CanonicalPath, CutsATrailingSeparator) {
  EXPECT_EQ(canonicalPath("a/b/"), "a/b");
  EXPECT_EQ(canonicalPath("a\\"), "a");
  EXPECT_EQ(canonicalPath("/"), "");
}

TEST(CanonicalPath, TakesNamesOfDotsForWhatTheyAre) {
  EXPECT_EQ(canonicalPath("a/.../b"), "a/.../b");
  EXPECT_EQ(canonicalPath("a/.b/..c/d.."), "a/.b/..c/d..");
}

TEST(CanonicalPath, SurvivesManyLeadingSeparators) {
  EXPECT_EQ(canonicalPath("///a"), "//a");
  EXPECT_EQ(canonicalPath("\\\\..\\a"), "//../a");
}

TEST(PercentEncoded, KeepsUnreservedBytes) {
  EXPECT_EQ(percentEncoded("/ABCXYZ/abcxyz/0189-._~"), "/ABCXYZ/abcxyz/0189-._~");
}

TEST(PercentEncoded, EncodesEveryOtherByte) {
  const std::pair<const char*, const char*> texts[] = {
      {" ", "%20"},          {"%", "%25"},    {"+", "%2B"},  {"?", "%3F"},    {"#", "%23"},
      {":", "%3A"},          {"\\", "%5C"},   {"&", "%26"},  {"=", "%3D"},    {"@", "%40"},
      {"!", "%21"},          {"\x01", "%01"}, {"\n", "%0A"}, {"[", "%5B"},    {"`", "%60"},
      {"{", "%7B"},          {"\x7F", "%7F"}, {",", "%2C"},  {"\xFF", "%FF"}, {"\x80", "%80"},
      {"\xC3\xA9", "%C3%A9"}};
  for (const auto& [text, expected] : texts)
    EXPECT_EQ(percentEncoded(text), expected);
}

TEST(PercentEncoded, EncodesWhatIsEncodedAlready) {
  EXPECT_EQ(percentEncoded("a%20b"), "a%2520b");
}

TEST(PercentEncoded, SurvivesATextOfNothingButEncodedBytes) {
  const std::string spaces(1000, ' ');
  EXPECT_EQ(percentEncoded(spaces).size(), 3000U);
  EXPECT_EQ(percentEncoded(""), "");
}

TEST(StaysBelow, AcceptsWhatStaysInTheDirectory) {
  for (const char* path : {"a", "a/b.tx", "./a", "a/../b", "a/./b", "/etc/x", "//a", "a/",
                           "\\\\server\\share\\x", "..a", "a..", "a/b/../../c"}) {
    EXPECT_TRUE(staysBelow(path, false)) << path;
    EXPECT_TRUE(staysBelow(path, true)) << path;
  }
}

TEST(StaysBelow, RefusesWhatLeavesTheDirectoryOrIsIt) {
  for (const char* path :
       {"..", ".", "", "/", "a/..", "../x", "../../x", "a/../../x", "..\\..\\x", "a\\..\\..\\x",
        "/..", "/../x", "./..", "./../x", "a/b/../../../c", "a/../../target/x", "a/../.", "\\.."}) {
    EXPECT_FALSE(staysBelow(path, false)) << path;
    EXPECT_FALSE(staysBelow(path, true)) << path;
  }
}

TEST(StaysBelow, RefusesWhatWindowsTakesForSomethingElse) {
  for (const char* path : {"nul", "a/COM1.tx", "C:/a", "a/b.tx:stream", "a/.../b", "nul/../a"}) {
    EXPECT_TRUE(staysBelow(path, false)) << path;
    EXPECT_FALSE(staysBelow(path, true)) << path;
  }
}

TEST(NamesOf, AreWhatStandsBetweenSeparators) {
  EXPECT_THAT(namesOf("//a/.\\b c/../"), testing::ElementsAre("a", ".", "b c", ".."));
  EXPECT_THAT(namesOf(""), testing::IsEmpty());
  EXPECT_THAT(namesOf("/\\"), testing::IsEmpty());
}

TEST(JoinedPath, StandsBelowTheBase) {
  EXPECT_EQ(joinedPath("/data", "maps//./oak.tx"), "/data/maps/oak.tx");
  EXPECT_EQ(joinedPath("C:\\data\\", "maps\\oak.tx"), "C:/data/maps/oak.tx");
  EXPECT_EQ(joinedPath("a", "/x/../y"), "a/y");
  EXPECT_EQ(joinedPath(".", "x"), "./x");
  EXPECT_EQ(joinedPath("\\\\host\\share", "x"), "//host/share/x");
  EXPECT_EQ(joinedPath("", "x"), "/x");
}

TEST(JoinedPath, IsNothingAboveTheCurrentFolder) {
  EXPECT_EQ(joinedPath("../data", "x"), "");
  EXPECT_EQ(joinedPath("lib", "../../x"), "");
  EXPECT_EQ(joinedPath("a/..", "../x"), "");
  EXPECT_EQ(joinedPath("..", "x/.."), "");
  EXPECT_EQ(joinedPath("..x", "y"), "..x/y");
}

TEST(PlainPath, IsTheSameHoweverThePathIsWritten) {
  for (const char* path : {"a/b", "/a//b/", "./a/./b", "a\\b", "a/x/../b", "x/../a/b", "//./a/b"})
    EXPECT_EQ(plainPath(path), "a/b") << path;
  EXPECT_EQ(plainPath("..a"), "..a");
}

TEST(PlainPath, IsKnownByItself) {
  for (const char* path : {"a", "a/b", "..a/b..", ".a", "a/..."}) {
    EXPECT_TRUE(isPlain(path)) << path;
    EXPECT_EQ(plainPath(path), path);
  }
  for (const char* path : {"", "/", "/a", "a/", "a//b", "a\\b", ".", "./a", "a/.", "..", "a/../b"})
    EXPECT_FALSE(isPlain(path)) << path;
}

TEST(PlainPath, IsNothingOfWhatLeavesTheFolder) {
  for (const char* path : {"", ".", "/", "..", "a/..", "../a", "a/../../a/b"})
    EXPECT_EQ(plainPath(path), "") << path;
}

}  // namespace
}  // namespace mtlrules
