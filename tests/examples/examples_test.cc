// Tests that the examples do what they say: when all goes well, when something fails, when they are
// stopped.
#include <gmock/gmock.h>

#include "examples/example_fixture.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

TEST_F(Example, ShowsNamesOfTheServerHarmlessly) {
  serveHostileName();
  expectHarmless(run(command("kit_host"), 1));
  expectHarmless(run(command("progress_host"), 1));
  std::vector<std::string> threaded = command("threaded_host");
  threaded.emplace_back("1000");
  expectHarmless(run(threaded, 1));
}

using KitHost = Example;

TEST_F(KitHost, BringsTheCopyUpToDate) {
  EXPECT_THAT(run(command("kit_host"), 0),
              StartsWith("Accessing stamp\nGetting file list\nDownloading files\n"));
  expectCopy();
}

TEST_F(KitHost, TellsWhyItFailed) {
  server_.remove("/lib/id.txt");
  EXPECT_EQ(
      run(command("kit_host"), 1),
      "Accessing stamp\nCould not download remote stamp file\nUnexpected HTTP status (404)\n");
  expectNoStamp();
}

TEST_F(KitHost, TellsWhyItRefusesWhatIsNoModule) {
  EXPECT_THAT(run(command("kit_host", NO_MODULE), 2), StartsWith("Could not use the module \""));
}

using ProgressHost = Example;

TEST_F(ProgressHost, ShowsTheBarAndBringsTheCopyUpToDate) {
  const std::string out = run(command("progress_host"), 0);
  EXPECT_THAT(out, StartsWith("  (Remote address: \"" + server_.address() + "/lib\")\n"));
  EXPECT_THAT(out, HasSubstr("\n  Creating download directory\n"));
  EXPECT_THAT(out, HasSubstr("\nAccessing stamp\n"));
  // How much of it is there when it is first shown depends on how the bytes arrive.
  EXPECT_THAT(out, HasSubstr("%] Downloading files (0MB / 2MB)\n"));
  EXPECT_THAT(out, HasSubstr("\n[100%] Downloading files (2MB / 2MB)\n"));
  EXPECT_THAT(out, EndsWith("\nUp to date.\n"));
  expectCopy();
}

TEST_F(ProgressHost, ShowsWhatWasDoneAndWhyItFailed) {
  server_.remove("/lib/maps/oak.tx");
  EXPECT_THAT(run(command("progress_host"), 1), EndsWith("\nUnexpected HTTP status (404)\n"));
  server_.remove("/lib/id.txt");
  EXPECT_THAT(run(command("progress_host"), 1),
              EndsWith("\nCould not download remote stamp file: Unexpected HTTP status (404)\n"));
  expectNoStamp();
}

TEST_F(ProgressHost, ShowsAWarningWhenNothingElseIsTold) {
  server_.serve("/lib/filelist.json", "");
  EXPECT_THAT(run(command("progress_host"), 1),
              EndsWith("\nWarning: Incorrect size of json file list (0 bytes)\n"
                       "Incorrect size of json file list (0 bytes)\n"));
}

TEST_F(ProgressHost, EndsARunThatIsInterrupted) {
  server_.hold("/lib/maps/oak.tx");
  ChildProcess host(command("progress_host"));
  ASSERT_TRUE(server_.waitForRequests(3));
  host.interrupt();
  EXPECT_THAT(finish(host, 3), EndsWith("\nCancelled.\n"));
  expectNoStamp();
}

TEST_F(ProgressHost, RefusesWhatIsNoModule) {
  EXPECT_EQ(run(command("progress_host", NO_MODULE), 2), "");
}

class ThreadedHost : public Example {
 protected:
  static std::vector<std::string> within(const char* seconds, std::vector<std::string> command) {
    command.emplace_back(seconds);
    return command;
  }
};

TEST_F(ThreadedHost, BringsTheCopyUpToDate) {
  EXPECT_THAT(run(within("1000", command("threaded_host")), 0), EndsWith("Up to date.\n"));
  expectCopy();
}

TEST_F(ThreadedHost, ShowsHowFarItIs) {
  server_.hold("/lib/maps/oak.tx");
  ChildProcess host(within("1000", command("threaded_host")));
  std::string line = host.readLine();
  while (!line.empty() && line.find("Downloading files") == line.npos)
    line = host.readLine();
  server_.release("/lib/maps/oak.tx");
  EXPECT_THAT(line, StartsWith("Downloading files"));
  EXPECT_THAT(finish(host, 0), EndsWith("Up to date.\n"));
}

TEST_F(ThreadedHost, EndsARunThatTakesTooLong) {
  server_.hold("/lib/maps/oak.tx");
  EXPECT_THAT(run(within("0", command("threaded_host")), 3), EndsWith("\nCancelled.\n"));
  expectNoStamp();
}

TEST_F(ThreadedHost, TellsWhyItFailed) {
  server_.remove("/lib/id.txt");
  EXPECT_THAT(run(within("1000", command("threaded_host")), 1),
              EndsWith("Could not download remote stamp file\nUnexpected HTTP status (404)\n"));
  expectNoStamp();
}

TEST_F(ThreadedHost, TellsWhyItRefusesWhatIsNoModule) {
  EXPECT_THAT(run(within("1000", command("threaded_host", NO_MODULE)), 2),
              StartsWith("Could not use the module \""));
}

}  // namespace
