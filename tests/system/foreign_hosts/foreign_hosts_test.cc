// Tests that hosts in another language, or built by another compiler, drive the library.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "support/child_process.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace {

using Files = std::map<std::string, std::string>;

// A name of the system's own.
std::string nativeName(const std::string& name) {
  return std::filesystem::absolute(std::filesystem::u8path(name)).make_preferred().u8string();
}

class ForeignHosts : public testing::Test {
 protected:
  ProcessResult run(const char* host) {
    return runProcess({nativeName(host), nativeName(MTLLIB_MODULE), address_, target_});
  }

  // What is reported to a host before the first transfer.
  std::string announcement() const {
    return "info: Remote address: \"" + address_ + "\"\ninfo: Target directory: \"" + target_ +
           "\"\nstage: Creating download directory\nstage: Downloading remote stamp file\n"
           "text: Accessing stamp\n";
  }

  void expectSynchronises(const char* host) {
    server_.serve("/lib/id.txt", "v1");
    server_.serve("/lib/filelist.json",
                  R"([{"path":"a.tx","size":3000000},{"path":"maps/100%s.tx"}])"
                  "\n");
    server_.serve("/lib/a.tx", std::string(3000000, 'a'));
    server_.serve("/lib/maps/100%25s.tx", "b");
    const ProcessResult result = run(host);
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_EQ(
        readTree(target_),
        (Files{{"a.tx", std::string(3000000, 'a')}, {"maps/100%s.tx", "b"}, {"id.txt", "v1"}}));
    for (const std::string& text :
         {std::string("network: No error\n"), std::string("check: 1\n"), announcement(),
          std::string("text: Getting file list\n"),
          std::string("stage: Downloading file \"a.tx\" (3000000 bytes)\n"),
          std::string("stage: Downloading file \"maps/100%s.tx\" (0 bytes)\n"),
          std::string("text: Downloading files (3MB / 3MB)\n"),
          std::string("progress: 1000 of 1000, 3000000 bytes, begun 1, ended "),
          std::string("result: 0")}) {
      EXPECT_NE(result.out.find(text), std::string::npos) << text << "in\n" << result.out;
    }
  }

  void expectReportsAMissingStamp(const char* host) {
    const ProcessResult result = run(host);
    EXPECT_EQ(result.exitCode, 1) << result.err;
    const std::string end =
        announcement() +
        "progress: 0 of 0, 8 bytes, begun 0, ended 2\n"
        "error: [DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file\n"
        "error: [HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)\n"
        "result: -1";
    EXPECT_NE(result.out.find(end), std::string::npos) << result.out;
  }

  TempDir directory_;
  ScriptedServer server_;
  std::string address_ = server_.address() + "/lib";
  std::string target_ = directory_ / "target";
};

TEST_F(ForeignHosts, AHostOfAnotherCompilerSynchronises) {
  expectSynchronises(CPP_HOST);
}

TEST_F(ForeignHosts, AHostOfAnotherCompilerIsToldOfAFailure) {
  expectReportsAMissingStamp(CPP_HOST);
}

TEST_F(ForeignHosts, AHostInCSynchronises) {
  expectSynchronises(C_HOST);
}

TEST_F(ForeignHosts, AHostInCIsToldOfAFailure) {
  expectReportsAMissingStamp(C_HOST);
}

TEST_F(ForeignHosts, AHostInCGetsBackTheMemoryOfItsTexts) {
  const ProcessResult result = run(C_HOST);
  EXPECT_NE(result.out.find("default: http"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find(", blocks in use: 0\n"), std::string::npos) << result.out;
}

}  // namespace
