// Tests whole checks and runs with the real module and a server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <optional>
#include <thread>

#include "mtlhost/library.h"
#include "recording_observer.h"
#include "support/promptly.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace mtlhost {
namespace {

using Clock = std::chrono::steady_clock;
using Status = Result::Status;
using std::chrono::milliseconds;

class SynchronisationTest : public testing::Test {
 protected:
  SynchronisationTest() {
    server_.serve("/lib/id.txt", "v1");
    server_.serve("/lib/filelist.json", R"([{"path":"a.tx","size":3000000}])"
                                        "\n");
    server_.serve("/lib/a.tx", std::string(3000000, 'a'));
  }

  Settings settingsFor(const std::string& targetDirectory) const {
    Settings settings;
    settings.moduleFile = MTLLIB_MODULE;
    settings.remoteAddress = server_.address() + "/lib";
    settings.targetDirectory = targetDirectory;
    settings.proxyMode = PROXY_MODE_DISABLED;
    return settings;
  }

  Library open(Observer& observer, const std::string& target = "target") {
    Errors problem;
    return Library::open(settingsFor(directory_ / target), observer, problem).value();
  }

  /// The library of a sub-path, whose list the module asks for elsewhere than for its stamp.
  void publishBeta() {
    server_.serve("/lib/beta/x/id.txt", "v2");
    for (const char* list : {"/beta/x/lib/filelist.json", "//beta/x/lib/filelist.json"})
      server_.serve(list, "[]\n");
  }
  Library openBeta(const std::string& target, const std::string& subPath) {
    Settings settings = settingsFor(directory_ / target);
    settings.subPath = subPath;
    Errors problem;
    return Library::open(settings, observer_, problem).value();
  }

  /// Runs in `folder`, with a target directory that is relative to it.
  Result runIn(const std::string& folder, const std::string& target) {
    const auto before = std::filesystem::current_path();
    std::filesystem::create_directories(std::filesystem::u8path(directory_ / folder));
    std::filesystem::current_path(std::filesystem::u8path(directory_ / folder));
    Errors problem;
    const Result result = Library::open(settingsFor(target), observer_, problem)->run();
    std::filesystem::current_path(before);
    return result;
  }

  /// Cancels, from another thread, what waits for `path`.
  void expectPromptCancel(const std::string& path, Result (Library::*call)()) {
    server_.hold(path);
    Library library = open(observer_);
    expectPromptly([&] {
      server_.forgetRequests();
      std::future<Clock::time_point> cancelled = std::async(std::launch::async, [&] {
        while (!testing::Value(server_.requestLines(), testing::Contains("GET " + path)))
          std::this_thread::sleep_for(milliseconds(1));
        const Clock::time_point begin = Clock::now();
        library.cancel();
        return begin;
      });
      const Result result = (library.*call)();
      const Clock::time_point end = Clock::now();
      EXPECT_EQ(result.status, Status::kCancelled);
      EXPECT_EQ(result.errors.back().message, "Download aborted (1)");
      return end - cancelled.get();
    });
    server_.release(path);
    EXPECT_EQ(library.run().status, Status::kDone) << "the next run";
  }

  TempDir directory_;
  ScriptedServer server_;
  RecordingObserver observer_;
};

TEST_F(SynchronisationTest, TakesAFolderAboveTheCurrentOne) {
  EXPECT_EQ(runIn("here/deep", "../../copy").status, Status::kDone);
  EXPECT_EQ(readFile(directory_ / "copy/id.txt"), "v1");
  EXPECT_EQ(readFile(directory_ / "copy/a.tx"), std::string(3000000, 'a'));
  EXPECT_EQ(runIn("here", "deep/../../other").status, Status::kDone);
  EXPECT_EQ(readFile(directory_ / "other/id.txt"), "v1");
}

TEST_F(SynchronisationTest, TakesAFolderBelowTheCurrentOne) {
  EXPECT_EQ(runIn("here", "copy").status, Status::kDone);
  EXPECT_EQ(readFile(directory_ / "here/copy/id.txt"), "v1");
  EXPECT_THAT(observer_.lines, testing::Contains("info: Target directory: \"copy\""));
}

TEST_F(SynchronisationTest, ChecksThenRunsThenIsUpToDate) {
  Library library = open(observer_);
  EXPECT_EQ(library.check().status, Status::kUpdateAvailable);
  EXPECT_TRUE(readTree(directory_ / "target").empty());
  EXPECT_EQ(library.run().status, Status::kDone);
  EXPECT_EQ(readFile(directory_ / "target/id.txt"), "v1");
  EXPECT_EQ(readFile(directory_ / "target/a.tx"), std::string(3000000, 'a'));
  EXPECT_EQ(library.check().status, Status::kDone);
  EXPECT_THAT(observer_.lines,
              testing::IsSupersetOf({"stage: Downloading file \"a.tx\" (3000000 bytes)",
                                     "progress: Getting file list -1 0/-1",
                                     "progress: Downloading files 0 0/3",
                                     "progress: Downloading files 1000 3/3"}));
}

TEST_F(SynchronisationTest, TakesASlashBehindAHost) {
  server_.serve("/id.txt", "v1");
  Settings settings = settingsFor(directory_ / "target");
  settings.remoteAddress = server_.address() + "/";
  Errors problem;
  EXPECT_EQ(Library::open(settings, observer_, problem)->check().status, Status::kUpdateAvailable);
  EXPECT_EQ(server_.requestLines(), std::vector<std::string>{"GET /id.txt"});
}

TEST_F(SynchronisationTest, BringsASubPathIntoAFreshTarget) {
  publishBeta();
  Library library = openBeta("ziel é", "beta/x");
  EXPECT_EQ(library.run().status, Status::kDone);
  EXPECT_EQ(readFile(directory_ / "ziel é/beta/x/id.txt"), "v2");
  server_.forgetRequests();
  EXPECT_EQ(library.run().status, Status::kDone);
  EXPECT_EQ(server_.requestLines(), std::vector<std::string>{"GET /lib/beta/x/id.txt"});
}

TEST_F(SynchronisationTest, MakesNoFolderForACheck) {
  publishBeta();
  EXPECT_EQ(openBeta("target", "beta/x").check().status, Status::kUpdateAvailable);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "target"));
}

