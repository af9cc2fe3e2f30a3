// Local copies that tests can make on POSIX only: with links, and with folders that cannot
// be written.
#include "repair_fixture.h"
#include "support/child_process.h"
#include "support/unprivileged.h"

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
            "mtlsync: warning: \"dangling\" is not a regular file; left as it is\n");
  EXPECT_EQ(readFile(copy("id.txt")), "s");
  EXPECT_TRUE(fs::is_symlink(copy("wrong")));
  EXPECT_TRUE(fs::is_symlink(copy("dangling")));
  EXPECT_EQ(readFile(dir_ / "elsewhere"), "cut");
}

TEST_F(RemoveDamagedTest, LeavesAStampThatIsALink) {
  writeFile(dir_ / "elsewhere", "s");
  writeFile(copy("a"), "x");
  fs::create_symlink(dir_ / "elsewhere", copy("id.txt"));
  EXPECT_FALSE(remove({{"a", 2}}));
  EXPECT_EQ(readFile(copy("a")), "x");
  EXPECT_TRUE(fs::is_symlink(copy("id.txt")));
}

TEST_F(RemoveDamagedTest, EndsAtAFileThatCannotBeRemoved) {
  writeFile(copy("maps/a"), "x");
  fs::permissions(copy("maps"), fs::perms(0555));
  {
    const Unprivileged user;
    EXPECT_FALSE(remove({{"maps/a", 2}}));
  }
  fs::permissions(copy("maps"), fs::perms::owner_all);
  ASSERT_EQ(problem_.size(), 2U);
  EXPECT_EQ(problem_[0].message, "Could not remove \"" + copy("maps/a") + "\"");
  EXPECT_EQ(problem_[1].message, "Permission denied");
  EXPECT_EQ(printed_.str(), "");
}

TEST(VerifyClosedFolder, TellsWhyTheStampCannotBeLookedAt) {
  const TempDir dir;
  writeFile(dir / "copy/id.txt", "stamp");
  fs::permissions(dir / "copy", fs::perms::none);
  ProcessResult result;
  {
    const Unprivileged user;
    // The comparison of the files, without a library, fails.
    result =
        runProcess({MTLSYNC, "-q", "--module", MTLSYNC_FAKE_MODULE, "--verify", "ok", dir / "copy"},
                   {{"ASAN_OPTIONS", "detect_leaks=0"}});
  }
  fs::permissions(dir / "copy", fs::perms::owner_all);
  EXPECT_EQ(result.out, "id.txt: cannot be looked at: Permission denied\n");
}

TEST_F(RemoveDamagedTest, RemovesNothingWhereItCannotLook) {
  writeFile(copy("id.txt"), "s");
  writeFile(copy("a"), "x");
  EXPECT_FALSE(remove({{"a", 2}, {std::string(300, 'n'), 2}}));
  ASSERT_EQ(problem_.size(), 2U);
  EXPECT_EQ(problem_[0].message, "Could not look at \"" + copy(std::string(300, 'n')) + "\"");
  EXPECT_EQ(problem_[1].message, "File name too long");
  EXPECT_EQ(readTree(dir_ / "copy"),
            (std::map<std::string, std::string>{{"a", "x"}, {"id.txt", "s"}}));
}

}  // namespace
