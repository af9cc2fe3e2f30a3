// Tests the smallest of the examples, which loads the module in the POSIX way.
#include <gmock/gmock.h>

#include "examples/example_fixture.h"

using testing::EndsWith;
using testing::StartsWith;

namespace {

using MinimalHost = Example;

TEST_F(MinimalHost, BringsTheCopyUpToDate) {
  const std::string out = run(command("minimal_host"), 0);
  EXPECT_THAT(out, StartsWith("Accessing stamp\nGetting file list\nDownloading files\n"));
  EXPECT_THAT(out, EndsWith("\nDownloading files (2MB / 2MB)\n"));
  expectCopy();
}

TEST_F(MinimalHost, TellsWhyItFailed) {
  server_.remove("/lib/id.txt");
  EXPECT_EQ(
      run(command("minimal_host"), 1),
      "Accessing stamp\nCould not download remote stamp file\nUnexpected HTTP status (404)\n");
  expectNoStamp();
}

TEST_F(MinimalHost, ShowsNamesOfTheServerHarmlessly) {
  serveHostileName();
  expectHarmless(run(command("minimal_host"), 1));
}

TEST_F(MinimalHost, RefusesWhatIsNoModule) {
  EXPECT_EQ(run(command("minimal_host", NO_MODULE), 2), "");
}

}  // namespace
