// Links in the local copy, which ordinary users of Windows cannot make.
#include "repair_fixture.h"

namespace {

namespace fs = std::filesystem;

TEST_F(RemoveDamagedTest, LeavesLinksToTheUser) {
  writeFile(copy("id.txt"), "s");
  writeFile(dir_ / "elsewhere", "cut");
  fs::create_symlink(dir_ / "elsewhere", copy("wrong"));
  fs::create_symlink(dir_ / "elsewhere", copy("right"));
  fs::create_symlink(dir_ / "nowhere", copy("dangling"));
  EXPECT_TRUE(remove({{"wrong", 9}, {"right", 3}, {"dangling", 1}}));
  EXPECT_EQ(printed_.str(),
            "mtlsync: warning: \"wrong\" is not a regular file; left as it is\n"
            "mtlsync: warning: \"dangling\" is not a regular file; left as it is\n"
            "Removed \"id.txt\"\n");
  EXPECT_TRUE(fs::is_symlink(copy("wrong")));
  EXPECT_TRUE(fs::is_symlink(copy("dangling")));
  EXPECT_EQ(readFile(dir_ / "elsewhere"), "cut");
}

}  // namespace
