// Tests what the tests themselves rely on where they need to be refused something.
#include "support/unprivileged.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

class UnprivilegedTest : public testing::Test {
 protected:
  UnprivilegedTest() {
    writeFile(dir_ / "open", "text");
    writeFile(dir_ / "closed", "text");
    chmod((dir_ / "closed").c_str(), 0);
    // As the folder of root, or of a user, may be.
    std::filesystem::create_directory(dir_ / "home");
    std::filesystem::copy("/bin/cat", dir_ / "home/cat");
    chmod((dir_ / "home").c_str(), 0700);
  }

  ProcessResult print(const char* name) {
    return runProcess({dir_ / "home/cat", dir_ / name}, {{"LC_ALL", "C"}});
  }

  TempDir dir_;
};

TEST_F(UnprivilegedTest, RunsProgramsBelowAFolderThatIsClosedToOthers) {
  const Unprivileged user;
  const ProcessResult result = print("open");
  EXPECT_EQ(result.out, "text");
  EXPECT_EQ(result.err, "");
}

TEST_F(UnprivilegedTest, ObeysPermissionsInThisProcessAndInThoseItStarts) {
  const Unprivileged user;
  EXPECT_EQ(readFile(dir_ / "closed"), "");
  const ProcessResult result = print("closed");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("Permission denied"), std::string::npos) << result.err;
}

/// Identities and capabilities of this thread, and what its programs are given.
std::string rights() {
  std::istringstream status(readFile("/proc/thread-self/status"));
  std::string text = std::to_string(prctl(PR_GET_SECUREBITS));
  for (std::string line; std::getline(status, line);)
    if (line.rfind("Uid:", 0) == 0 || line.rfind("Cap", 0) == 0) text += '\n' + line;
  return text;
}

TEST_F(UnprivilegedTest, GivesAllRightsBack) {
  const bool root = geteuid() == 0;
  const std::string before = rights();
  {
    const Unprivileged user;
    EXPECT_TRUE(!root || rights() != before);
  }
  EXPECT_EQ(rights(), before);
}

}  // namespace
