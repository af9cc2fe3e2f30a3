// Tests a standard output that cannot be written to, as on a full disk.
#include <gtest/gtest.h>

#include "support/child_process.h"

namespace {

TEST(LostOutput, IsReported) {
  const ProcessResult result =
      ChildProcess({MTLSYNC, "--module", MTLSYNC_FAKE_MODULE, "up-to-date", "dir"}, {},
                   ChildProcess::Output::kRefused)
          .wait();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "Accessing stamp\n"
            "mtlsync: error: could not write to standard output\n");
}

}  // namespace
