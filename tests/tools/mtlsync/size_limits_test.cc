// Tests the limits that sizes on the command line set.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace mtlsync {
namespace {

TEST(SizeLimits, EndARunOfTheModule) {
  const TempDir dir;
  const std::string copy = dir / "copy";
  ScriptedServer server;
  server.serve("/lib/id.txt", "stamp 1");
  server.serve("/lib/filelist.json", "[{\"path\":\"a\",\"size\":5},{\"path\":\"b\",\"size\":4}]\n");
  server.serve("/lib/a", "whole");
  server.serve("/lib/b", "text");
  const auto run = [&](std::vector<std::string> options) {
    options.insert(options.begin(), {MTLSYNC, "--module", MTLSYNC_REAL_MODULE, "-q", "--no-proxy"});
    options.insert(options.end(), {server.address() + "/lib", copy});
    return runProcess(options);
  };
  ProcessResult result = run({"--max-file-size", "6"});
  EXPECT_EQ(result.exitCode, 1);
  const std::string error =
      "mtlsync: error: More was received than the settings allow.\n"
      "If that much is expected, raise the limit in the settings.\n";
  EXPECT_EQ(result.err, error);
  EXPECT_EQ(server.requestLines(), (std::vector<std::string>{"GET /lib/id.txt"}));
  // The stamp and the list have 56 bytes together, the files nine more.
  result = run({"--max-total-size", "55"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err, error);
  EXPECT_FALSE(std::filesystem::exists(copy + "/a"));
  EXPECT_EQ(run({"--max-total-size", "65", "--max-file-size", "50"}).exitCode, 0);
  EXPECT_EQ(readFile(copy + "/a") + readFile(copy + "/b"), "wholetext");
}

}  // namespace
}  // namespace mtlsync
