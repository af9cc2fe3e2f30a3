// Tests replacing a file in one step.
#include "mtlpublish/whole_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>

#include "support/temp_dir.h"

namespace {

using mtlpublish::replaceFile;

TEST(ReadContent, EndsAtTheLimit) {
  const TempDir dir;
  const std::string whole(200000, 'x');
  writeFile(dir / "x", whole);
  std::string content;
  for (const std::size_t limit : {std::size_t{0}, std::size_t{1}, std::size_t{65536},
                                  std::size_t{65537}, whole.size(), whole.size() + 1}) {
    EXPECT_FALSE(mtlpublish::readContent(dir.path() / "x", content, limit));
    EXPECT_EQ(content.size(), std::min(limit, whole.size()));
  }
}

TEST(ReplaceFile, MakesAndReplaces) {
  const TempDir dir;
  EXPECT_FALSE(replaceFile(dir.path(), "x", "one"));
  EXPECT_EQ(readFile(dir / "x"), "one");
  EXPECT_FALSE(replaceFile(dir.path(), "x", ""));
  EXPECT_EQ(readTree(dir / ""), (std::map<std::string, std::string>{{"x", ""}}));
}

// Either the reader keeps the old file or, on Windows, replacing waits for it.
TEST(ReplaceFile, LeavesAReaderTheOldContent) {
  const TempDir dir;
  writeFile(dir / "x", "old");
  std::ifstream reader(dir.path() / "x");
  auto replaced =
      std::async(std::launch::async, [&] { return replaceFile(dir.path(), "x", "brand new"); });
  replaced.wait_for(std::chrono::milliseconds(100));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
  reader.close();
  EXPECT_FALSE(replaced.get());
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
