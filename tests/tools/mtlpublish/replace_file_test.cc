// Replacing a file in one step.
#include "mtlpublish/replace_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "support/temp_dir.h"

namespace {

using mtlpublish::replaceFile;

TEST(ReplaceFile, MakesAndReplaces) {
  const TempDir dir;
  EXPECT_FALSE(replaceFile(dir.path(), "x", "one"));
  EXPECT_EQ(readFile(dir / "x"), "one");
  EXPECT_FALSE(replaceFile(dir.path(), "x", ""));
  EXPECT_EQ(readTree(dir / ""), (std::map<std::string, std::string>{{"x", ""}}));
}

TEST(ReplaceFile, LeavesAReaderTheOldContent) {
  const TempDir dir;
  writeFile(dir / "x", "old");
  std::ifstream reader(dir.path() / "x");
  EXPECT_FALSE(replaceFile(dir.path(), "x", "brand new"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
}

TEST(ReplaceFile, LeavesEverythingWhenTheFileCannotBeReplaced) {
  const TempDir dir;
  writeFile(dir / "x/inner", "");
  EXPECT_TRUE(replaceFile(dir.path(), "x", "new"));
  EXPECT_EQ(readTree(dir / ""), (std::map<std::string, std::string>{{"x/inner", ""}}));
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

TEST(ReplaceFile, SaysThatTheFolderIsMissing) {
  const TempDir dir;
  EXPECT_EQ(replaceFile(dir.path() / "none", "x", ""), std::errc::no_such_file_or_directory);
}

}  // namespace
