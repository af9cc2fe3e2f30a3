// Replacing a file where readers do not stand in the way, as on Windows, and where a
// process can be given little room.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "mtlpublish/replace_file.h"
#include "support/temp_dir.h"

namespace {

using mtlpublish::replaceFile;

TEST(ReplaceFile, LeavesAReaderTheOldContent) {
  const TempDir dir;
  writeFile(dir / "x", "old");
  std::ifstream reader(dir.path() / "x");
  EXPECT_FALSE(replaceFile(dir.path(), "x", "brand new"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
}

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
