// Tests the program with the engine, which is what it uses unless a module is named.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/published_library.h"
#include "support/regex_matchers.h"
#include "support/scripted_server.h"
#include "support/socket.h"
#include "support/temp_dir.h"
#include "update/lock.h"
#include "update/system.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
namespace fs = std::filesystem;

class EngineProgram : public testing::Test {
 protected:
  ProcessResult run(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {MTLSYNC, "--no-proxy"});
    const bool isModule = std::count(options.begin(), options.end(), "--module") > 0;
    if (!isModule) options.insert(options.end(), {"--retries", "0"});
    options.insert(options.end(), {library_.address(), copy_});
    return runProcess(options);
  }
  void runWell(const std::vector<std::string>& options = {}) const {
    const ProcessResult result = run(options);
    ASSERT_EQ(result.exitCode, 0) << result.err;
  }
  /// The events of a run with --json, by their names.
  std::multimap<std::string, Json::Value> eventsOf(std::vector<std::string> options) const {
    options.emplace_back("--json");
    std::multimap<std::string, Json::Value> events;
    std::istringstream lines(run(options).out);
    for (std::string line; std::getline(lines, line);) {
      std::istringstream text(line);
      Json::Value event;
      text >> event;
      events.emplace(event["event"].asString(), event);
    }
    return events;
  }
  std::string copied(const std::string& path) const { return readFile(copy_ + "/" + path); }

  TempDir dir_;
  ScriptedServer server_;
  PublishedLibrary library_{server_, "/lib"};
  const std::string copy_ = dir_ / "copy";
};

TEST_F(EngineProgram, FetchesOnlyWhatChanged) {
  library_.publish("one", {{"a", "a"}, {"b", "b"}});
  ProcessResult result = run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, MatchesPattern("Updated: 2 files, [0-9]+ bytes in [0-9.]+ s\\.\n"));
  library_.publish("two", {{"a", "a"}, {"b", "B"}});
  result = run();
  EXPECT_THAT(result.out, StartsWith("Updated: 1 file, "));
  EXPECT_THAT(server_.requestLines(),
              ElementsAre("GET /lib/id.txt", "GET /lib/filelist.json", "GET /lib/b"));
  EXPECT_EQ(copied("b"), "B");
  result = run();
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "Up to date.\n");
}

TEST_F(EngineProgram, ChecksWithoutWriting) {
  library_.publish("one", {{"a", "a"}});
  EXPECT_EQ(run({"--check"}).exitCode, 100);
  EXPECT_FALSE(fs::exists(fs::u8path(copy_)));
  runWell();
  EXPECT_EQ(run({"--check"}).exitCode, 0);
}

