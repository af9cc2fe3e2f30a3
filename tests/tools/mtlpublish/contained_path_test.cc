// Tests which names lead out of a folder.
#include "mtlpublish/contained_path.h"

#include <gtest/gtest.h>

#include "mtlpublish/system.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::fileWithin;
using mtlpublish::liesWithin;

class ContainedPath : public testing::Test {
 protected:
  ContainedPath() {
    writeFile(dir_ / "secret", "");
    writeFile(dir_ / "lib-2/secret", "");
    writeFile(dir_ / "lib/a b/50%+#é.tx", "");
    std::error_code error;
    root_ = mtlpublish::canonicalPath(dir_.path() / "lib", error);
    found_ = root_ / "a b" / fs::u8path("50%+#é.tx");
  }

  TempDir dir_;
  fs::path root_;
  fs::path found_;
};

TEST_F(ContainedPath, KnowsWhatLiesWithin) {
  EXPECT_TRUE(liesWithin("/a/b", "/a/b"));
  EXPECT_TRUE(liesWithin("/a/b/c", "/a/b"));
  EXPECT_TRUE(liesWithin("/a", "/"));
  EXPECT_FALSE(liesWithin("/a", "/a/b"));
  EXPECT_FALSE(liesWithin("/a/bc", "/a/b"));
}

TEST_F(ContainedPath, FindsAFileByItsName) {
  EXPECT_EQ(fileWithin(root_, "/a b/50%+#é.tx"), found_);
  EXPECT_EQ(fileWithin(root_, "a b/50%+#é.tx"), found_);
  EXPECT_EQ(fileWithin(root_, "//a b/./50%+#é.tx"), found_);
}

TEST_F(ContainedPath, FindsNoFolder) {
  EXPECT_FALSE(fileWithin(root_, ""));
  EXPECT_FALSE(fileWithin(root_, "/"));
  EXPECT_FALSE(fileWithin(root_, "/a b"));
  EXPECT_FALSE(fileWithin(root_, "/nothing"));
}

TEST_F(ContainedPath, NeverLeavesTheFolder) {
  EXPECT_FALSE(fileWithin(root_, "/../secret"));
  EXPECT_FALSE(fileWithin(root_, "/a b/../../secret"));
  EXPECT_FALSE(fileWithin(root_, "/../lib-2/secret"));
  EXPECT_FALSE(fileWithin(root_, "//" + dir_ / "secret"));
  EXPECT_FALSE(fileWithin(root_, "/..\\secret"));
}

TEST_F(ContainedPath, RefusesNamesThatSystemsCutOrMisread) {
  EXPECT_FALSE(fileWithin(root_, std::string_view("/a b/50%+#é.tx\0.png", 20)));
  EXPECT_FALSE(fileWithin(root_, "/a b\\50%+#é.tx"));
  EXPECT_FALSE(fileWithin(root_, "/\xFF"));
}

}  // namespace
