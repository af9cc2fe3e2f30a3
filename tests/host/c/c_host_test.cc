// Tests a program in C, as strict as C gets, on the C interface.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "mtlhost.h"
#include "support/child_process.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class CHost : public testing::Test {
 protected:
  /// Everything that the program printed, with line breaks of one byte.
  std::string run(const std::string& module, int exitCode) {
    const ProcessResult result =
        runProcess({C_HOST, module, server_.address() + "/lib", directory_ / "target"});
    EXPECT_EQ(result.exitCode, exitCode) << result.err;
    std::string text = result.out;
    for (std::size_t at; (at = text.find('\r')) != text.npos;)
      text.erase(at, 1);
    return text;
  }

  TempDir directory_;
  ScriptedServer server_;
};

TEST_F(CHost, ChecksAndSynchronises) {
  server_.serve("/lib/id.txt", "v1");
  server_.serve("/lib/filelist.json", R"([{"path":"a.tx","size":3000000}])"
                                      "\n");
  server_.serve("/lib/a.tx", std::string(3000000, 'a'));
  const std::string out = run(MTLLIB_MODULE, 0);
  EXPECT_THAT(out, StartsWith("version: " MTLHOST_VERSION "\n"));
  for (const std::string text : {"check: 1\n", "sync: 0\n",
                                 "info: Target directory: ", "stage: Creating download directory\n",
                                 "progress: Getting file list -1 0/-1\n",
                                 "stage: Downloading file \"a.tx\" (3000000 bytes)\n",
                                 "progress: Downloading files 1000 3/3\n", "told: yes\n"}) {
    EXPECT_THAT(out, HasSubstr(text));
  }
  EXPECT_EQ(readFile(directory_ / "target/id.txt"), "v1");
}

TEST_F(CHost, WalksTheChain) {
  EXPECT_THAT(run(MTLLIB_MODULE, 1),
              HasSubstr("error: Could not download remote stamp file\n"
                        "  [DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp "
                        "file\n"
                        "  [HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)\n"
                        "sync: -1\n"
                        "because: [DownloaderImpl::readRemoteIdFile] -1: Could not download remote "
                        "stamp file\n"
                        "because: [HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)\n"));
}

TEST_F(CHost, IsToldWhyAModuleCannotBeUsed) {
  EXPECT_THAT(run(NO_MODULE, 2), HasSubstr("\n[mtlhost] -1: Could not use the module \""));
}

TEST_F(CHost, FindsTheModuleBesideTheLibrary) {
  EXPECT_THAT(run("", 1), HasSubstr("\ncheck: -1\n"));
}

}  // namespace