TEST_F(EngineProgram, TellsWhatAnUpdateWouldDo) {
  library_.publish("one", {{"a", "aaa"}, {"b", "b"}});
  const ProcessResult result = run({"--dry-run"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out,
            "fetch   a (3 bytes)\n"
            "fetch   b (1 byte)\n"
            "To fetch: 2 files, 4 bytes.\n"
            "Room: 4 bytes needed.\n");
  EXPECT_FALSE(fs::exists(fs::u8path(copy_)));
  const auto events = eventsOf({"--dry-run"});
  EXPECT_EQ(events.count("file"), 2U);
  EXPECT_EQ(events.find("file")->second["path"].asString(), "a");
  EXPECT_EQ(events.find("file")->second["bytes"].asInt(), 3);
  EXPECT_EQ(events.find("plan")->second["fetched"]["bytes"].asInt(), 4);
  EXPECT_EQ(events.find("result")->second["status"].asString(), "planned");
}

TEST_F(EngineProgram, GivesNamesAndBytesAsFields) {
  library_.publish("one", {{"a", "aaa"}});
  const auto events = eventsOf({});
  ASSERT_EQ(events.count("file"), 1U);
  const Json::Value& file = events.find("file")->second;
  EXPECT_EQ(file["kind"].asString(), "fetched");
  EXPECT_EQ(file["path"].asString(), "a");
  EXPECT_EQ(file["bytes"].asInt(), 3);
  const Json::Value& changes = events.find("changes")->second;
  EXPECT_TRUE(changes["changed"].asBool());
  EXPECT_EQ(changes["fetched"]["bytes"].asInt(), 3);
  const Json::Value& result = events.find("result")->second;
  EXPECT_EQ(result["files"].asInt(), 1);
  EXPECT_EQ(result["status"].asString(), "updated");
}

TEST_F(EngineProgram, PrunesWhenAskedAndMostOfACopyWhenAskedTwice) {
  library_.publish("one", {{"a", "a"}, {"b", "b"}, {"c", "c"}});
  runWell();
  library_.publish("two", {{"a", "a"}, {"b", "b"}});
  runWell();
  EXPECT_EQ(copied("c"), "c");
  runWell({"--prune"});
  EXPECT_FALSE(fs::exists(fs::u8path(copy_ + "/c")));
  library_.publish("three", {});
  const ProcessResult refused = run({"--prune"});
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_THAT(refused.err, HasSubstr("More than half of the copy would be removed"));
  EXPECT_THAT(refused.err,
              EndsWith("\nIf that is intended, allow most of the copy to be removed.\n"));
  runWell({"--prune-most"});
  EXPECT_FALSE(fs::exists(fs::u8path(copy_ + "/a")));
}

TEST_F(EngineProgram, TellsWhatBecameOfTheFilesItDidNotFetch) {
  library_.publish("one", {{"a", "a"}, {"b", "bb"}});
  runWell();
  library_.publish("two", {{"a", "a"}, {"c", "a"}});
  ProcessResult result = run({"-v"});
  EXPECT_THAT(result.out,
              MatchesPattern("Updated: 0 files, [0-9]+ bytes in [0-9.]+ s\\.\n"
                             "Copied: 1 file, 1 byte\\.\n"
                             "No longer of the library: 1 file, 2 bytes; --prune removes "
                             "what is\\.\n"
                             "Files put in their places in [0-9.]+ ms\\.\n"));
  result = run({"--prune"});
  EXPECT_THAT(result.out, MatchesPattern("Updated: 0 files, [0-9]+ bytes in [0-9.]+ s\\.\n"
                                         "Removed: 1 file, 2 bytes\\.\n"));
  result = run({"--prune"});
  EXPECT_EQ(result.out, "Up to date.\n");
  EXPECT_EQ(result.err, "Accessing stamp\nGetting file list\nComparing files\nReplacing files\n");
}

TEST_F(EngineProgram, MakesNoFolderForALogInPage) {
  const std::string page = "<!DOCTYPE html><title>Log in</title>\n";
  for (const char* name : {"/lib/id.txt", "/lib/filelist.json"})
    server_.serve(name, page);
  const ProcessResult result = run({"-q"});
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, StartsWith("mtlsync: error: The file " + library_.address() +
                                     "/filelist.json cannot be used: it is a web page, "));
  EXPECT_THAT(result.err, HasSubstr("\nCheck the address: what answers there is not a library, but "
                                    "perhaps a network's log-in page.\n"));
  EXPECT_FALSE(fs::exists(fs::u8path(copy_)));
}

TEST_F(EngineProgram, FetchesEverythingWhenAsked) {
  library_.publish("one", {{"a", "a"}, {"b", "b"}});
  runWell();
  server_.forgetRequests();
  runWell({"--full"});
  EXPECT_EQ(server_.requestLines().size(), 4U);
}

TEST_F(EngineProgram, VerifiesWithoutTheLibraryAndRepairs) {
  library_.publish("one", {{"a", "a"}, {"b", "b"}});
  runWell();
  writeFile(copy_ + "/a", "x");
  writeFile(copy_ + "/mine", "x");
  server_.forgetRequests();
  const ProcessResult verified = runProcess({MTLSYNC, "-q", "--verify", copy_});
  EXPECT_EQ(verified.exitCode, 7) << verified.err;
  EXPECT_EQ(verified.out,
            "a: has another content than in the library\n"
            "mine: is not of the library\n");
  EXPECT_THAT(server_.requestLines(), IsEmpty());
  runWell({"--repair"});
  EXPECT_EQ(copied("a"), "a");
  EXPECT_THAT(server_.requestLines(),
              ElementsAre("GET /lib/id.txt", "GET /lib/filelist.json", "GET /lib/a"));
  fs::remove(fs::u8path(copy_ + "/mine"));
  const ProcessResult whole = runProcess({MTLSYNC, "--verify", copy_});
  EXPECT_EQ(whole.exitCode, 0);
  EXPECT_EQ(whole.out, "As listed: 2 files.\n");
}

TEST_F(EngineProgram, VerifiesACopyOfTheModuleWithTheLibrary) {
  library_.publish("one", {{"a", "a"}, {"b", "b"}});
  ASSERT_EQ(run({"--module", MTLSYNC_REAL_MODULE}).exitCode, 0);
  writeFile(copy_ + "/b", "x");
  const ProcessResult alone = runProcess({MTLSYNC, "-q", "--verify", copy_});
  EXPECT_EQ(alone.exitCode, 2);
  EXPECT_THAT(alone.err, HasSubstr("no update of this folder has stored its list"));
  const ProcessResult result = run({"-q", "--verify"});
  EXPECT_EQ(result.exitCode, 7) << result.err;
  EXPECT_EQ(result.out, "b: has another content than in the library\n");
  runWell({"--repair"});
  EXPECT_EQ(copied("b"), "b");
}

