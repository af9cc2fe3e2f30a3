// Signals that whoever started the program had it ignore, as shells do for a job in the
// background: Windows has none.
#include "mtlpublish/system.h"

#include <gtest/gtest.h>

#include <csignal>

#include "support/signal_masks.h"

namespace {

TEST(EndWhenInterrupted, LeavesIgnoredSignalsIgnored) {
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGTERM, SIG_DFL);
  mtlpublish::endWhenInterrupted();
  EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_IGN);
  EXPECT_NE(std::signal(SIGTERM, SIG_DFL), SIG_DFL) << "which was not ignored";
}

TEST(IgnoredSignals, StayIgnoredByTheServer) {
  const TempDir dir;
  ChildProcess server(ignoring("INT TERM HUP", {MTLPUBLISH, "serve", "-q", dir / ""}));
  const std::string process = server.readLine();
  EXPECT_NE(server.readLine().find("Serving "), std::string::npos);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    EXPECT_TRUE(SignalMasks(process).ignores(signal)) << signal;
}

}  // namespace
