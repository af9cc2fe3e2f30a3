// --verify: what it tells, and that it changes nothing. Done with the real plug-in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "repair_fixture.h"
#include "support/child_process.h"
#include "support/no_access.h"
#include "support/scripted_server.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// A library with a file that has no digest and one that has, and a copy of it.
class VerifyTest : public testing::Test {
 protected:
  VerifyTest() {
    server_.serve("/lib/id.txt", "stamp 1");
    server_.serve("/lib/filelist.json",
                  "[{\"path\":\"a.tx\",\"size\":3,\"sha256\":\"" + std::string(kDigestOfAbc) +
                      "\"},{\"path\":\"maps/b.tx\",\"download\":\"missing\",\"size\":4},"
                      "{\"path\":\"c\",\"download\":\"never\"}]\n");
    writeFile(copy("id.txt"), "stamp 1");
    writeFile(copy("a.tx"), "abc");
    writeFile(copy("maps/b.tx"), "text");
    writeFile(copy("mine.txt"), "not listed");
  }

  std::string copy(const std::string& name) const { return dir_ / ("copy/" + name); }
  std::string url() const { return server_.address() + "/lib"; }

  std::vector<std::string> command(std::vector<std::string> options) const {
    options.insert(options.begin(), {MTLSYNC, "--module", MTLSYNC_REAL_MODULE, "--no-proxy"});
    options.insert(options.end(), {"--verify", url(), dir_ / "copy"});
    return options;
  }
  /// Runs it, expecting that it changes nothing.
  ProcessResult verify(const std::vector<std::string>& options = {"-q"}) const {
    const auto before = readTree(dir_ / "copy");
    ProcessResult result = runProcess(command(options));
    EXPECT_EQ(readTree(dir_ / "copy"), before);
    return result;
  }

  TempDir dir_;
  ScriptedServer server_;
};

TEST_F(VerifyTest, FindsNothingWrongWithAWholeCopy) {
  const ProcessResult result = verify({});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "As listed: 2 files.\n");
  EXPECT_EQ(result.err,
            "Accessing stamp\n"
            "Getting file list\n"
            "Comparing files\n"
            "Comparing files: 100 % (3 bytes)\n");
  EXPECT_EQ(server_.requestLines(),
            (std::vector<std::string>{"GET /lib/id.txt", "GET /lib/filelist.json"}));
  const ProcessResult quiet = verify({"-q"});
  EXPECT_EQ(quiet.exitCode, 0);
  EXPECT_EQ(quiet.out + quiet.err, "");
}

