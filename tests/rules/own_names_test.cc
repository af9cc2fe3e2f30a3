// Tests names that a list must not have, since clients write files of these names themselves.
#include "rules/own_names.h"

#include <gtest/gtest.h>

namespace mtlrules {
namespace {

TEST(StampName, LiesBelowTheSubPath) {
  EXPECT_EQ(stampName(""), "id.txt");
  EXPECT_EQ(stampName("beta"), "beta/id.txt");
  EXPECT_EQ(stampName("/a/b/"), "/a/b//id.txt");
}

TEST(OwnName, IsTheStampAndWhatLiesBelowAFolderOfThatName) {
  for (const char* path :
       {"id.txt", "./id.txt", "/id.txt", "a/../id.txt", "id.txt/", "id.txt/x", "id.txt\\x\\y"}) {
    EXPECT_TRUE(isOwnName(path, "")) << path;
  }
}

TEST(OwnName, IsTheSameInUpperAndLowerCase) {
  for (const char* path : {"ID.TXT", "Id.txt", "iD.tXt/x", ".MTLLIB/state", ".Mtllib"})
    EXPECT_TRUE(isOwnName(path, "")) << path;
}

TEST(OwnName, IsTheSameWithDotsAndBlanksBehindIt) {
  for (const char* path :
       {"id.txt.", "id.txt ", "id.txt. .", "ID.TXT../x", ".mtllib.", ".mtllib /x"})
    EXPECT_TRUE(isOwnName(path, "")) << path;
}

TEST(OwnName, IsTheFolderThatClientsKeep) {
  for (const char* path :
       {".mtllib", ".mtllib/state", "./.mtllib/a/b", "MTLLIB~1", "mtllib~9/lock"})
    EXPECT_TRUE(isOwnName(path, "")) << path;
}

TEST(OwnName, IsTheStampOfTheSubPathAsWell) {
  for (const char* path : {"beta/id.txt", "Beta./ID.TXT", "beta/id.txt/x", "id.txt", "beta"})
    EXPECT_TRUE(isOwnName(path, "beta")) << path;
  EXPECT_TRUE(isOwnName("a/b/id.txt", "/a\\./b/"));
  EXPECT_TRUE(isOwnName("a", "a/b"));
}

TEST(OwnName, IsNoOther) {
  for (const char* path : {"", "a", "a/id.txt", "id.txt.bak", "id.tx", "id", "my id.txt", " id.txt",
                           ".mtllib2", "mtllib", "mtllib~", "mtllib~0", "mtllib~10", "mtllib~1.txt",
                           "a/.mtllib", "..", "../id.txt"}) {
    EXPECT_FALSE(isOwnName(path, "")) << path;
  }
  for (const char* path : {"beta/x", "betas/id.txt", "beta2", "x/beta/id.txt"})
    EXPECT_FALSE(isOwnName(path, "beta")) << path;
  EXPECT_FALSE(isOwnName("a", "../a"));
}

}  // namespace
}  // namespace mtlrules
