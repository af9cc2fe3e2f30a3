// Local paths and URL paths.
#include "catalogue/paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "fakes/recording_callback.h"
#include "plugin/downloader.h"

namespace {

TEST(CanonicalisePath, GivesNothingForNothing) {
  EXPECT_STREQ(canonicalisePath(nullptr).text(), "");
  EXPECT_STREQ(canonicalisePath("").text(), "");
}

TEST(CanonicalisePath, UsesBackslashes) {
  EXPECT_STREQ(canonicalisePath("a/b\\c/d.tx").text(), "a\\b\\c\\d.tx");
  EXPECT_STREQ(canonicalisePath("/a/b").text(), "\\a\\b");
}

TEST(CanonicalisePath, MakesARunOfSeparatorsOne) {
  EXPECT_STREQ(canonicalisePath("a//b\\\\/c").text(), "a\\b\\c");
}

TEST(CanonicalisePath, KeepsTheDoubleLeadOfANetworkPath) {
  EXPECT_STREQ(canonicalisePath("\\\\server\\share\\x").text(), "\\\\server\\share\\x");
  EXPECT_STREQ(canonicalisePath("//server/share").text(), "\\\\server\\share");
  EXPECT_STREQ(canonicalisePath("/\\server").text(), "\\\\server");
  EXPECT_STREQ(canonicalisePath("\\\\server\\share\\..\\x").text(), "\\\\server\\x");
}

TEST(CanonicalisePath, RemovesOneDotComponents) {
  EXPECT_STREQ(canonicalisePath("a/./b").text(), "a\\b");
  EXPECT_STREQ(canonicalisePath("/./a").text(), "\\a");
  EXPECT_STREQ(canonicalisePath("/.").text(), "");
  EXPECT_STREQ(canonicalisePath("a/././b").text(), "a\\b");
  EXPECT_STREQ(canonicalisePath("a/.").text(), "a");
}

TEST(CanonicalisePath, KeepsALeadingDot) {
  EXPECT_STREQ(canonicalisePath("./a").text(), ".\\a");
  EXPECT_STREQ(canonicalisePath(".").text(), ".");
  EXPECT_STREQ(canonicalisePath("./").text(), ".");
  EXPECT_STREQ(canonicalisePath("./.").text(), ".");
  EXPECT_STREQ(canonicalisePath("././a").text(), ".\\a");
  EXPECT_STREQ(canonicalisePath("a/.././b").text(), ".\\b");
}

TEST(CanonicalisePath, ResolvesTwoDotsBehindALeadingDot) {
  EXPECT_STREQ(canonicalisePath("./..").text(), "");
  EXPECT_STREQ(canonicalisePath("./../a").text(), "a");
}

TEST(CanonicalisePath, ResolvesTwoDotComponents) {
  EXPECT_STREQ(canonicalisePath("a/../b").text(), "b");
  EXPECT_STREQ(canonicalisePath("a/b/../../c").text(), "c");
  EXPECT_STREQ(canonicalisePath("/a/b/../c").text(), "\\a\\c");
  EXPECT_STREQ(canonicalisePath("a/b/..").text(), "a");
  EXPECT_STREQ(canonicalisePath("a/..").text(), "");
  EXPECT_STREQ(canonicalisePath("/a/..").text(), "");
  EXPECT_STREQ(canonicalisePath("a/b/../").text(), "a");
  EXPECT_STREQ(canonicalisePath("C:\\a\\..\\b").text(), "C:\\b");
}

TEST(CanonicalisePath, KeepsTwoDotsWithNothingBeforeThem) {
  EXPECT_STREQ(canonicalisePath("..").text(), "..");
  EXPECT_STREQ(canonicalisePath("../a").text(), "..\\a");
  EXPECT_STREQ(canonicalisePath("../../a").text(), "..\\..\\a");
  EXPECT_STREQ(canonicalisePath("a/../../b").text(), "..\\b");
  EXPECT_STREQ(canonicalisePath("../..").text(), "..\\..");
  EXPECT_STREQ(canonicalisePath("/../a").text(), "\\..\\a");
}

TEST(CanonicalisePath, CutsATrailingSeparator) {
  EXPECT_STREQ(canonicalisePath("a/b/").text(), "a\\b");
  EXPECT_STREQ(canonicalisePath("a\\").text(), "a");
  EXPECT_STREQ(canonicalisePath("/").text(), "");
}

TEST(CanonicalisePath, TakesNamesOfDotsForWhatTheyAre) {
  EXPECT_STREQ(canonicalisePath("a/.../b").text(), "a\\...\\b");
  EXPECT_STREQ(canonicalisePath("a/.b/..c/d..").text(), "a\\.b\\..c\\d..");
}

TEST(CanonicalisePath, SurvivesManyLeadingSeparators) {
  EXPECT_STRNE(canonicalisePath("///a").text(), "");
  EXPECT_STRNE(canonicalisePath("\\\\..\\a").text(), "");
}

TEST(PercentEncodePath, KeepsUnreservedBytes) {
  EXPECT_STREQ(percentEncodePath("/ABCXYZ/abcxyz/0189-._~").text(), "/ABCXYZ/abcxyz/0189-._~");
}

TEST(PercentEncodePath, EncodesEveryOtherByte) {
  const std::pair<const char*, const char*> texts[] = {
      {" ", "%20"},          {"%", "%25"},    {"+", "%2B"},  {"?", "%3F"},    {"#", "%23"},
      {":", "%3A"},          {"\\", "%5C"},   {"&", "%26"},  {"=", "%3D"},    {"@", "%40"},
      {"!", "%21"},          {"\x01", "%01"}, {"\n", "%0A"}, {"[", "%5B"},    {"`", "%60"},
      {"{", "%7B"},          {"\x7F", "%7F"}, {",", "%2C"},  {"\xFF", "%FF"}, {"\x80", "%80"},
      {"\xC3\xA9", "%C3%A9"}};
  for (const auto& [text, expected] : texts)
    EXPECT_STREQ(percentEncodePath(text).text(), expected);
}

TEST(PercentEncodePath, EncodesWhatIsEncodedAlready) {
  EXPECT_STREQ(percentEncodePath("a%20b").text(), "a%2520b");
}

TEST(PercentEncodePath, SurvivesATextOfNothingButEncodedBytes) {
  const std::string spaces(1000, ' ');
  EXPECT_EQ(percentEncodePath(spaces.c_str()).length(), 3000U);
  EXPECT_STREQ(percentEncodePath("").text(), "");
}

TEST(StaysBelow, AcceptsWhatStaysInTheDirectory) {
  for (const char* path : {"a", "a/b.tx", "./a", "a/../b", "a/./b", "/etc/x", "//a", "a/",
                           "\\\\server\\share\\x", "..a", "a..", "a/b/../../c"}) {
    EXPECT_TRUE(staysBelow(path)) << path;
  }
}

TEST(StaysBelow, RefusesWhatLeavesTheDirectoryOrIsIt) {
  for (const char* path :
       {"..", ".", "", "/", "a/..", "../x", "../../x", "a/../../x", "..\\..\\x", "a\\..\\..\\x",
        "/..", "/../x", "./..", "./../x", "a/b/../../../c", "a/../../target/x", "a/../.", "\\.."}) {
    EXPECT_FALSE(staysBelow(path)) << path;
  }
}

class FullPath : public testing::Test {
 protected:
  std::string local(const char* target, const char* relative) {
    settings.targetDirectory = target;
    return downloader.makeFullPath(relative, PathSide::kLocal).text();
  }
  std::string remote(const char* base, const char* relative) {
    downloader.remotePath = base;
    return downloader.makeFullPath(relative, PathSide::kRemote).text();
  }

