// Replacing a file by a process that is given little room: on Windows none can be.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "mtlpublish/replace_file.h"
#include "support/temp_dir.h"

namespace {

using mtlpublish::replaceFile;

TEST(ReplaceFile, LeavesEverythingWhenTheContentFindsNoRoom) {
  const TempDir dir;
  writeFile(dir / "x", "old");
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small{1000, limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const std::error_code error = replaceFile(dir.path(), "x", std::string(100'000, 'n'));
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(error, std::errc::file_too_large) << error.message();
  EXPECT_EQ(readTree(dir / ""), (std::map<std::string, std::string>{{"x", "old"}}));
}

}  // namespace
