// Where symbolic links may lead. Windows lets only administrators make them, and Wine has
// none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mtlpublish/contained_path.h"
#include "mtlpublish/publisher.h"
#include "tree_scan_fixture.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::fileWithin;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using SymbolicLink = TreeScanTest;

TEST_F(SymbolicLink, IsFollowedWhereItStaysInTheFolder) {
  add("maps/oak.tx");
  fs::create_symlink("maps/oak.tx", root_ / "link.tx");
  fs::create_directory_symlink(root_ / "maps", root_ / "other");
  EXPECT_THAT(paths(), ElementsAre("link.tx", "maps/oak.tx", "other/oak.tx"));
}

TEST_F(SymbolicLink, IsRefusedWhereItLeavesTheFolder) {
  writeFile(dir_ / "secret", "");
  writeFile(dir_ / "lib-2/secret", "");
  fs::create_directory(root_ / "maps");
  fs::create_symlink("../../secret", root_ / "maps" / "file");
  fs::create_directory_symlink("../lib-2", root_ / "folder");
  fs::create_directory_symlink("/", root_ / "top");
  EXPECT_THAT(problems(), ElementsAre("folder: a symbolic link that leaves the folder",
                                      "maps/file: a symbolic link that leaves the folder",
                                      "top: a symbolic link that leaves the folder"));
}

TEST_F(SymbolicLink, IsRefusedWhereItLeadsNowhere) {
  fs::create_symlink("nothing", root_ / "dangling");
  fs::create_symlink("itself", root_ / "itself");
  EXPECT_THAT(
      problems(),
      ElementsAre("dangling: a symbolic link that leads nowhere: No such file or directory",
                  "itself: a symbolic link that leads nowhere: Too many levels of symbolic links"));
}

TEST_F(SymbolicLink, IsRefusedWhereItLeadsToWhatPublishingWrites) {
  add("id.txt");
  fs::create_symlink("id.txt", root_ / "copy");
  EXPECT_THAT(problems(), ElementsAre("copy: a symbolic link to a file that publishing writes"));
}

TEST_F(SymbolicLink, IsRefusedWhereItLeadsBack) {
  fs::create_directories(root_ / "a" / "b");
  fs::create_directory_symlink("..", root_ / "a" / "b" / "up");
  fs::create_directory_symlink(".", root_ / "top");
  EXPECT_THAT(problems(),
              ElementsAre("a/b/up: a symbolic link that leads back to a folder it lies in",
                          "top: a symbolic link that leads back to a folder it lies in"));
}

TEST_F(SymbolicLink, IsFollowedToAnEndAmongManyCircles) {
  constexpr int kFolders = 24;
  for (int i = 0; i < kFolders; ++i) {
    const fs::path folder = root_ / std::to_string(i);
    fs::create_directory(folder);
    for (int j = 0; j < kFolders; ++j) {
      fs::create_directory_symlink("../" + std::to_string(j), folder / std::to_string(j));
    }
  }
  EXPECT_THAT(problems(), Not(IsEmpty()));
}

TEST_F(SymbolicLink, IsServedWhereItStaysInTheFolder) {
  writeFile(dir_ / "secret", "");
  add("a b/50%+#é.tx");
  fs::create_symlink("a b/50%+#é.tx", root_ / "in");
  fs::create_symlink("../secret", root_ / "out");
  fs::create_directory_symlink("..", root_ / "up");
  EXPECT_EQ(fileWithin(root_, "/in"), root_ / "a b" / "50%+#é.tx");
  EXPECT_FALSE(fileWithin(root_, "/out"));
  EXPECT_FALSE(fileWithin(root_, "/up/secret"));
}

TEST_F(SymbolicLink, MayLeadToThePublishedFolder) {
  add("a");
  fs::create_directory_symlink("lib", dir_.path() / "link");
  EXPECT_THAT(mtlpublish::publish(dir_.path() / "link", {}).problems, IsEmpty());
  EXPECT_THAT(readFile(dir_ / "lib/filelist.json"), Not(IsEmpty()));
}

}  // namespace
