// Tests what hosts get of the engine, which brings copies up to date unless they ask for the
// module.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mtlhost/library.h"
#include "mtllib/version.h"
#include "recording_observer.h"
#include "support/no_access.h"
#include "support/promptly.h"
#include "support/published_library.h"
#include "support/scripted_server.h"
#include "support/socket.h"
#include "support/temp_dir.h"
#include "update/lock.h"
#include "update/system.h"

namespace mtlhost {
namespace {

using Clock = std::chrono::steady_clock;
using Failure = Result::Failure;
using Files = PublishedLibrary::Files;
using Kind = FileChange::Kind;
using Status = Result::Status;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
namespace fs = std::filesystem;

class EngineTest : public testing::Test {
 protected:
  EngineTest() {
    settings_.remoteAddress = library_.address();
    settings_.targetDirectory = directory_ / "copy";
    settings_.proxyMode = PROXY_MODE_DISABLED;
    settings_.update.tries = 1;
  }

  void publish(const std::string& stamp, const Files& files) { library_.publish(stamp, files); }

  Library open() {
    Errors problem;
    return Library::open(settings_, observer_, problem).value();
  }
  Result run() { return open().run(); }
  void runWell() {
    const Result result = run();
    ASSERT_EQ(result.status, Status::kDone) << chainText(result.errors);
  }
  void expectFailure(Failure failure, const std::string& text) {
    const Result result = run();
    EXPECT_EQ(result.status, Status::kFailed);
    EXPECT_EQ(result.failure, failure);
    EXPECT_EQ(result.code, -1);
    ASSERT_EQ(result.errors.size(), 1U);
    EXPECT_EQ(result.errors[0].tag, "mtlhost");
    EXPECT_THAT(result.errors[0].message, HasSubstr(text));
    EXPECT_EQ(observer_.lines.back(), "error: " + chainText(result.errors));
  }

  std::string copied(const std::string& path) const {
    return readFile(directory_ / "copy/" + path);
  }

