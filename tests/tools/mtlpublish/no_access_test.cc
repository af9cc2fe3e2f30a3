// Tests files and folders that the publisher may not read or write.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "mtlpublish/publisher.h"
#include "mtlpublish/verify.h"
#include "support/no_access.h"
#include "support/regex_matchers.h"
#include "tree_scan_fixture.h"

namespace {

using mtlpublish::publish;
using testing::ElementsAre;

class WithoutAccess : public TreeScanTest {
 protected:
  /// Lets those lock the folder, too, who may not write to it.
  void letEverybodyLock() {
    add(".mtlpublish-lock");
    std::filesystem::permissions(root_ / ".mtlpublish-lock", std::filesystem::perms::all);
  }
};

TEST_F(WithoutAccess, AFolderCannotBeRead) {
  add("closed/a");
  add("open/b");
  const NoAccess closed({root_ / "closed"});
  const auto scan = mtlpublish::scanTree(root_);
  EXPECT_THAT(scan.problems, ElementsAre("closed: cannot be read: Permission denied"));
  ASSERT_EQ(scan.files.size(), 1U);
  EXPECT_EQ(scan.files[0].path, "open/b");
}

TEST_F(WithoutAccess, FilesCannotBeRead) {
  for (const char* path : {"a", "b", "c"})
    add(path);
  letEverybodyLock();
  {
    const NoAccess closed({root_ / "a", root_ / "c"});
    EXPECT_THAT(publish(root_, {}).problems, ElementsAre("a: cannot be read: Permission denied",
                                                         "c: cannot be read: Permission denied"));
  }
  auto files = readTree(root_.u8string());
  files.erase(".mtlpublish-cache");
  files.erase(".mtlpublish-lock");
  EXPECT_EQ(files.size(), 3U);
}

TEST_F(WithoutAccess, TheListCannotBeWritten) {
  add("a");
  add("filelist.json");
  letEverybodyLock();
  {
    const NoAccess closed({root_ / "filelist.json"});
    EXPECT_THAT(publish(root_, {}).problems,
                ElementsAre(MatchesPattern(
                    "filelist\\.json(\\.gz)?: cannot be written: Permission denied")));
  }
  auto files = readTree(root_.u8string());
  files.erase(".mtlpublish-cache");
  files.erase(".mtlpublish-lock");
  EXPECT_EQ(files,
            (std::map<std::string, std::string>{{"a", "a"}, {"filelist.json", "filelist.json"}}));
}

TEST_F(WithoutAccess, AVerifiedFileCannotBeRead) {
  add("a");
  publish(root_, {});
  const NoAccess closed({root_ / "a"});
  EXPECT_THAT(mtlpublish::verifyFolder(root_, {}).problems,
              ElementsAre("a: cannot be read: Permission denied"));
}

}  // namespace
