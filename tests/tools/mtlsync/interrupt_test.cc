// Tests what signals, and their counterparts on Windows, do to a run.
#include <gtest/gtest.h>

#include "support/child_process.h"

namespace {

std::vector<std::string> command(const std::vector<std::string>& arguments) {
  std::vector<std::string> all{MTLSYNC, "--module", MTLSYNC_FAKE_MODULE};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return all;
}

/// Reads events up to the one whose line holds `text`.
void awaitEvent(ChildProcess& program, const std::string& text) {
  std::string line;
  do {
    line = program.readLine();
  } while (!line.empty() && line.find(text) == std::string::npos);
  ASSERT_FALSE(line.empty());
}

TEST(Interrupt, EndsTheRunThroughTheLibrary) {
  for (const StopRequest& request : stopRequests()) {
    ChildProcess program(command({"--json", "stall", "dir"}));
    awaitEvent(program, "Waiting");
    program.ask(request);
    const ProcessResult result = program.wait();
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_EQ(result.err, "mtlsync: interrupted\n");
    EXPECT_NE(result.out.find("Told to stop"), std::string::npos);
    EXPECT_NE(result.out.find("Download aborted (1)"), std::string::npos);
    EXPECT_NE(result.out.find("\"status\":\"interrupted\""), std::string::npos);
  }
}

TEST(Interrupt, IsToldEvenWhenQuiet) {
  ChildProcess program(command({"-q", "--json", "stall", "dir"}));
  awaitEvent(program, "Waiting");
  program.interrupt();
  const ProcessResult result = program.wait();
  EXPECT_EQ(result.exitCode, 130);
  EXPECT_EQ(result.err, "mtlsync: interrupted\n");
}

TEST(Interrupt, LeavesTheErrorChainToVerboseRuns) {
  ChildProcess program(command({"-v", "--json", "stall", "dir"}));
  awaitEvent(program, "Waiting");
  program.interrupt();
  EXPECT_EQ(program.wait().err,
            "Waiting\n"
            "Told to stop\n"
            "mtlsync: error: Cancelled.\n"
            "  Could not download remote stamp file [DownloaderImpl::readRemoteIdFile, code -1]\n"
            "  Download aborted (1) [HttpGetter::responseProgressCb, code -1]\n"
            "mtlsync: interrupted\n");
}

TEST(Interrupt, EndsTheProgramAtOnceTheSecondTime) {
  for (const StopRequest& second : stopRequests()) {
    ChildProcess program(command({"--json", "stubborn", "dir"}));
    awaitEvent(program, "Waiting");
    program.interrupt();
    awaitEvent(program, "Told to stop");
    program.ask(second);
    EXPECT_EQ(program.wait(10).exitCode, second.exitCode);
  }
}

}  // namespace
