// Tests what only POSIX systems can hold and no client can get: Windows has neither such names nor
// such files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

#include "mtlpublish/publisher.h"
#include "tree_scan_fixture.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using Unpublishable = TreeScanTest;

/// Leaves a socket's file behind.
void makeSocket(const fs::path& file) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string name = file.string();
  ASSERT_LT(name.size(), sizeof(address.sun_path));
  std::copy(name.begin(), name.end(), address.sun_path);
  const int end = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(end, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  close(end);
}

TEST_F(Unpublishable, AreSomeNamesAndWhatIsNoFile) {
  for (const char* path : {"bad\xFF.tx", "back\\slash", "new\nline", "esc\x1B/inner"})
    add(path);
  ASSERT_EQ(mkfifo((root_ / "pipe").c_str(), 0600), 0);
  makeSocket(root_ / "socket");
  EXPECT_THAT(
      problems(),
      ElementsAre("back\\slash: the name has a backslash, which clients take for a folder "
                  "separator",
                  "bad\\xFF.tx: the name is not valid UTF-8",
                  "esc\\x1B: the name has a control character",
                  "new\\x0Aline: the name has a control character",
                  "pipe: neither a file nor a folder", "socket: neither a file nor a folder"));
}

TEST_F(Unpublishable, AreNamesThatOtherSystemsDoNotTellApart) {
  for (const char* path : {"Oak.tx", "oak.tx", "nul", "maps/a", "Maps", "caf\u00E9", "cafe\u0301"})
    add(path);
  mtlpublish::PublishOptions options;
  EXPECT_THAT(
      mtlpublish::publish(root_, options).problems,
      ElementsAre("caf\u00E9: differs from \"cafe\u0301\" only in case, or in how accents are "
                  "written",
                  "maps/a: lies in \"Maps\", a file", "nul: Windows cannot hold the name \"nul\"",
                  "oak.tx: differs from \"Oak.tx\" only in case, or in how accents are written"));
  options.allowed = {mtlrules::NameFault::kSameName, mtlrules::NameFault::kWindowsName};
  EXPECT_THAT(mtlpublish::publish(root_, options).problems, testing::IsEmpty());
}

}  // namespace
