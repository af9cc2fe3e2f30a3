// Tests of the examples that use the engine. The one with its own authority is tested with real
// servers.
#include <gmock/gmock.h>

#include "examples/example_fixture.h"
#include "support/published_library.h"

using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class BackgroundCheck : public Example {
 protected:
  std::vector<std::string> closedAfter(const char* seconds) const {
    return engineCommand("background_check",
                         {server_.address() + "/lib", directory_ / "target", seconds});
  }
};

TEST_F(BackgroundCheck, FindsAnUpdate) {
  EXPECT_THAT(run(closedAfter("1000"), 0), EndsWith("drawn.\nAn update is available.\n"));
  EXPECT_EQ(server_.requestLines(), std::vector<std::string>{"GET /lib/id.txt"});
  EXPECT_TRUE(readTree(directory_ / "target").empty());
}

TEST_F(BackgroundCheck, FindsThatTheCopyIsUpToDate) {
  writeFile(directory_ / "target/id.txt", "v1");
  EXPECT_THAT(run(closedAfter("1000"), 0), EndsWith("drawn.\nThe materials are up to date.\n"));
}

TEST_F(BackgroundCheck, LeavesTheWindowFree) {
  server_.hold("/lib/id.txt");
  ChildProcess host(closedAfter("1000"));
  ASSERT_TRUE(server_.waitForRequests(1));
  for (int i = 0; i < 5; ++i)
    EXPECT_THAT(host.readLine(), StartsWith("The window is drawn."));
  server_.release("/lib/id.txt");
  EXPECT_THAT(finish(host, 0), EndsWith("drawn.\nAn update is available.\n"));
}

TEST_F(BackgroundCheck, EndsWithTheWindow) {
  server_.hold("/lib/id.txt");
  EXPECT_THAT(run(closedAfter("1"), 3), EndsWith("The window is closed.\n"));
}

TEST_F(BackgroundCheck, SaysWhyItFailedAndWhatToDo) {
  server_.remove("/lib/id.txt");
  const std::string out = run(closedAfter("1000"), 1);
  EXPECT_THAT(out, HasSubstr("404"));
  EXPECT_THAT(out, HasSubstr(server_.address() + "/lib/id.txt"));
}

class TwoLibraries : public Example {
 protected:
  TwoLibraries() {
    server_.serve("/other/id.txt", "v2");
    server_.serve("/other/filelist.json", R"([{"path":"elm.tx","size":3}])"
                                          "\n");
    server_.serve("/other/elm.tx", "elm");
  }

  std::vector<std::string> bothCommand() const {
    return engineCommand("two_libraries", {server_.address() + "/lib", directory_ / "target",
                                           server_.address() + "/other", directory_ / "other"});
  }

  void expectOther() const {
    EXPECT_EQ(readFile(directory_ / "other/id.txt"), "v2");
    EXPECT_EQ(readFile(directory_ / "other/elm.tx"), "elm");
  }
};

TEST_F(TwoLibraries, AreBroughtUpToDateAtOnce) {
  server_.hold("/lib/maps/oak.tx");
  server_.hold("/other/elm.tx");
  ChildProcess host(bothCommand());
  // Stamp, list and file of both, before either of them can end.
  EXPECT_TRUE(server_.waitForRequests(6));
  server_.release("/lib/maps/oak.tx");
  server_.release("/other/elm.tx");
  const std::string out = finish(host, 0);
  EXPECT_THAT(out, HasSubstr((directory_ / "target") + ": Up to date.\n"));
  EXPECT_THAT(out, HasSubstr((directory_ / "other") + ": Up to date.\n"));
  expectCopy();
  expectOther();
}

TEST_F(TwoLibraries, DoNotDisturbEachOther) {
  server_.remove("/lib/id.txt");
  const std::string out = run(bothCommand(), 1);
  EXPECT_THAT(out, HasSubstr("404"));
  EXPECT_THAT(out, HasSubstr((directory_ / "other") + ": Up to date.\n"));
  expectNoStamp();
  expectOther();
}

class ReloadHost : public Example {
 protected:
  /// What it prints when its scene uses these files of the library.
  std::string reload(const std::vector<std::string>& scene, int exitCode) const {
    std::vector<std::string> arguments{library_.address(), directory_ / "target"};
    arguments.insert(arguments.end(), scene.begin(), scene.end());
    return run(engineCommand("reload_host", arguments), exitCode);
  }

  PublishedLibrary library_{server_, "/lib"};
};

TEST_F(ReloadHost, LoadsWhatHasChangedAndIsUsed) {
  library_.publish("v1", {{"oak.tx", "oak"}, {"maps/elm.tx", "elm"}, {"fir.tx", "fir"}});
  EXPECT_THAT(reload({"maps/elm.tx", "oak.tx"}, 0),
              AnyOf("Loaded maps/elm.tx: 3 bytes\nLoaded oak.tx: 3 bytes\n",
                    "Loaded oak.tx: 3 bytes\nLoaded maps/elm.tx: 3 bytes\n"));
  EXPECT_EQ(reload({"maps/elm.tx", "oak.tx"}, 0), "");
  library_.publish("v2",
                   {{"oak.tx", "oak"}, {"maps/elm.tx", "elm, grown"}, {"fir.tx", "fir tree"}});
  EXPECT_EQ(reload({"maps/elm.tx", "oak.tx"}, 0), "Loaded maps/elm.tx: 10 bytes\n");
}

TEST_F(ReloadHost, DropsWhatWasRemoved) {
  library_.publish("v1", {{"oak.tx", "oak"}, {"elm.tx", "elm"}, {"fir.tx", "fir"}});
  reload({"oak.tx"}, 0);
  library_.publish("v2", {{"oak.tx", "oak"}, {"fir.tx", "fir"}});
  EXPECT_EQ(reload({"elm.tx", "oak.tx"}, 0), "Dropped elm.tx\n");
  EXPECT_EQ(readTree(directory_ / "target").count("elm.tx"), 0U);
}

TEST_F(ReloadHost, LoadsNothingAfterAFailureThatChangedNothing) {
  library_.publish("v1", {{"oak.tx", "oak"}, {"elm.tx", "elm"}});
  server_.remove("/lib/elm.tx");
  const std::string out = reload({"oak.tx"}, 1);
  EXPECT_THAT(out, HasSubstr("404"));
  EXPECT_EQ(out.find("Loaded"), out.npos) << out;
}

}  // namespace