TEST_F(SynchronisationTest, MakesNoFolderOutsideOfTheTarget) {
  for (const char* subPath : {"../beta/x", "/../beta/x", "a/../../beta/x", "..\\beta\\x"}) {
    openBeta("target", subPath).run();
    EXPECT_FALSE(std::filesystem::exists(directory_ / "beta")) << subPath;
  }
  publishBeta();
  EXPECT_EQ(openBeta("target", "/beta/x").run().status, Status::kDone);
  EXPECT_EQ(readFile(directory_ / "target/beta/x/id.txt"), "v2");
}

TEST_F(SynchronisationTest, TellsWhyAFolderOfTheSubPathCannotBeMade) {
  publishBeta();
  writeFile(directory_ / "target/beta", "no folder");
  const Result result = openBeta("target", "beta/x").run();
  EXPECT_EQ(result.status, Status::kFailed);
  ASSERT_EQ(result.errors.size(), 2U);
  const std::string folder =
      std::filesystem::u8path(directory_ / "target/beta/x").make_preferred().u8string();
  EXPECT_EQ(result.errors[0].message, "Could not make the folder \"" + folder + '"');
  EXPECT_FALSE(result.errors[1].message.empty());
  EXPECT_TRUE(server_.requests().empty());
}

TEST_F(SynchronisationTest, LeavesItToTheModuleToSayWhyThereIsNoTarget) {
  writeFile(directory_ / "target", "no folder");
  const Result result = openBeta("target", "beta/x").run();
  EXPECT_EQ(result.status, Status::kFailed);
  EXPECT_EQ(result.errors.front().message, "Create download directory failed");
}

TEST_F(SynchronisationTest, TellsTheChainNewestFirst) {
  server_.remove("/lib/id.txt");
  const Result result = open(observer_).run();
  EXPECT_EQ(result.status, Status::kFailed);
  EXPECT_EQ(chainText(result.errors),
            "[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
            "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)");
  EXPECT_EQ(observer_.lines.back(), "error: " + chainText(result.errors));
}

TEST_F(SynchronisationTest, CancelsARunFromAnotherThread) {
  expectPromptCancel("/lib/a.tx", &Library::run);
}

TEST_F(SynchronisationTest, CancelsACheckFromAnotherThread) {
  expectPromptCancel("/lib/id.txt", &Library::check);
}

TEST_F(SynchronisationTest, AsksNoServerWhenCancelledBefore) {
  Library library = open(observer_);
  library.cancel();
  EXPECT_EQ(library.run().status, Status::kCancelled);
  EXPECT_TRUE(server_.requests().empty());
}

TEST_F(SynchronisationTest, EndsByAnException) {
  Library library = open(observer_);
  observer_.onLine = [](const std::string& line) {
    if (line == "progress: Downloading files 0 0/3") throw 42;
  };
  EXPECT_THROW(library.run(), int);
  EXPECT_EQ(readFile(directory_ / "target/id.txt"), "");
  observer_.onLine = [](const std::string&) {};
  EXPECT_EQ(library.run().status, Status::kDone);
}

TEST_F(SynchronisationTest, SeveralLibrariesRunAtOnce) {
  constexpr int kLibraries = 4;
  std::vector<std::future<Status>> results;
  results.reserve(kLibraries);
  for (int i = 0; i < kLibraries; ++i) {
    results.push_back(std::async(std::launch::async, [this, i] {
      RecordingObserver observer;
      Library library = open(observer, "target" + std::to_string(i));
      return library.run().status;
    }));
  }
  for (int i = 0; i < kLibraries; ++i) {
    EXPECT_EQ(results[static_cast<std::size_t>(i)].get(), Status::kDone);
    EXPECT_EQ(readFile(directory_ / ("target" + std::to_string(i) + "/id.txt")), "v1");
  }
}

TEST_F(SynchronisationTest, ALibraryMovesBetweenThreads) {
  std::optional<Library> library = open(observer_);
  EXPECT_EQ(library->check().status, Status::kUpdateAvailable);
  std::future<Status> result = std::async(
      std::launch::async, [moved = std::move(*library)]() mutable { return moved.run().status; });
  EXPECT_EQ(result.get(), Status::kDone);
}

}  // namespace
}  // namespace mtlhost
