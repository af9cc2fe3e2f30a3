// A standard output that takes nothing: only Linux has a device for that.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/child_process.h"

namespace {

TEST(OnAFullDevice, TheProgramReportsThatItsOutputIsLost) {
  const ProcessResult result = runProcess({"sh", "-c", "exec \"$0\" \"$@\" >/dev/full", MTLSYNC,
                                           "--module", MTLSYNC_FAKE_MODULE, "up-to-date", "dir"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err,
              testing::HasSubstr("mtlsync: error: could not write to standard output\n"));
}

}  // namespace
