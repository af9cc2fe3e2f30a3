// Tests what is known of a file without reading it.
#include "mtlpublish/system.h"

#include <gtest/gtest.h>

#include <chrono>

#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::FileState;

class FileStateTest : public testing::Test {
 protected:
  FileState state(const std::string& name) {
    FileState state;
    EXPECT_FALSE(readFileState(dir_.path() / fs::u8path(name), state));
    return state;
  }

  TempDir dir_;
};

TEST_F(FileStateTest, StaysAsLongAsTheFileDoes) {
  writeFile(dir_ / "é", "12345");
  const FileState before = state("é");
  EXPECT_EQ(before.size, 5U);
  EXPECT_EQ(readFile(dir_ / "é"), "12345");
  EXPECT_TRUE(state("é") == before);
}

TEST_F(FileStateTest, HasItsTimesSince1970) {
  const auto now = [] {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  // The clock of files goes in steps.
  constexpr std::int64_t kStep = 2'000'000'000;
  const std::int64_t before = now() - kStep;
  writeFile(dir_ / "a", "1");
  const FileState written = state("a");
  EXPECT_GE(written.modified, before);
  EXPECT_LE(written.modified, now() + kStep);
  EXPECT_GE(written.changed, before);
  EXPECT_LE(written.changed, now() + kStep);
}

TEST_F(FileStateTest, TellsOfAChangeWhoseTimeWasSetBack) {
  writeFile(dir_ / "a", "1");
  // Cut to what can be set.
  const auto time = fs::last_write_time(dir_.path() / "a");
  fs::last_write_time(dir_.path() / "a", time);
  const FileState before = state("a");
  do {
    writeFile(dir_ / "a", "2");
    fs::last_write_time(dir_.path() / "a", time);
  } while (state("a").changed == before.changed);
  EXPECT_EQ(state("a").modified, before.modified);
  EXPECT_FALSE(state("a") == before);
}

TEST_F(FileStateTest, TellsFilesApart) {
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / "b", "1");
  EXPECT_NE(state("a").id, state("b").id);
}

TEST_F(FileStateTest, HasNoneWithoutAFile) {
  FileState state;
  EXPECT_EQ(readFileState(dir_.path() / "none", state), std::errc::no_such_file_or_directory);
}

}  // namespace
