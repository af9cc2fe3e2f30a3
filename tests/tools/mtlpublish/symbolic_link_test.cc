// Tests where symbolic links may lead. Windows lets only administrators make them, and Wine has
// none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mtlpublish/contained_path.h"
#include "mtlpublish/publisher.h"
#include "tree_scan_fixture.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::fileWithin;
using mtlpublish::scanTree;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class SymbolicLink : public TreeScanTest {
 protected:
  /// Makes the link `path`, below the root, and the folders on the way.
  void link(const std::string& path, const std::string& target) {
    fs::create_directories((root_ / path).parent_path());
    fs::create_symlink(target, root_ / path);
  }
};

TEST_F(SymbolicLink, IsFollowedWhereItStaysInTheFolderAndGoesForward) {
  for (const char* path : {"id.txt", "maps/oak.tx"})
    add(path);
  for (const char* path : {"secret", "lib-2/secret"})
    writeFile(dir_ / path, "");
  link("link.tx", "maps/oak.tx");
  link("other", root_ / "maps");
  link("in/file", "../../secret");
  link("folder", "../lib-2");
  link("top", "/");
  link("dangling", "nothing");
  link("itself", "itself");
  link("copy", "id.txt");
  link("a/b/up", "..");
  link("whole", ".");

  const auto scan = scanTree(root_);
  std::vector<std::string> paths;
  for (const auto& file : scan.files)
    paths.push_back(file.path);
  EXPECT_THAT(paths, ElementsAre("link.tx", "maps/oak.tx", "other/oak.tx"));
  EXPECT_THAT(
      scan.problems,
      ElementsAre("a/b/up: a symbolic link that leads back to a folder it lies in",
                  "copy: a symbolic link to a file that publishing writes",
                  "dangling: a symbolic link that leads nowhere: No such file or directory",
                  "folder: a symbolic link that leaves the folder",
                  "in/file: a symbolic link that leaves the folder",
                  "itself: a symbolic link that leads nowhere: Too many levels of symbolic links",
                  "top: a symbolic link that leaves the folder",
                  "whole: a symbolic link that leads back to a folder it lies in"));
}

TEST_F(SymbolicLink, IsFollowedToAnEndAmongManyCircles) {
  constexpr int kFolders = 24;
  for (int i = 0; i < kFolders; ++i) {
    for (int j = 0; j < kFolders; ++j)
      link(std::to_string(i) + "/" + std::to_string(j), "../" + std::to_string(j));
  }
  EXPECT_THAT(problems(), Not(IsEmpty()));
}

TEST_F(SymbolicLink, MayLeadToThePublishedFolderAndToWhatIsServed) {
  add("a b/50%+#é.tx");
  link("in", "a b/50%+#é.tx");
  fs::create_symlink("lib", dir_.path() / "link");
  EXPECT_THAT(mtlpublish::publish(dir_.path() / "link", {}).problems, IsEmpty());
  EXPECT_THAT(readFile(dir_ / "lib/filelist.json"), Not(IsEmpty()));

  writeFile(dir_ / "secret", "");
  link("out", "../secret");
  link("up", "..");
  EXPECT_EQ(fileWithin(root_, "/in"), root_ / "a b" / "50%+#é.tx");
  EXPECT_FALSE(fileWithin(root_, "/out"));
  EXPECT_FALSE(fileWithin(root_, "/up/secret"));
}

}  // namespace
