// What a scan finds and refuses.
#include "mtlpublish/tree_scan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

#include "support/temp_dir.h"
#include "support/unprivileged.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::scanTree;
using testing::ElementsAre;
using testing::IsEmpty;

class TreeScan : public testing::Test {
 protected:
  TreeScan() {
    writeFile(dir_ / "lib/.keep", "");
    fs::remove(dir_ / "lib/.keep");
    root_ = fs::canonical(dir_.path() / "lib");
  }

  std::vector<std::string> paths() {
    std::vector<std::string> result;
    const auto scan = scanTree(root_);
    EXPECT_THAT(scan.problems, IsEmpty());
    result.reserve(scan.files.size());
    for (const auto& file : scan.files)
      result.push_back(file.path);
    return result;
  }
  std::vector<std::string> problems() { return scanTree(root_).problems; }
  void add(const std::string& path) { writeFile((root_ / path).string(), path); }

  TempDir dir_;
  fs::path root_;
};

TEST_F(TreeScan, FindsNothingInAnEmptyFolder) {
  fs::create_directories(root_ / "a" / "b");
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(TreeScan, SortsByTheBytesOfTheWholePath) {
  for (const char* path : {"b", "a/z", "a-b", "a b/é 木.tx", "A", "é", ".hidden/x"})
    add(path);
  EXPECT_THAT(paths(), ElementsAre(".hidden/x", "A", "a b/é 木.tx", "a-b", "a/z", "b", "é"));
}

TEST_F(TreeScan, TellsWhereTheContentIs) {
  add("a/é");
  const auto scan = scanTree(root_);
  ASSERT_EQ(scan.files.size(), 1U);
  EXPECT_EQ(readFile(scan.files[0].location.u8string()), "a/é");
}

TEST_F(TreeScan, LeavesOutWhatPublishingWrites) {
  for (const char* path : {"filelist.json", "id.txt", ".mtlpublish-12.tmp"})
    add(path);
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(TreeScan, TakesFilesOfSuchNamesInFoldersBelow) {
  for (const char* path : {"a/filelist.json", "a/id.txt", "a/.mtlpublish-12.tmp", "id.txt.tmp"}) {
    add(path);
  }
  EXPECT_THAT(paths(),
              ElementsAre("a/.mtlpublish-12.tmp", "a/filelist.json", "a/id.txt", "id.txt.tmp"));
}

TEST_F(TreeScan, RefusesAFolderWherePublishingWritesAFile) {
  fs::create_directory(root_ / "id.txt");
  EXPECT_THAT(problems(),
              ElementsAre("id.txt: a folder where publishing writes a file of that name"));
}

TEST_F(TreeScan, FollowsSymbolicLinksThatStayInTheFolder) {
  add("maps/oak.tx");
  fs::create_symlink("maps/oak.tx", root_ / "link.tx");
  fs::create_directory_symlink(root_ / "maps", root_ / "other");
  EXPECT_THAT(paths(), ElementsAre("link.tx", "maps/oak.tx", "other/oak.tx"));
}

TEST_F(TreeScan, RefusesSymbolicLinksThatLeaveTheFolder) {
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

TEST_F(TreeScan, RefusesSymbolicLinksThatLeadNowhere) {
  fs::create_symlink("nothing", root_ / "dangling");
  fs::create_symlink("itself", root_ / "itself");
  EXPECT_THAT(
      problems(),
      ElementsAre("dangling: a symbolic link that leads nowhere: No such file or directory",
                  "itself: a symbolic link that leads nowhere: Too many levels of symbolic links"));
}

TEST_F(TreeScan, RefusesSymbolicLinksToWhatPublishingWrites) {
  add("id.txt");
  fs::create_symlink("id.txt", root_ / "copy");
  EXPECT_THAT(problems(), ElementsAre("copy: a symbolic link to a file that publishing writes"));
}

TEST_F(TreeScan, RefusesSymbolicLinksThatLeadBack) {
  fs::create_directories(root_ / "a" / "b");
  fs::create_directory_symlink("..", root_ / "a" / "b" / "up");
  fs::create_directory_symlink(".", root_ / "top");
  EXPECT_THAT(problems(),
              ElementsAre("a/b/up: a symbolic link that leads back to a folder it lies in",
                          "top: a symbolic link that leads back to a folder it lies in"));
}

TEST_F(TreeScan, EndsAmongManyCircles) {
  constexpr int kFolders = 24;
  for (int i = 0; i < kFolders; ++i) {
    const fs::path folder = root_ / std::to_string(i);
    fs::create_directory(folder);
    for (int j = 0; j < kFolders; ++j) {
      fs::create_directory_symlink("../" + std::to_string(j), folder / std::to_string(j));
    }
  }
  EXPECT_THAT(problems(), testing::Not(IsEmpty()));
}

TEST_F(TreeScan, RefusesNamesThatClientsCannotHold) {
  add("bad\xFF.tx");
  add("back\\slash");
  add("new\nline");
  add("esc\x1B/inner");
  EXPECT_THAT(problems(),
              ElementsAre("back\\slash: the name has a backslash, which clients take for a folder "
                          "separator",
                          "bad\\xFF.tx: the name is not valid UTF-8",
                          "esc\\x1B: the name has a control character",
                          "new\\x0Aline: the name has a control character"));
}

TEST_F(TreeScan, TakesAPathJustShortEnough) {
  const std::string folder(200, 'd');
  add(folder + "/" + std::string(57, 'f'));
  EXPECT_EQ(paths().at(0).size(), 258U);
}

TEST_F(TreeScan, RefusesPathsThatNoClientCanHold) {
  const std::string folder(200, 'd');
  add(folder + "/" + std::string(58, 'f'));
  EXPECT_THAT(problems(), ElementsAre(folder + "/" + std::string(58, 'f') +
                                      ": the path has 259 bytes, no client can hold more than "
                                      "258"));
}

TEST_F(TreeScan, RefusesWhatIsNoFile) {
  ASSERT_EQ(mkfifo((root_ / "pipe").c_str(), 0600), 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string name = (root_ / "socket").string();
  ASSERT_LT(name.size(), sizeof(address.sun_path));
  std::copy(name.begin(), name.end(), address.sun_path);
  const int end = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(end, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_THAT(problems(), ElementsAre("pipe: neither a file nor a folder",
                                      "socket: neither a file nor a folder"));
  close(end);
}

TEST_F(TreeScan, RefusesFoldersThatCannotBeRead) {
  fs::create_directory(root_ / "closed");
  fs::permissions(root_ / "closed", fs::perms::none);
  {
    const Unprivileged unprivileged;
    EXPECT_THAT(problems(), ElementsAre("closed: cannot be read: Permission denied"));
  }
  fs::permissions(root_ / "closed", fs::perms::owner_all);
}

TEST_F(TreeScan, ReportsEveryProblem) {
  fs::create_symlink("nothing", root_ / "a");
  add("b\\");
  ASSERT_EQ(mkfifo((root_ / "c").c_str(), 0600), 0);
  EXPECT_EQ(problems().size(), 3U);
}

}  // namespace