  TempDir directory_;
  ScriptedServer server_;
  PublishedLibrary library_{server_, "/lib"};
  RecordingObserver observer_;
  Settings settings_;
};

TEST_F(EngineTest, ChecksThenRunsThenIsUpToDate) {
  publish("one", {{"a.tx", std::string(3000000, 'a')}, {"b/c.tx", "c"}});
  Library library = open();
  const Result check = library.check();
  EXPECT_EQ(check.status, Status::kUpdateAvailable);
  EXPECT_EQ(check.code, 1);
  EXPECT_EQ(check.stamp, "one");
  EXPECT_FALSE(fs::exists(fs::u8path(directory_ / "copy")));

  const Result first = library.run();
  EXPECT_EQ(first.status, Status::kDone);
  EXPECT_EQ(first.code, 0);
  EXPECT_TRUE(first.errors.empty());
  EXPECT_TRUE(first.isChanged);
  EXPECT_EQ(first.stamp, "one");
  EXPECT_EQ(first.fetched.files, 2);
  EXPECT_EQ(first.fetched.bytes, 3000001);
  EXPECT_GT(first.receivedBytes, 3000001);
  EXPECT_THAT(first.changedPaths, ElementsAre("a.tx", "b/c.tx"));
  EXPECT_EQ(copied("id.txt"), "one");
  EXPECT_EQ(copied("a.tx"), std::string(3000000, 'a'));
  EXPECT_EQ(copied("b/c.tx"), "c");

  EXPECT_EQ(library.check().status, Status::kDone);
  server_.forgetRequests();
  const Result second = library.run();
  EXPECT_EQ(second.status, Status::kDone);
  EXPECT_FALSE(second.isChanged);
  EXPECT_THAT(server_.requestLines(), ElementsAre("GET /lib/id.txt"));
  EXPECT_EQ(observer_.lines[observer_.lines.size() - 1],
            "stage: Local and remote stamp files match. Nothing to do.");
}

TEST_F(EngineTest, FetchesWhatHasChanged) {
  publish("one", {{"a", "old"}, {"b", "b"}, {"c", "content"}, {"d", "d"}, {"e", "e"}});
  runWell();
  publish("two", {{"a", "new"}, {"b", "b"}, {"d", "d"}, {"e", "e"}, {"f", "content"}});
  settings_.update.prune = true;
  const Result result = run();
  EXPECT_EQ(result.status, Status::kDone);
  EXPECT_THAT(server_.requestLines(),
              ElementsAre("GET /lib/id.txt", "GET /lib/filelist.json", "GET /lib/a"));
  EXPECT_EQ(result.fetched.files, 1);
  EXPECT_EQ(result.fetched.bytes, 3);
  EXPECT_EQ(result.copied.files, 1);
  EXPECT_EQ(result.copied.bytes, 7);
  EXPECT_EQ(result.removed.files, 1);
  EXPECT_EQ(result.removed.bytes, 7);
  EXPECT_EQ(result.unchanged.files, 3);
  EXPECT_EQ(result.unchanged.bytes, 3);
  EXPECT_THAT(result.changedPaths, ElementsAre("a", "f"));
  EXPECT_THAT(result.removedPaths, ElementsAre("c"));
}

TEST_F(EngineTest, ReportsWithdrawnFilesThatStay) {
  publish("one", {{"a", "a"}, {"b", "bb"}});
  runWell();
  publish("two", {{"a", "a"}});
  const Result result = run();
  EXPECT_EQ(result.withdrawn.files, 1);
  EXPECT_EQ(result.withdrawn.bytes, 2);
  EXPECT_THAT(result.removedPaths, IsEmpty());
  EXPECT_THAT(observer_.lines, Contains("file: withdrawn b 2"));
}

TEST_F(EngineTest, TellsTheObserverWhatTheModuleWould) {
  publish("one", {{"a.tx", std::string(3000000, 'a')}});
  runWell();
  EXPECT_THAT(observer_.lines,
              IsSupersetOf({"info: Remote address: \"" + server_.address() + "/lib\"",
                            "info: Target directory: \"" + directory_ / "copy" + "\"",
                            std::string("info: No HTTP proxy: using direct connection."),
                            std::string("stage: Downloading remote stamp file"),
                            std::string("progress: Accessing stamp -1 0/-1"),
                            std::string("progress: Getting file list -1 0/-1"),
                            std::string("planned: 1 files, 3000000 bytes"), std::string("go on"),
                            std::string("range: 1000"), std::string("begins"),
                            std::string("progress: Downloading files 0 0/3"),
                            std::string("stage: Downloaded file \"a.tx\" (3000000 bytes)"),
                            std::string("file: fetched a.tx 3000000"),
                            std::string("progress: Downloading files 1000 3/3")}));
}

TEST_F(EngineTest, TellsWhichProxyRequestsGoThrough) {
  settings_.proxyMode = PROXY_MODE_EXPLICIT;
  settings_.proxyAddress = "http://127.0.0.1:1";
  run();
  EXPECT_THAT(observer_.lines, Contains("info: HTTP proxy: \"127.0.0.1:1\""));
}

TEST_F(EngineTest, TellsBytesWithTheirTotal) {
  publish("one", {{"a.tx", std::string(3000000, 'a')}});
  struct : Observer {
    void progress(const Progress& progress) override {
      if (progress.text == "Downloading files") last = progress;
    }
    bool shouldContinue(const Transfer& transfer) override {
      received = transfer.totalBytes;
      return true;
    }
    Progress last;
    std::int64_t received = 0;
  } observer;
  Errors problem;
  const Result result = Library::open(settings_, observer, problem)->run();
  EXPECT_EQ(observer.last.bytesTotal, 3000000);
  EXPECT_EQ(observer.last.permille, 1000);
  EXPECT_LE(observer.received, result.receivedBytes);
}

TEST_F(EngineTest, PlansWithoutWriting) {
  publish("one", {{"a", "a"}, {"b", "bb"}, {"c", "bb"}});
  Plan plan;
  const Result result = open().plan(plan);
  EXPECT_EQ(result.status, Status::kUpdateAvailable) << chainText(result.errors);
  EXPECT_EQ(result.stamp, "one");
  EXPECT_EQ(plan.fetched.files, 2);
  EXPECT_EQ(plan.fetched.bytes, 3);
  EXPECT_EQ(plan.copied.files, 1);
  EXPECT_EQ(plan.copied.bytes, 2);
  EXPECT_EQ(plan.spaceNeeded, 5);
  ASSERT_EQ(plan.files.size(), 3U);
  EXPECT_EQ(plan.files[1].kind, Kind::kFetched);
  EXPECT_EQ(plan.files[1].path, "b");
  EXPECT_EQ(plan.files[1].size, 2);
  EXPECT_EQ(plan.files[2].kind, Kind::kCopied);
  EXPECT_FALSE(fs::exists(fs::u8path(directory_ / "copy")));

  runWell();
  EXPECT_EQ(open().plan(plan).status, Status::kDone);
  EXPECT_THAT(plan.files, IsEmpty());
  publish("two", {{"a", "a"}, {"d", "a"}, {"b", "b2"}});
  EXPECT_EQ(open().plan(plan).status, Status::kUpdateAvailable);
  ASSERT_EQ(plan.files.size(), 3U);
  EXPECT_EQ(plan.files[0].path, "b");
  EXPECT_EQ(plan.files[1].path, "d");
  EXPECT_EQ(plan.files[1].source, "a");
  EXPECT_EQ(plan.files[2].kind, Kind::kWithdrawn);
  EXPECT_EQ(plan.files[2].path, "c");
  EXPECT_EQ(plan.replaced.files, 1);
  EXPECT_EQ(plan.withdrawn.bytes, 2);
}

TEST_F(EngineTest, TellsHowMuchItHasVerified) {
  publish("one", {{"a", std::string(3000000, 'a')}, {"b", "b"}});
  runWell();
  observer_.lines.clear();
  EXPECT_EQ(open().verify().status, Status::kDone);
  EXPECT_THAT(observer_.lines, IsSupersetOf({"progress: Comparing files 0 0/3",
                                             "progress: Comparing files 1000 3/3", "ends"}));
}

TEST_F(EngineTest, VerifiesWithoutANetworkAndRepairsOnlyWhatIsWrong) {
  publish("one", {{"a", "a"}, {"b", "b"}, {"c", "c"}});
  runWell();
  EXPECT_EQ(open().verify().status, Status::kDone);
  writeFile(directory_ / "copy/a", "x");
  fs::remove(fs::u8path(directory_ / "copy/b"));
  writeFile(directory_ / "copy/c", "cc");
  writeFile(directory_ / "copy/extra", "");
  server_.forgetRequests();
  const Result verified = open().verify();
  EXPECT_EQ(verified.status, Status::kDifferent);
  ASSERT_EQ(verified.differences.size(), 4U);
  EXPECT_EQ(verified.differences[0].kind, Difference::Kind::kDamaged);
  EXPECT_EQ(verified.differences[0].path, "a");
  EXPECT_EQ(verified.differences[1].kind, Difference::Kind::kMissing);
  EXPECT_EQ(verified.differences[2].kind, Difference::Kind::kWrongSize);
  EXPECT_EQ(verified.differences[3].kind, Difference::Kind::kExtra);
  EXPECT_EQ(verified.compared.files, 1);
  EXPECT_THAT(server_.requestLines(), IsEmpty());

  const Result repaired = open().repair();
  EXPECT_EQ(repaired.status, Status::kDone);
  EXPECT_EQ(repaired.fetched.files, 3);
  EXPECT_THAT(repaired.changedPaths, ElementsAre("a", "b", "c"));
  EXPECT_EQ(copied("a"), "a");
}

TEST_F(EngineTest, SaysWhyAFileCannotBeRead) {
  publish("one", {{"a", "a"}});
  runWell();
  const NoAccess closed({fs::u8path(directory_ / "copy/a")});
  const Result verified = open().verify();
  EXPECT_EQ(verified.status, Status::kDifferent);
  ASSERT_EQ(verified.differences.size(), 1U);
  EXPECT_EQ(verified.differences[0].kind, Difference::Kind::kUnreadable);
  EXPECT_NE(verified.differences[0].reason, "");
}

TEST_F(EngineTest, ReportsThatTheServerHasNoLibrary) {
  expectFailure(Failure::kNetwork, server_.address() + "/lib/id.txt: ");
  EXPECT_FALSE(fs::exists(fs::u8path(directory_ / "copy")));
}

TEST_F(EngineTest, ReportsAContentThatWasNotPublished) {
  publish("one", {{"a", "a"}});
  server_.serve("/lib/a", "b");
  expectFailure(Failure::kContent, "/lib/a: ");
  EXPECT_EQ(copied("a"), "");
}

TEST_F(EngineTest, ReportsAFileInThePlaceOfTheFolder) {
  publish("one", {{"a", "a"}});
  writeFile(directory_ / "copy", "no folder");
  expectFailure(Failure::kDisk, directory_ / "copy");
}

TEST_F(EngineTest, ReportsAnAddressThatIsNone) {
  settings_.remoteAddress = "ftp://host/lib";
  expectFailure(Failure::kUsage, "ftp://host/lib: ");
}

TEST_F(EngineTest, ReportsAFileBeyondTheLimit) {
  publish("one", {{"a", "aa"}});
  settings_.update.largestFile = 1;
  expectFailure(Failure::kLimit, "a: is larger than allowed");
}

TEST_F(EngineTest, PlansTheRemovalOfWhatIsInTheWay) {
  publish("one", {{"a", "aa"}, {"b", "b"}});
  runWell();
  publish("two", {{"a/c", "cc"}});
  Plan plan;
  EXPECT_EQ(open().plan(plan).status, Status::kUpdateAvailable);
  EXPECT_EQ(plan.removed.files, 1);
  EXPECT_EQ(plan.removed.bytes, 2);
  EXPECT_EQ(plan.withdrawn.files, 1);
  EXPECT_EQ(plan.withdrawn.bytes, 1);
  const Result result = run();
  EXPECT_EQ(result.status, Status::kDone);
  EXPECT_THAT(result.removedPaths, ElementsAre("a"));
}

TEST_F(EngineTest, FailsForWhatSomethingElseLiesInThePlaceOf) {
  publish("one", {{"a", "a"}, {"b", "b"}});
  fs::create_directories(fs::u8path(directory_ / "copy/a"));
  publish("one", {{"a", "a"}, {"b", "b"}, {"c", "c"}});
  fs::create_directories(fs::u8path(directory_ / "copy/c"));
  expectFailure(Failure::kDisk, "/copy/a: its place is taken by a folder");
  EXPECT_THAT(observer_.lines,
              IsSupersetOf({"warning: Skipped \"c\": its place is taken by a folder",
                            "file: skipped a -1 its place is taken by a folder"}));
  EXPECT_THAT(observer_.lines,
              Not(Contains("warning: Skipped \"a\": its place is taken by a folder")))
      << "the failure says so";
  EXPECT_EQ(copied("b"), "b");
  EXPECT_FALSE(fs::exists(fs::u8path(directory_ / "copy/id.txt")));
}

TEST_F(EngineTest, RefusesASubPathThatLeavesTheLibrary) {
  for (const char* subPath : {"..", "../beta", "a/../.."}) {
    settings_.subPath = subPath;
    Errors problem;
    EXPECT_FALSE(Library::open(settings_, observer_, problem)) << subPath;
    EXPECT_FALSE(problem.empty());
  }
}

TEST_F(EngineTest, NeedsAFolder) {
  settings_.targetDirectory = "";
  Errors problem;
  EXPECT_FALSE(Library::open(settings_, observer_, problem));
  EXPECT_EQ(chainText(problem), "[mtlhost] -1: No folder is named for the copy");
}

TEST_F(EngineTest, BringsASubPathIntoAFreshTarget) {
  server_.serve("/lib/beta/x/id.txt", "v2");
  server_.serve("/beta/x/lib/filelist.json", "[]\n");
  for (const char* subPath : {"beta/x", "/beta/x"}) {
    settings_.subPath = subPath;
    settings_.targetDirectory = directory_ / "copy" + std::to_string(settings_.subPath.size());
    runWell();
    EXPECT_EQ(readFile(settings_.targetDirectory + "/beta/x/id.txt"), "v2");
  }
}

TEST_F(EngineTest, IsCancelledFromAnotherThread) {
  publish("one", {{"a", "a"}});
  const std::vector<std::pair<std::string, Result (Library::*)()>> held{
      {"/lib/id.txt", &Library::check}, {"/lib/id.txt", &Library::run}, {"/lib/a", &Library::run}};
  for (const auto& [path, call] : held) {
    server_.hold(path);
    expectPromptly([&, path = path, call = call] {
      server_.forgetRequests();
      Library library = open();
      std::future<Clock::time_point> cancelled = std::async(std::launch::async, [&] {
        while (!testing::Value(server_.requestLines(), Contains("GET " + path)))
          std::this_thread::sleep_for(milliseconds(1));
        const Clock::time_point begin = Clock::now();
        library.cancel();
        return begin;
      });
      const Result result = (library.*call)();
      const Clock::time_point end = Clock::now();
      EXPECT_EQ(result.status, Status::kCancelled);
      EXPECT_EQ(result.failure, Failure::kNone);
      EXPECT_FALSE(result.errors.empty());
      return end - cancelled.get();
    });
    server_.release(path);
  }
  runWell();
}

TEST_F(EngineTest, IsCancelledByTheObserver) {
  publish("one", {{"a", "a"}});
  observer_.answer = [](const Transfer&) { return false; };
  EXPECT_EQ(run().status, Status::kCancelled);
}

TEST_F(EngineTest, AsksNoServerWhenCancelledBefore) {
  publish("one", {});
  Library library = open();
  library.cancel();
  EXPECT_EQ(library.run().status, Status::kCancelled);
  EXPECT_THAT(server_.requestLines(), IsEmpty());
  EXPECT_EQ(library.run().status, Status::kDone);
}

TEST_F(EngineTest, EndsByAnException) {
  publish("one", {{"a", "a"}});
  for (const std::string thrower :
       {"stage: Downloading remote stamp file", "planned: 1 files, 1 bytes", "go on"}) {
    Library library = open();
    observer_.onLine = [&](const std::string& line) {
      if (line == thrower) throw 42;
    };
    EXPECT_THROW(library.run(), int) << thrower;
    EXPECT_EQ(observer_.lines.back(), thrower) << "was told more";
    EXPECT_EQ(copied("id.txt"), "");
  }
  observer_.onLine = [](const std::string&) {};
  runWell();
}

TEST_F(EngineTest, GoesOnWhereARunWasCut) {
  publish("one", {{"a", "a"}, {"b", "b"}});
  server_.hold("/lib/b");
  Library library = open();
  observer_.onLine = [&](const std::string& line) {
    if (line == "file: fetched a 1") library.cancel();
  };
  EXPECT_EQ(library.run().status, Status::kCancelled);
  observer_.onLine = [](const std::string&) {};
  server_.release("/lib/b");
  server_.forgetRequests();
  runWell();
  EXPECT_THAT(server_.requestLines(), testing::Not(Contains("GET /lib/a")));
}

TEST_F(EngineTest, TakesTurnsWithTheModule) {
  publish("one", {{"a", "a"}});
  runWell();
  publish("two", {{"a", "A"}, {"b", "b"}});
  settings_.moduleFile = MTLLIB_MODULE;
  const Result result = run();
  EXPECT_EQ(result.status, Status::kDone);
  EXPECT_TRUE(result.isChanged);
  EXPECT_EQ(result.fetched.files, 2);
  settings_.moduleFile.clear();
  publish("three", {{"a", "A"}, {"b", "B"}});
  runWell();
  EXPECT_THAT(server_.requestLines(),
              ElementsAre("GET /lib/id.txt", "GET /lib/filelist.json", "GET /lib/b"));
  EXPECT_EQ(copied("a"), "A");
  EXPECT_EQ(copied("b"), "B");
}

TEST_F(EngineTest, AloneCanPlanVerifyAndRepair) {
  settings_.usesModule = true;
  Library library = open();
  Plan plan;
  for (const Result& result : {library.plan(plan), library.verify(), library.repair()}) {
    EXPECT_EQ(result.status, Status::kFailed);
    EXPECT_EQ(result.failure, Failure::kUsage);
    EXPECT_FALSE(result.errors.empty());
  }
}

TEST_F(EngineTest, NamesItselfAndItsVersionToServers) {
  publish("one", {{"a", "a"}});
  runWell();
  for (const ServerRequest& request : server_.requests())
    EXPECT_EQ(request.header("User-Agent"), "mtllib/" MTLLIB_VERSION);
  EXPECT_STREQ(version(), MTLLIB_VERSION);
}

TEST_F(EngineTest, GoesOnAtAMirrorAndSaysSo) {
  publish("one", {{"a", "a"}});
  const Socket dead = Socket::refuseOnLoopback();
  settings_.remoteAddress = "http://127.0.0.1:" + std::to_string(dead.port()) + "/lib";
  settings_.mirrors = {library_.address()};
  std::string source;
  observer_.onFile = [&](const FileChange& change) { source = change.source; };
  runWell();
  EXPECT_EQ(copied("a"), "a");
  EXPECT_EQ(source, library_.address());
  EXPECT_THAT(observer_.lines, Contains("info: Mirror: \"" + library_.address() + '"'));
  EXPECT_THAT(observer_.lines,
              Contains(AllOf(HasSubstr("warning: " + settings_.remoteAddress + "/id.txt: "),
                             HasSubstr("; trying \"" + library_.address() + "\" instead"))));
}

TEST_F(EngineTest, FailsForTheNetworkWhenNoAddressAnswers) {
  const Socket dead = Socket::refuseOnLoopback();
  settings_.remoteAddress = "http://127.0.0.1:" + std::to_string(dead.port()) + "/lib";
  settings_.mirrors = {settings_.remoteAddress + "/other"};
  expectFailure(Failure::kNetwork, "none of 2 addresses has it at the moment");
}

TEST_F(EngineTest, RefusesAMirrorThatIsNotAnAddress) {
  publish("one", {{"a", "a"}});
  settings_.mirrors = {"gopher://b.example/lib"};
  expectFailure(Failure::kUsage, "gopher://b.example/lib: not an address of http or https");
  EXPECT_THAT(server_.requests(), IsEmpty());
}

TEST_F(EngineTest, LeavesMirrorsToTheEngine) {
  settings_.mirrors = {library_.address()};
  settings_.usesModule = true;
  Errors problem;
  EXPECT_FALSE(Library::open(settings_, observer_, problem));
  EXPECT_THAT(chainText(problem), HasSubstr("the module knows one address"));
}

/// Both ways to keep a copy.
class OneAtATime : public EngineTest, public testing::WithParamInterface<bool> {
 protected:
  OneAtATime() {
    settings_.usesModule = GetParam();
    publish("one", {});
    EXPECT_FALSE(folder_.open(settings_.targetDirectory, true));
    EXPECT_FALSE(lock_->take(folder_));
  }

