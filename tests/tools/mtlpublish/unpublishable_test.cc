// Files that only POSIX systems can hold, or keep from their owner, and no client can get.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

#include "mtlpublish/publisher.h"
#include "support/unprivileged.h"
#include "tree_scan_fixture.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using Unpublishable = TreeScanTest;

TEST_F(Unpublishable, AreNamesThatClientsCannotHold) {
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

TEST_F(Unpublishable, IsWhatIsNoFile) {
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

TEST_F(Unpublishable, AreFoldersThatCannotBeRead) {
  fs::create_directory(root_ / "closed");
  fs::permissions(root_ / "closed", fs::perms::none);
  {
    const Unprivileged unprivileged;
    EXPECT_THAT(problems(), ElementsAre("closed: cannot be read: Permission denied"));
  }
  fs::permissions(root_ / "closed", fs::perms::owner_all);
}

TEST_F(Unpublishable, AreFilesThatCannotBeRead) {
  add("a");
  add("b");
  for (const char* name : {"a", "b"})
    fs::permissions(root_ / name, fs::perms::none);
  {
    const Unprivileged unprivileged;
    EXPECT_THAT(mtlpublish::publish(root_, {}).problems,
                ElementsAre("a: cannot be read: Permission denied",
                            "b: cannot be read: Permission denied"));
  }
  EXPECT_FALSE(fs::exists(root_ / "id.txt"));
}

TEST_F(Unpublishable, IsAFolderThatCannotBeWritten) {
  add("a");
  fs::permissions(root_, fs::perms::owner_write, fs::perm_options::remove);
  {
    const Unprivileged unprivileged;
    EXPECT_THAT(mtlpublish::publish(root_, {}).problems,
                ElementsAre("filelist.json: cannot be written: Permission denied"));
  }
  fs::permissions(root_, fs::perms::owner_write, fs::perm_options::add);
  EXPECT_EQ(readTree(root_.string()).size(), 1U);
}

}  // namespace
