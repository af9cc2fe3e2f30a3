// Signals that whoever started the program had it ignore, as shells do for a job in the
// background: Windows has none.
#include "mtlpublish/system.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

TEST(EndWhenInterrupted, LeavesIgnoredSignalsIgnored) {
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGTERM, SIG_DFL);
  mtlpublish::endWhenInterrupted();
  EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_IGN);
  EXPECT_NE(std::signal(SIGTERM, SIG_DFL), SIG_DFL) << "which was not ignored";
}

}  // namespace