  mtlupdate::Folder folder_;
  std::optional<mtlupdate::Lock> lock_{std::in_place};
};

TEST_P(OneAtATime, ASecondRunFailsAtOnceAndNamesTheProcess) {
  const Result result = run();
  EXPECT_EQ(result.status, Status::kFailed);
  EXPECT_EQ(result.failure, Failure::kAnotherRun);
  EXPECT_THAT(chainText(result.errors), HasSubstr("another run is using this folder"));
  EXPECT_THAT(server_.requestLines(), IsEmpty());
  lock_.reset();
  EXPECT_EQ(run().status, Status::kDone);
}

TEST_P(OneAtATime, ASecondRunWaitsWhenAsked) {
  settings_.update.waitsForOthers = true;
  observer_.onLine = [&](const std::string& line) {
    if (line.rfind("waiting", 0) == 0) lock_.reset();
  };
  EXPECT_EQ(run().status, Status::kDone);
}

TEST_P(OneAtATime, AWaitIsCancelled) {
  settings_.update.waitsForOthers = true;
  observer_.answer = [](const Transfer&) { return false; };
  EXPECT_EQ(run().status, Status::kCancelled);
}

TEST_P(OneAtATime, AWaitEndsByAnException) {
  settings_.update.waitsForOthers = true;
  observer_.onLine = [](const std::string& line) {
    if (line.rfind("waiting", 0) == 0) throw 42;
  };
  EXPECT_THROW(run(), int);
}

INSTANTIATE_TEST_SUITE_P(Ways, OneAtATime, testing::Bool(),
                         [](const auto& way) { return way.param ? "Module" : "Engine"; });

}  // namespace
}  // namespace mtlhost