TEST_F(VerifyTest, TakesASlashBehindAHost) {
  server_.serve("/id.txt", "stamp 1");
  server_.serve("/filelist.json", "[]\n");
  const ProcessResult result =
      runProcess({MTLSYNC, "--module", MTLSYNC_REAL_MODULE, "--no-proxy", "-q", "--verify",
                  server_.address() + "/", dir_ / "copy"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(server_.requestLines(),
            (std::vector<std::string>{"GET /id.txt", "GET /filelist.json"}));
}

TEST_F(VerifyTest, TellsAProblemALine) {
  writeFile(copy("a.tx"), "abd");
  writeFile(copy("maps/b.tx"), "t");
  const ProcessResult result = verify();
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_EQ(result.out,
            "a.tx: has the wrong content\n"
            "maps/b.tx: has 1 byte instead of 4\n");
  EXPECT_EQ(result.err, "\"mtlsync --repair --no-proxy " + url() + " " + (dir_ / "copy") +
                            "\" fetches what is missing or wrong.\n");
  EXPECT_THAT(verify({}).out, HasSubstr("\n2 problems in 2 listed files.\n"));
}

TEST_F(VerifyTest, FindsWhatIsMissingOrNoFile) {
  fs::remove(fs::u8path(copy("a.tx")));
  fs::remove(fs::u8path(copy("maps/b.tx")));
  fs::create_directory(fs::u8path(copy("a.tx")));
  EXPECT_EQ(verify().out,
            "a.tx: is not a regular file\n"
            "maps/b.tx: is missing\n");
}

TEST_F(VerifyTest, PassesOverWhatIsListedInThePlaceOfItsOwnFiles) {
  const std::string list =
      "[{\"path\":\"id.txt\",\"size\":99},{\"path\":\"Id.txt./x\"},{\"path\":\".mtllib/state\"},"
      "{\"path\":\"beta/id.txt\",\"size\":99},{\"path\":\"a.tx\",\"size\":3}]\n";
  server_.serve("/lib/beta/id.txt", "stamp 2");
  server_.serve("/beta/lib/filelist.json", list);
  writeFile(copy("beta/id.txt"), "stamp 2");
  const ProcessResult result = verify({"--sub-path", "beta"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "As listed: 1 file.\n");
  server_.serve("/lib/filelist.json", list);
  EXPECT_EQ(verify().out, "beta/id.txt: has 7 bytes instead of 99\n") << "another client's stamp";
}

TEST_F(VerifyTest, FindsAnotherStampAndAMissingOne) {
  writeFile(copy("id.txt"), "stamp 0");
  ProcessResult result = verify();
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_EQ(result.out, "id.txt: is not the library's, which has changed since\n");
  fs::remove(fs::u8path(copy("id.txt")));
  result = verify();
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_EQ(result.out, "id.txt: is missing: no run has been completed\n");
}

TEST_F(VerifyTest, TellsWhyTheStampCannotBeRead) {
  const NoAccess none({fs::u8path(copy("id.txt"))});
  const ProcessResult result = runProcess(command({"-q"}), {{"ASAN_OPTIONS", "detect_leaks=0"}});
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_EQ(result.out, "id.txt: cannot be read: Permission denied\n");
  EXPECT_EQ(result.err, "Once what cannot be read is readable, \"mtlsync --repair --no-proxy " +
                            url() + " " + (dir_ / "copy") +
                            "\" fetches what is missing or wrong.\n");
}

TEST_F(VerifyTest, FindsAStampThatIsNoFile) {
  fs::remove(fs::u8path(copy("id.txt")));
  fs::create_directory(fs::u8path(copy("id.txt")));
  const ProcessResult result = verify();
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_EQ(result.out, "id.txt: is not a regular file\n");
  EXPECT_THAT(result.err, HasSubstr("Once what is not a regular file is removed, \"mtlsync "));
}

TEST_F(VerifyTest, SaysThatAFileStandsInTheFoldersPlace) {
  fs::remove_all(fs::u8path(dir_ / "copy"));
  writeFile(dir_ / "copy", "mine");
  const ProcessResult result = runProcess(command({"-q"}));
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "mtlsync: error: \"" + (dir_ / "copy") + "\" is not a folder\n");
}

TEST_F(VerifyTest, MakesNoFolder) {
  fs::remove_all(dir_.path() / "copy");
  EXPECT_EQ(verify().exitCode, 7);
  EXPECT_FALSE(fs::exists(dir_.path() / "copy"));
}

TEST_F(VerifyTest, FailsWithoutALibraryOrList) {
  server_.remove("/lib/filelist.json");
  ProcessResult result = verify();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("mtlsync: error: Could not fetch the list"));
  server_.remove("/lib/id.txt");
  result = verify();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "mtlsync: error: Could not download remote stamp file\n"
            "  because: Unexpected HTTP status (404)\n"
            "Check the address: where a library is, there are id.txt and filelist.json.\n");
}

TEST_F(VerifyTest, PrintsHostileNamesHarmlessly) {
  server_.serve("/lib/filelist.json",
                "[{\"path\":\"\\u001b[31m\\n\\u202e.tx\"},{\"path\":\"\\u009b31m\"}]\n");
  EXPECT_EQ(verify().out, "\\x1B[31m \\xE2\\x80\\xAE.tx: is missing\n\\xC2\\x9B31m: is missing\n");
}

TEST_F(VerifyTest, TellsProgramsMore) {
  writeFile(copy("a.tx"), "");
  const ProcessResult result = verify({"--json"});
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.out, HasSubstr("{\"event\":\"difference\",\"kind\":\"size\",\"path\":\"a.tx\","
                                    "\"text\":\"has 0 bytes instead of 3\"}\n"));
  EXPECT_THAT(result.out, HasSubstr("\"code\":1,\"event\":\"result\",\"files\":2,"
                                    "\"status\":\"different\"}\n"));
  writeFile(copy("a.tx"), "abc");
  EXPECT_THAT(verify({"--json"}).out, HasSubstr("\"code\":0,\"event\":\"result\",\"files\":2,"
                                                "\"status\":\"asListed\"}\n"));
}

TEST_F(VerifyTest, EndsWhenInterrupted) {
  server_.hold("/lib/filelist.json");
  ChildProcess program(command({"-q"}));
  ASSERT_TRUE(server_.waitForRequests(2));
  program.interrupt();
  const ProcessResult result = program.wait();
  EXPECT_EQ(result.exitCode, 130);
  EXPECT_EQ(result.err, "mtlsync: interrupted\n");
}

}  // namespace
