// Tests what only POSIX has, or lets a test look at: signals that whoever started the program had
// it ignore, as shells do for a job in the background, and what the system is asked to flush.
#include "mtlpublish/system.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "mtlpublish/whole_file.h"
#include "support/signal_masks.h"

namespace {

/// What the system was asked to do, in this order, while there is one.
std::vector<std::string>* calls = nullptr;

void note(const std::string& call, const std::filesystem::path& path) {
  calls->push_back(call + path.extension().string());
}

std::filesystem::path pathOf(int descriptor) {
  std::error_code ignored;
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored);
}

}  // namespace

// In place of the system's own, for the C++ library too.
extern "C" [[gnu::visibility("default")]] int fsync(int descriptor) {
  if (calls != nullptr) note("flush ", pathOf(descriptor));
  return static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" [[gnu::visibility("default")]] int rename(const char* from, const char* to) {
  if (calls != nullptr) note("rename ", from);
  return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace {

TEST(ReplaceFile, FlushesTheContentBeforeItsNameAndThenTheName) {
  const TempDir dir;
  std::filesystem::create_directory(dir.path() / "lib.dir");
  std::vector<std::string> made;
  calls = &made;
  EXPECT_FALSE(mtlpublish::replaceFile(dir.path() / "lib.dir", "x", "content"));
  calls = nullptr;
  EXPECT_THAT(made, testing::ElementsAre("flush .tmp", "rename .tmp", "flush .dir"));
}

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
