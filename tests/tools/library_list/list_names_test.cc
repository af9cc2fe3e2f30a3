// Where the list and the files lie.
#include "library_list/list_names.h"

#include <gtest/gtest.h>

namespace library_list {
namespace {

TEST(ListUrl, StandsBelowTheAddress) {
  EXPECT_EQ(listUrl("http://a.example/lib", ""), "http://a.example/lib/filelist.json");
  EXPECT_EQ(listUrl("https://a.example:8443", ""), "https://a.example:8443/filelist.json");
  EXPECT_EQ(listUrl("HTTPS://a.example/x", ""), "https://a.example/x/filelist.json");
  EXPECT_EQ(listUrl("a.example:80/x", ""), "http://a.example:80/x/filelist.json");
  EXPECT_EQ(listUrl("http://[::1]:80/x", ""), "http://[::1]:80/x/filelist.json");
}

TEST(ListUrl, HasTheSubPathInFrontAndAsItStands) {
  EXPECT_EQ(listUrl("http://a/lib", "beta"), "http://a/beta/lib/filelist.json");
  EXPECT_EQ(listUrl("http://a", "x%20y/../z"), "http://a/x%20y/../z/filelist.json");
}

TEST(ListUrl, HasACanonicalEncodedPath) {
  EXPECT_EQ(listUrl("http://a/b//./c\\d/../e", ""), "http://a/b/c/e/filelist.json");
  EXPECT_EQ(listUrl("http://a/../b", ""), "http://a/../b/filelist.json");
  EXPECT_EQ(listUrl("http://a/./b", ""), "http://a/b/filelist.json");
  EXPECT_EQ(listUrl("http://a/", ""), "http://a//filelist.json");
  EXPECT_EQ(listUrl("http://a///b", ""), "http://a//b/filelist.json");
  EXPECT_EQ(listUrl("http://a//./b/.", ""), "http://a//./b/filelist.json");
  EXPECT_EQ(listUrl("http://a/b c/é%41?x#y+~_-.", ""),
            "http://a/b%20c/%C3%A9%2541%3Fx%23y%2B~_-./filelist.json");
}

TEST(ListUrl, IsOfHttpAndNamesAHost) {
  for (const char* address : {"", "/lib", "ftp://a/lib", "file:///etc", "http://", "http:///lib",
                              "http://me:secret@a/lib", "http://a?b/lib", "http://a#b", "a\\b"}) {
    EXPECT_EQ(listUrl(address, ""), "") << address;
  }
}

TEST(FileUrl, StandsBelowTheAddress) {
  EXPECT_EQ(fileUrl("HTTPS://host:8443/lib", "a b/é.tx"), "https://host:8443/lib/a%20b/%C3%A9.tx");
  EXPECT_EQ(fileUrl("host", "a\\./b/../c"), "http://host/a/c");
  EXPECT_EQ(fileUrl("ftp://host", "a"), "");
}

TEST(LocalName, StandsBelowTheDirectory) {
  EXPECT_EQ(localName("/data", "maps//./oak.tx"), "/data/maps/oak.tx");
  EXPECT_EQ(localName("C:\\data\\", "maps\\oak.tx"), "C:/data/maps/oak.tx");
  EXPECT_EQ(localName("a", "/x/../y"), "a/y");
  EXPECT_EQ(localName(".", "x"), "./x");
  EXPECT_EQ(localName("\\\\host\\share", "x"), "//host/share/x");
}

TEST(LocalName, IsNothingAboveTheCurrentFolder) {
  EXPECT_EQ(localName("../data", "x"), "");
  EXPECT_EQ(localName("lib", "../../x"), "");
  EXPECT_EQ(localName("a/..", "../x"), "");
  EXPECT_EQ(localName("..", "x/.."), "");
  EXPECT_EQ(localName("..x", "y"), "..x/y");
}

TEST(StaysBelow, FollowsThePathComponentByComponent) {
  for (const char* path : {"a", "/a", "a/b", "a/../b", "./a", "a\\..\\b", "..a", "a..", "a//b/"}) {
    EXPECT_TRUE(staysBelow(path)) << path;
  }
  for (const char* path :
       {"", ".", "/", "..", "../a", "a/..", "a/../../a", "a\\..\\..\\a", "a/b/../../../a/b/c"}) {
    EXPECT_FALSE(staysBelow(path)) << path;
  }
}

TEST(PlainPath, IsTheSameHoweverThePathIsWritten) {
  for (const char* path : {"a/b", "/a//b/", "./a/./b", "a\\b", "a/x/../b", "x/../a/b"})
    EXPECT_EQ(plainPath(path), "a/b") << path;
  EXPECT_EQ(plainPath("..a"), "..a");
}

}  // namespace
}  // namespace library_list