TEST_F(EngineProgram, ASubPathThatLeavesTheLibraryIsWrongUsage) {
  const ProcessResult result = run({"-q", "--sub-path", "../other"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err,
            "mtlsync: error: The sub-path \"../other\" does not stay in the library.\n");
  EXPECT_EQ(run({"--module", dir_ / "none"}).exitCode, 1) << "a fault of the installation";
}

TEST_F(EngineProgram, SaysByItsExitStatusWhatFailed) {
  library_.publish("one", {{"a", "a"}});
  server_.remove("/lib/id.txt");
  ProcessResult result = run();
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_EQ(result.err,
            "Accessing stamp\nmtlsync: error: Could not fetch " + library_.address() +
                "/id.txt: the server answered with HTTP status 404: there is no such file.\n"
                "Check the address: a library has the files id.txt and filelist.json there.\n");
  EXPECT_FALSE(fs::exists(fs::u8path(copy_))) << "a wrong address makes no folder";

  library_.publish("one", {{"a", "a"}});
  server_.serve("/lib/a", "b");
  result = run({"-q"});
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err,
              StartsWith("mtlsync: error: The file " + library_.address() + "/a cannot "));
  EXPECT_THAT(result.err, EndsWith("\nTry again later: the library may be being published right "
                                   "now. If that does not help, report this to the publisher.\n"));
  EXPECT_EQ(run({"--max-file-size", "1"}).exitCode, 5);

  library_.publish("two", {{"a", "aa"}});
  result = run({"-q", "--max-file-size", "1"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err, "mtlsync: error: \"" + copy_ +
                            "/a\" is larger than allowed: 2 bytes, not 1 at most.\n"
                            "If that much is expected, raise the limit in the settings.\n");

  mtlupdate::Folder folder;
  ASSERT_FALSE(folder.open(copy_, true));
  {
    mtlupdate::Lock lock;
    ASSERT_FALSE(lock.take(folder));
    result = run({"-q"});
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_THAT(result.err, HasSubstr("/copy\": another run is using this folder"));
    EXPECT_THAT(
        result.err,
        EndsWith("\nTry again when the other run has finished, or let this one wait for it.\n"));
  }
  writeFile(dir_ / "file", "no folder");
  result = runProcess({MTLSYNC, "-q", "--no-proxy", library_.address(), dir_ / "file"});
  EXPECT_EQ(result.exitCode, 4);
  EXPECT_THAT(result.err, EndsWith("\nMove away what is there, or choose another folder. Then try "
                                   "again: what has been downloaded is kept.\n"));
  EXPECT_EQ(runProcess({MTLSYNC, "-q", "--no-proxy", "ftp://host/lib", copy_}).exitCode, 2);
}

TEST_F(EngineProgram, GoesOnAtAMirror) {
  library_.publish("one", {{"a", "a"}});
  const Socket taken = Socket::refuseOnLoopback();
  const std::string dead = "http://127.0.0.1:" + std::to_string(taken.port()) + "/lib";
  std::vector<std::string> command{MTLSYNC, "--no-proxy", "--retries", "0", dead, copy_};
  EXPECT_EQ(runProcess(command).exitCode, 3);
  command.insert(command.end(),
                 {"--mirror", dead + "/other", "--mirror", library_.address(), "--json"});
  const ProcessResult result = runProcess(command);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(copied("a"), "a");
  EXPECT_THAT(result.out, HasSubstr("\"source\":\"" + library_.address() + '"'));
}

TEST_F(EngineProgram, NeedsNoModule) {
  library_.publish("one", {{"a", "a"}});
  const fs::path folder = dir_.path() / "bin";
  fs::create_directories(folder);
  const fs::path program = folder / fs::path(MTLSYNC).filename();
  fs::copy_file(MTLSYNC, program);
  fs::copy_file(MTLSYNC_NETWORKING, folder / fs::path(MTLSYNC_NETWORKING).filename());
  const ProcessResult result =
      runProcess({program.u8string(), "-q", "--no-proxy", library_.address(), copy_});
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(EngineProgram, IsInterrupted) {
  library_.publish("one", {{"a", "a"}});
  server_.hold("/lib/a");
  ChildProcess program({MTLSYNC, "--json", "--no-proxy", library_.address(), copy_});
  std::string line;
  do {
    line = program.readLine();
  } while (!line.empty() && line.find("Downloading files") == std::string::npos);
  program.interrupt();
  const ProcessResult result = program.wait();
  EXPECT_EQ(result.exitCode, 130);
  EXPECT_EQ(result.err, "mtlsync: interrupted\n");
}

}  // namespace