  RecordingCallback callback;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
};

TEST_F(FullPath, JoinsTargetAndRelativePath) {
  EXPECT_EQ(local("C:\\data", "maps//./oak.tx"), "C:/data/maps/oak.tx");
  EXPECT_EQ(local("/var/lib/materials", "maps\\oak.tx"), "/var/lib/materials/maps/oak.tx");
}

TEST_F(FullPath, EncodesTheRemotePath) {
  EXPECT_EQ(remote("/lib", "a b/\xC3\xA9.png"), "/lib/a%20b/%C3%A9.png");
  EXPECT_EQ(remote("/lib", "a\\b.png"), "/lib/a/b.png");
  EXPECT_EQ(remote("/lib v2", "50%.png"), "/lib%20v2/50%25.png");
}

TEST_F(FullPath, LeavesTheLocalPathUnencoded) {
  EXPECT_EQ(local("/data", "a b/\xC3\xA9%.png"), "/data/a b/\xC3\xA9%.png");
}

TEST_F(FullPath, EndsAtTheBaseWithoutARelativePath) {
  EXPECT_EQ(remote("/lib", nullptr), "/lib");
  EXPECT_EQ(remote("/lib", ""), "/lib");
  EXPECT_EQ(local("C:\\data", nullptr), "C:/data");
  EXPECT_EQ(remote(nullptr, nullptr), "");
}

TEST_F(FullPath, StartsWithASlashWithoutABase) {
  EXPECT_EQ(remote(nullptr, "id.txt"), "/id.txt");
  EXPECT_EQ(remote("", "a/id.txt"), "/a/id.txt");
}

TEST_F(FullPath, TakesABaseThatEndsWithASlash) {
  EXPECT_EQ(remote("/lib/", "id.txt"), "/lib/id.txt");
  EXPECT_EQ(remote("/", "id.txt"), "//id.txt");
}

TEST_F(FullPath, IsEmptyWhenItWouldClimbAboveARelativeBase) {
  EXPECT_EQ(local("lib", "../../x"), "");
  EXPECT_EQ(local("lib", "../.."), "");
  EXPECT_EQ(local("lib", "..\\..\\x"), "");
  EXPECT_EQ(remote("lib", "../../x"), "");
  EXPECT_EQ(remote("lib", "../.."), "");
}

TEST_F(FullPath, IsEmptyBelowABaseThatClimbsItself) {
  EXPECT_EQ(local("..", nullptr), "");
  EXPECT_EQ(local("..\\data", "a"), "");
  EXPECT_EQ(remote("../lib", "id.txt"), "");
}

TEST_F(FullPath, KeepsTwoDotsBehindALeadingSlash) {
  EXPECT_EQ(local("/data", "../../x"), "/../x");
  EXPECT_EQ(local("/data", "../.."), "/..");
  EXPECT_EQ(remote(nullptr, "../x"), "/../x");
}

TEST_F(FullPath, CutsNothingOfALongPath) {
  for (const std::size_t length : {259, 260, 1022, 1023, 1024, 100000}) {
    const std::string name(length, 'x');
    EXPECT_EQ(local("/d", name.c_str()), "/d/" + name);
    EXPECT_EQ(remote("/d", name.c_str()), "/d/" + name);
  }
}

TEST_F(FullPath, KeepsNamesThatOnlyBeginWithTwoDots) {
  EXPECT_EQ(local("lib", "../..x"), "..x");
  EXPECT_EQ(local("lib", "../...x/y"), "...x/y");
}

TEST_F(FullPath, KeepsRootedPathsBelowTheTarget) {
  EXPECT_EQ(local("/data", "/etc/x"), "/data/etc/x");
  EXPECT_EQ(local("C:/data", "\\\\server\\share\\x"), "C:/data/server/share/x");
}

TEST_F(FullPath, KeepsTheDoubleLeadOfANetworkTarget) {
  EXPECT_EQ(local("\\\\server\\share", "a/b"), "//server/share/a/b");
}

TEST_F(FullPath, LeavesTheSettingsAlone) {
  EXPECT_EQ(local("C:\\data", "a"), "C:/data/a");
  EXPECT_STREQ(settings.targetDirectory.text(), "C:\\data");
}

}  // namespace
