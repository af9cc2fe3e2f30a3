// Replacing a file in one step.
#include "mtlpublish/replace_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

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

TEST(ReplaceFile, ReplacesAFileThatIsBeingRead) {
  const TempDir dir;
  writeFile(dir / "x", "old");
  std::ifstream file(dir.path() / "x");
  std::thread reader([&file] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "old");
    file.close();
  });
  EXPECT_FALSE(replaceFile(dir.path(), "x", "brand new"));
  reader.join();
  EXPECT_EQ(readTree(dir / ""), (std::map<std::string, std::string>{{"x", "brand new"}}));
}

TEST(ReplaceFile, LeavesEverythingWhenTheFileCannotBeReplaced) {
  const TempDir dir;
  writeFile(dir / "x/inner", "");
  EXPECT_TRUE(replaceFile(dir.path(), "x", "new"));
  EXPECT_EQ(readTree(dir / ""), (std::map<std::string, std::string>{{"x/inner", ""}}));
}

TEST(ReplaceFile, SaysThatTheFolderIsMissing) {
  const TempDir dir;
  EXPECT_EQ(replaceFile(dir.path() / "none", "x", ""), std::errc::no_such_file_or_directory);
}

}  // namespace
