// --repair: what it removes, and that the run that follows makes everything good. Whole
// repairs are done with the real plug-in.
#include "mtlsync/repair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "repair_fixture.h"
#include "support/child_process.h"
#include "support/no_access.h"
#include "support/regex_matchers.h"
#include "support/scripted_server.h"

namespace {

namespace fs = std::filesystem;
using mtlsync::ErrorEntries;
using testing::Contains;
using testing::HasSubstr;

using Tree = std::map<std::string, std::string>;

TEST_F(RemoveDamagedTest, TakesFilesOfAnotherSizeAndTheStamp) {
  writeFile(copy("id.txt"), "stamp");
  writeFile(copy("maps/cut.tx"), "ab");
  writeFile(copy("maps/long.tx"), "abcd");
  writeFile(copy("maps/whole.tx"), "abc");
  writeFile(copy("emptied"), "");
  writeFile(copy("filled"), "x");
  EXPECT_TRUE(remove({{"maps/cut.tx", 3},
                      {"maps\\long.tx", 3},
                      {"maps/./whole.tx", 3},
                      {"emptied", 1},
                      {"filled", 0},
                      {"missing", 5}}));
  EXPECT_EQ(readTree(dir_ / "copy"), (Tree{{"maps/whole.tx", "abc"}}));
  EXPECT_EQ(printed_.str(),
            "Removed \"id.txt\"\n"
            "Removed \"maps/cut.tx\"\n"
            "Removed \"maps\\long.tx\"\n"
            "Removed \"emptied\"\n"
            "Removed \"filled\"\n");
}

TEST_F(RemoveDamagedTest, LeavesWhatIsNotListedOrHasNoSize) {
  writeFile(copy("unlisted"), "x");
  writeFile(copy("unsized"), "x");
  EXPECT_TRUE(remove({{"unsized", std::nullopt}}));
  EXPECT_EQ(readTree(dir_ / "copy"), (Tree{{"unlisted", "x"}, {"unsized", "x"}}));
  EXPECT_EQ(printed_.str(), "");
}

TEST_F(RemoveDamagedTest, LeavesTheStampOfAWholeCopy) {
  writeFile(copy("id.txt"), "stamp");
  writeFile(copy("a"), "abc");
  EXPECT_TRUE(remove({{"a", 3, "a", kDigestOfAbc}}));
  EXPECT_EQ(readTree(dir_ / "copy"), (Tree{{"id.txt", "stamp"}, {"a", "abc"}}));
  EXPECT_EQ(printed_.str(), "");
}

TEST_F(RemoveDamagedTest, TakesAStampOfAWholeCopyThatHoldsNothing) {
  writeFile(copy("id.txt"), "");
  writeFile(copy("a"), "abc");
  EXPECT_TRUE(remove({{"a", 3}}));
  EXPECT_EQ(readTree(dir_ / "copy"), (Tree{{"a", "abc"}}));
}

TEST_F(RemoveDamagedTest, NeedsNoLocalCopy) {
  EXPECT_TRUE(remove({{"a", 1}}));
  EXPECT_TRUE(fs::is_empty(dir_.path()));
}

TEST_F(RemoveDamagedTest, RemovesAFileOnceThatIsListedTwice) {
  writeFile(copy("a"), "x");
  EXPECT_TRUE(remove({{"a", 2}, {"a", 3}}));
  EXPECT_EQ(printed_.str(), "Removed \"a\"\n");
}

TEST_F(RemoveDamagedTest, LeavesFolders) {
  fs::create_directories(fs::u8path(copy("empty")));
  EXPECT_TRUE(remove({{"empty", 5}}));
  EXPECT_TRUE(fs::is_directory(fs::u8path(copy("empty"))));
  EXPECT_EQ(printed_.str(), "mtlsync: warning: \"empty\" is not a regular file; left as it is\n");
}

TEST_F(RemoveDamagedTest, RemovesNothingWhenTheStampWouldStay) {
  fs::create_directories(fs::u8path(copy("id.txt")));
  writeFile(copy("a"), "x");
  EXPECT_FALSE(remove({{"a", 2}}));
  EXPECT_EQ(readFile(copy("a")), "x");
  ASSERT_EQ(problem_.size(), 1U);
  EXPECT_EQ(problem_[0].message, "The stamp \"" + copy("id.txt") + "\" is not a regular file");
}

TEST_F(RemoveDamagedTest, FindsTheStampBelowTheSubPath) {
  options_.subPath = "beta\\x";
  writeFile(copy("id.txt"), "of another library");
  writeFile(copy("beta/x/id.txt"), "stamp");
  EXPECT_TRUE(remove({{"beta/x/missing", 1}}));
  EXPECT_EQ(readTree(dir_ / "copy"), (Tree{{"id.txt", "of another library"}}));
}

TEST_F(RemoveDamagedTest, PrintsHostileNamesHarmlessly) {
  options_.directory = dir_.path().generic_u8string();
  writeFile(dir_ / "a", "x");
  EXPECT_TRUE(remove({{"\x1B/../a", 2}}));
  EXPECT_EQ(printed_.str(), "Removed \"\\x1B/../a\"\n");
}

TEST_F(RemoveDamagedTest, TakesFilesOfAnotherContent) {
  writeFile(copy("right"), "abc");
  writeFile(copy("wrong"), "abd");
  writeFile(copy("unsized"), "abd");
  EXPECT_TRUE(remove({{"right", 3, "right", kDigestOfAbc},
                      {"wrong", 3, "wrong", kDigestOfAbc},
                      {"unsized", std::nullopt, "unsized", kDigestOfAbc}}));
  EXPECT_EQ(readTree(dir_ / "copy"), (Tree{{"right", "abc"}}));
  EXPECT_EQ(printed_.str(), "Removed \"wrong\"\nRemoved \"unsized\"\n");
}

TEST_F(RemoveDamagedTest, RemovesNothingWhenItCannotReadAFile) {
  writeFile(copy("id.txt"), "stamp");
  writeFile(copy("cut"), "a");
  writeFile(copy("closed/unread"), "abc");
  {
    const NoAccess none({fs::u8path(copy("closed/unread"))});
    EXPECT_FALSE(remove({{"cut", 3}, {"closed/unread", 3, "closed/unread", kDigestOfAbc}}));
  }
  ASSERT_EQ(problem_.size(), 2U);
  EXPECT_EQ(problem_[0].message, "Could not look at \"" + copy("closed/unread") + "\"");
  EXPECT_EQ(problem_[1].message, "Permission denied");
  EXPECT_EQ(readTree(dir_ / "copy"),
            (Tree{{"id.txt", "stamp"}, {"cut", "a"}, {"closed/unread", "abc"}}));
}

TEST_F(RemoveDamagedTest, SurvivesSizesThatNothingHas) {
  constexpr std::int64_t kHuge = std::numeric_limits<std::int64_t>::max();
  writeFile(copy("a"), "abc");
  EXPECT_TRUE(remove({{"a", kHuge, "a", kDigestOfAbc},
                      {"b", kHuge, "b", kDigestOfAbc},
                      {"c", kHuge, "c", kDigestOfAbc}}));
  EXPECT_EQ(printed_.str(), "Removed \"a\"\n");
}

TEST_F(RemoveDamagedTest, RemovesNothingWhenStoppedMeanwhile) {
  writeFile(copy("cut"), "a");
  stop_ = true;
  EXPECT_FALSE(remove({{"cut", 3}}));
  EXPECT_TRUE(problem_.empty());
  EXPECT_EQ(readFile(copy("cut")), "a");
}

/// A library with one file that is fetched only when it is missing, and its copy.
class RepairTest : public testing::Test {
 protected:
  RepairTest() {
    publish(
        "[{\"path\":\"maps/a.tx\",\"download\":\"missing\",\"size\":5},"
        "{\"path\":\"b.txt\",\"download\":\"missing\",\"size\":4}]\n");
    server_.serve("/lib/id.txt", "stamp 1");
    server_.serve("/lib/maps/a.tx", "whole");
    server_.serve("/lib/b.txt", "text");
  }

