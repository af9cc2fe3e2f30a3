// Tests writing by a process that may write little, as on a full disk. Windows has no such limit.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "mtlpublish/publisher.h"
#include "mtlpublish/whole_file.h"
#include "support/temp_dir.h"

namespace {

using mtlpublish::replaceFile;
using testing::ElementsAre;
using testing::IsEmpty;

/// While it lives, no file can have more bytes than these.
class LittleRoom {
 public:
  explicit LittleRoom(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &limit_);
    const rlimit small{bytes, limit_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
  }
  ~LittleRoom() {
    setrlimit(RLIMIT_FSIZE, &limit_);
    std::signal(SIGXFSZ, SIG_DFL);
  }
  LittleRoom(const LittleRoom&) = delete;
  LittleRoom& operator=(const LittleRoom&) = delete;

 private:
  rlimit limit_{};
};

TEST(ReplaceFile, LeavesEverythingWhenTheContentFindsNoRoom) {
  const TempDir dir;
  writeFile(dir / "x", "old");
  std::error_code error;
  {
    const LittleRoom room(1000);
    error = replaceFile(dir.path(), "x", std::string(100'000, 'n'));
  }
  EXPECT_EQ(error, std::errc::file_too_large) << error.message();
  EXPECT_EQ(readTree(dir / ""), (std::map<std::string, std::string>{{"x", "old"}}));
}

TEST(FullDisk, KeepsTheLastBuild) {
  const TempDir dir;
  for (int i = 0; i < 100; ++i) {
    writeFile(dir / (std::to_string(i) + ".tx"), "1");
    writeFile(dir / (std::to_string(i) + ".jpeg.tx"), "2");
  }
  // The list has one of two, the cache both.
  mtlpublish::PublishOptions options;
  options.lossy = true;
  options.start += std::chrono::hours(1);  // So that the cache holds them all.
  mtlpublish::publish(dir.path(), options);
  writeFile(dir / "new", "");
  auto before = readTree(dir / "");
  ASSERT_LT(before["filelist.json"].size() + 500, before[".mtlpublish-cache"].size());
  mtlpublish::PublishResult result;
  {
    const LittleRoom room(1000);
    result = mtlpublish::publish(dir.path(), options);
  }
  EXPECT_THAT(result.problems, ElementsAre("filelist.json: cannot be written: File too large"));
  EXPECT_EQ(readTree(dir / ""), before);
  {
    // Enough for the list, not for the cache.
    const LittleRoom room(before["filelist.json"].size() + 300);
    result = mtlpublish::publish(dir.path(), options);
  }
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_THAT(result.warnings,
              ElementsAre(".mtlpublish-cache: cannot be written: File too large; the next build "
                          "reads every file again"));
  EXPECT_THAT(readFile(dir / "id.txt"), testing::StartsWith(result.id + "\n"));
}

}  // namespace