  void publish(const std::string& list) { server_.serve("/lib/filelist.json", list); }
  std::string url() const { return server_.address() + "/lib"; }
  std::string copy(const std::string& name) const { return dir_ / ("copy/" + name); }

  std::vector<std::string> command(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all{MTLSYNC, "--module", MTLSYNC_REAL_MODULE};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
  }
  ProcessResult run(std::vector<std::string> options) const {
    options.insert(options.end(), {"--no-proxy", url(), dir_ / "copy"});
    return runProcess(command(options));
  }

  /// A copy whose stamp is the newest, with one file cut and one gone.
  void makeDamagedCopy() const {
    writeFile(copy("id.txt"), "stamp 1");
    writeFile(copy("maps/a.tx"), "who");
  }
  /// The files of the copy, without the one that runs lock.
  Tree copyTree() const {
    Tree files = readTree(dir_ / "copy");
    files.erase(".mtllib/lock");
    return files;
  }

  const Tree whole_{{"id.txt", "stamp 1"}, {"maps/a.tx", "whole"}, {"b.txt", "text"}};
  const Tree damaged_{{"id.txt", "stamp 1"}, {"maps/a.tx", "who"}};
  TempDir dir_;
  ScriptedServer server_;
};

TEST_F(RepairTest, MakesGoodWhatAnOrdinaryRunLeaves) {
  makeDamagedCopy();
  EXPECT_EQ(run({}).out, "Up to date.\n");
  EXPECT_EQ(copyTree(), damaged_);
  const ProcessResult result = run({"--repair"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.out, MatchesPattern("Updated: 2 files, [0-9]+ bytes in [0-9.]+ s\\.\n"));
  EXPECT_THAT(result.err, testing::StartsWith("Getting file list\n"
                                              "Comparing files\n"
                                              "Removed \"id.txt\"\n"
                                              "Removed \"maps/a.tx\"\n"
                                              "Accessing stamp\n"));
  EXPECT_EQ(copyTree(), whole_);
}

TEST_F(RepairTest, FetchesNothingThatIsWhole) {
  EXPECT_EQ(run({"--repair"}).exitCode, 0);
  EXPECT_EQ(copyTree(), whole_);
  server_.forgetRequests();
  EXPECT_EQ(run({"--repair"}).out, "Up to date.\n");
  EXPECT_EQ(server_.requestLines(),
            (std::vector<std::string>{"GET /lib/filelist.json", "GET /lib/id.txt"}));
  EXPECT_THAT(server_.requests()[0].header("User-Agent"),
              MatchesPattern("mtlsync/[0-9]+\\.[0-9]+\\.[0-9]+"));
}

TEST_F(RepairTest, FetchesAFileAgainThatIsDamagedWithinItsSize) {
  publish("[{\"path\":\"b.txt\",\"download\":\"missing\",\"size\":3,\"sha256\":\"" +
          std::string(kDigestOfAbc) + "\"}]\n");
  server_.serve("/lib/b.txt", "abc");
  writeFile(copy("id.txt"), "stamp 1");
  writeFile(copy("b.txt"), "abd");
  writeFile(copy("mine.txt"), "kept");
  const ProcessResult result = run({"--repair"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.err, HasSubstr("Comparing files: 100 % (3 bytes)\nRemoved \"id.txt\"\n"
                                    "Removed \"b.txt\"\n"));
  EXPECT_EQ(copyTree(), (Tree{{"id.txt", "stamp 1"}, {"b.txt", "abc"}, {"mine.txt", "kept"}}));
}

TEST_F(RepairTest, FailsWhenSomethingStaysWrong) {
  makeDamagedCopy();
  fs::create_directories(fs::u8path(copy("b.txt")));
  ProcessResult result = run({"--repair", "-q"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "mtlsync: error: 1 listed file is not a regular file, \"b.txt\": remove it and repair "
            "again\n");
  EXPECT_EQ(readFile(copy("maps/a.tx")), "whole");
  fs::remove(fs::u8path(copy("maps/a.tx")));
  fs::create_directories(fs::u8path(copy("maps/a.tx")));
  result = run({"--repair", "--json"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.out, HasSubstr("2 listed files are not regular files, the first of them "
                                    "\\\"maps/a.tx\\\": remove them and repair again"));
  EXPECT_THAT(result.out, HasSubstr("\"code\":-1,\"event\":\"result\",\"files\":0,"
                                    "\"status\":\"failed\"}\n"));
}

TEST_F(RepairTest, SaysThatAFileStandsInTheFoldersPlace) {
  writeFile(dir_ / "copy", "mine");
  const ProcessResult result = run({"--repair", "-q"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("already exists, but is not a valid directory"));
  EXPECT_EQ(readFile(dir_ / "copy"), "mine");
}

TEST_F(RepairTest, PrintsNothingWhenQuiet) {
  makeDamagedCopy();
  const ProcessResult result = run({"--repair", "-q"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out + result.err, "");
  EXPECT_EQ(copyTree(), whole_);
}

TEST_F(RepairTest, TellsEachRemovalAsJson) {
  makeDamagedCopy();
  const ProcessResult result = run({"--repair", "--json"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.out, HasSubstr("{\"event\":\"removed\",\"path\":\"id.txt\"}\n"
                                    "{\"event\":\"removed\",\"path\":\"maps/a.tx\"}\n"));
  EXPECT_EQ(result.err, "");
}

TEST_F(RepairTest, HasTheListsSubPathInFrontAndTheStampsBehind) {
  server_.serve("/beta/lib/filelist.json", "[{\"path\":\"beta/a\",\"size\":1}]\n");
  server_.serve("/lib/beta/id.txt", "stamp b");
  server_.serve("/lib/beta/a", "A");
  writeFile(copy("beta/id.txt"), "stamp b");
  writeFile(copy("beta/a"), "cut");
  EXPECT_EQ(run({"--repair", "--sub-path", "beta"}).exitCode, 0);
  EXPECT_EQ(copyTree(), (Tree{{"beta/a", "A"}, {"beta/id.txt", "stamp b"}}));
}

TEST_F(RepairTest, BringsASubPathIntoAFreshFolder) {
  server_.serve("/beta/lib/filelist.json", "[{\"path\":\"beta/a\",\"size\":1}]\n");
  server_.serve("/lib/beta/id.txt", "stamp b");
  server_.serve("/lib/beta/a", "A");
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{}, std::vector<std::string>{"--repair"}}) {
    fs::remove_all(fs::u8path(dir_ / "copy"));
    std::vector<std::string> all = options;
    all.insert(all.end(), {"--sub-path", "beta"});
    EXPECT_EQ(run(all).exitCode, 0);
    EXPECT_EQ(copyTree(), (Tree{{"beta/a", "A"}, {"beta/id.txt", "stamp b"}}));
  }
}

TEST_F(RepairTest, RemovesNothingWithoutAUsableList) {
  makeDamagedCopy();
  const std::string list = " the list \"" + url() + "/filelist.json\"\n  because: ";
  const auto errorWith = [this](const std::string& text) {
    publish(text);
    const ProcessResult result = run({"--repair", "-q"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    return result.err;
  };
  EXPECT_EQ(errorWith(""), "mtlsync: error: Could not use" + list + "it is empty\n");
  EXPECT_EQ(
      errorWith("[{\"path\":\"maps/a.tx\",\"size\":5},{\"path\":\"../x\"}]\n"),
      "mtlsync: error: Could not use" + list + "a path leaves the target directory: \"../x\"\n");
  EXPECT_THAT(errorWith("[{]\n"), HasSubstr("it is not JSON: * Line 1"));
  server_.remove("/lib/filelist.json");
  EXPECT_EQ(run({"--repair", "-q"}).err,
            "mtlsync: error: Could not fetch" + list +
                "unexpected HTTP status 404\n"
                "Check the address: where a library is, there are id.txt and filelist.json.\n");
  EXPECT_EQ(copyTree(), damaged_);
}

TEST_F(RepairTest, RemovesNothingForAnAddressThatIsNone) {
  makeDamagedCopy();
  const ProcessResult result =
      runProcess(command({"-q", "--repair", "ftp://a.example/lib", dir_ / "copy"}));
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err, "mtlsync: error: Could not use the address \"ftp://a.example/lib\"\n");
  EXPECT_EQ(copyTree(), damaged_);
}

TEST_F(RepairTest, RemovesNothingForARunThatCannotBegin) {
  makeDamagedCopy();
  const ProcessResult result = runProcess(
      {MTLSYNC, "--module", MTLSYNC_NO_MODULE, "--repair", "--no-proxy", url(), dir_ / "copy"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_TRUE(server_.requests().empty());
  EXPECT_EQ(copyTree(), damaged_);
}

TEST_F(RepairTest, KeepsToTheLimitsOfTheRun) {
  makeDamagedCopy();
  const ProcessResult result = run({"--repair", "-q", "--max-file-size", "50"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err, "mtlsync: error: a file is larger than 50 bytes (--max-file-size)\n");
  EXPECT_EQ(server_.requestLines(), (std::vector<std::string>{"GET /lib/filelist.json"}));
  EXPECT_EQ(copyTree(), damaged_);
}

/// Runs with limits, of the same library.
using SizeLimitsTest = RepairTest;

TEST_F(SizeLimitsTest, EndARunThroughTheLibrary) {
  const auto errorWith = [this](const std::string& option, const std::string& size) {
    const ProcessResult result = run({"-q", option, size});
    EXPECT_EQ(result.exitCode, 1);
    return result.err;
  };
  EXPECT_EQ(errorWith("--max-file-size", "6"),
            "mtlsync: error: a file is larger than 6 bytes (--max-file-size)\n");
  EXPECT_EQ(server_.requestLines(), (std::vector<std::string>{"GET /lib/id.txt"}));
  // The stamp and the list have 107 bytes together, the files nine more.
  EXPECT_EQ(errorWith("--max-total-size", "106"),
            "mtlsync: error: the files together are larger than 106 bytes (--max-total-size)\n");
  EXPECT_EQ(copyTree(), Tree());
  EXPECT_EQ(run({"--max-total-size", "116", "--max-file-size", "100"}).exitCode, 0);
  EXPECT_EQ(copyTree(), whole_);
}

TEST_F(RepairTest, RemovesNothingWhenInterruptedBefore) {
  makeDamagedCopy();
  server_.hold("/lib/filelist.json");
  ChildProcess program(command({"--repair", "-q", "--no-proxy", url(), dir_ / "copy"}));
  ASSERT_TRUE(server_.waitForRequests(1));
  program.interrupt();
  const ProcessResult result = program.wait();
  EXPECT_EQ(result.exitCode, 130);
  EXPECT_EQ(result.err, "mtlsync: interrupted\n");
  EXPECT_EQ(copyTree(), damaged_);
}

TEST_F(RepairTest, UsesTheProxyOfTheRun) {
  const std::string proxy = "127.0.0.1:" + std::to_string(server_.port());
  const std::string request = "GET http://library.invalid/lib/filelist.json";
  const std::vector<std::string> options{"--repair", "http://library.invalid/lib", dir_ / "copy"};
  runProcess(command(options), {{"http_proxy", "http://" + proxy}, {"no_proxy", ""}});
  EXPECT_THAT(server_.requestLines(), Contains(request));
  server_.forgetRequests();
  std::vector<std::string> explicitly{"--proxy", proxy};
  explicitly.insert(explicitly.end(), options.begin(), options.end());
  runProcess(command(explicitly), {{"http_proxy", "http://127.0.0.1:1"}, {"no_proxy", "*"}});
  EXPECT_THAT(server_.requestLines(), Contains(request));
}

TEST_F(RepairTest, UsesNoProxyWhenTold) {
  const ProcessResult result = runProcess(command({"--repair", "--no-proxy", url(), dir_ / "copy"}),
                                          {{"http_proxy", "http://127.0.0.1:1"}, {"no_proxy", ""}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(copyTree(), whole_);
}

}  // namespace
