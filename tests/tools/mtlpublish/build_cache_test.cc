// Tests which files a build reads again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>

#include "mtlpublish/publisher.h"
#include "mtlpublish/system.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::PublishOptions;
using mtlpublish::PublishResult;
using mtlpublish::WorkProgress;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class BuildCache : public testing::Test {
 protected:
  BuildCache() {
    // All that the tests write has been there for long, then.
    options_.start += std::chrono::hours(1);
  }

  /// Builds, and remembers how many files were read.
  PublishResult build() {
    std::optional<WorkProgress> progress;
    options_.onProgress = [&](const WorkProgress& now) {
      progress = now;
      if (now.filesDone == now.files && atEnd_) atEnd_();
    };
    PublishResult result = mtlpublish::publish(dir_.path(), options_);
    filesRead_ = progress ? progress->filesDone : 0;
    if (progress) {
      EXPECT_EQ(progress->filesDone, progress->files);
    }
    return result;
  }

  mtlpublish::FileState state(const std::string& path) {
    mtlpublish::FileState state;
    EXPECT_FALSE(readFileState(dir_.path() / path, state));
    return state;
  }

  /// Writes until the system's clock has gone on.
  void rewrite(const std::string& path, const std::string& content) {
    const std::int64_t before = state(path).changed;
    do {
      writeFile(dir_ / path, content);
    } while (state(path).changed == before);
  }

  TempDir dir_;
  PublishOptions options_;
  /// Called when every file has been read.
  std::function<void()> atEnd_;
  std::size_t filesRead_ = 0;
};

TEST_F(BuildCache, SparesFilesThatHaveNotChanged) {
  for (const char* path : {"a", "b/é", "c"})
    writeFile(dir_ / path, path);
  const PublishResult first = build();
  EXPECT_EQ(filesRead_, 3U);
  const std::string list = readFile(dir_ / "filelist.json");
  EXPECT_EQ(build().id, first.id);
  EXPECT_EQ(filesRead_, 0U);
  EXPECT_EQ(readFile(dir_ / "filelist.json"), list);

  rewrite("c", "d");
  writeFile(dir_ / "e", "e");
  EXPECT_NE(build().id, first.id);
  EXPECT_EQ(filesRead_, 2U);
  build();
  EXPECT_EQ(filesRead_, 0U);
}

TEST_F(BuildCache, NoticesAContentOfTheSameSizeAndTime) {
  writeFile(dir_ / "a", "1");
  const auto time = fs::last_write_time(dir_.path() / "a");
  fs::last_write_time(dir_.path() / "a", time);  // Cut to what can be set.
  const PublishResult first = build();
  rewrite("a", "2");
  fs::last_write_time(dir_.path() / "a", time);
  EXPECT_NE(build().id, first.id);
  EXPECT_EQ(filesRead_, 1U);
}

TEST_F(BuildCache, NoticesFilesThatChangePlaces) {
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / "b", "2");
  const PublishResult first = build();
  fs::rename(dir_.path() / "a", dir_.path() / "c");
  fs::rename(dir_.path() / "b", dir_.path() / "a");
  fs::rename(dir_.path() / "c", dir_.path() / "b");
  EXPECT_NE(build().id, first.id);
  EXPECT_EQ(filesRead_, 2U);
}

TEST_F(BuildCache, IsNotTrustedWithFilesThatHaveJustChanged) {
  options_.start = std::chrono::system_clock::now();
  writeFile(dir_ / "a", "1");
  build();
  EXPECT_THAT(readFile(dir_ / ".mtlpublish-cache"), Not(HasSubstr(" a\n")));
  build();
  EXPECT_EQ(filesRead_, 1U);
}

TEST_F(BuildCache, IsNotTrustedWithFilesFromTheFuture) {
  writeFile(dir_ / "a", "1");
  fs::last_write_time(dir_.path() / "a", fs::file_time_type::clock::now() + std::chrono::hours(24));
  build();
  build();
  EXPECT_EQ(filesRead_, 1U);
}

TEST_F(BuildCache, IsIgnoredWhenItIsDamagedOrSomethingElse) {
  writeFile(dir_ / "a", "1");
  const std::string id = build().id;
  const std::string cache = readFile(dir_ / ".mtlpublish-cache");
  for (const std::string& other : {std::string(), std::string("[]\n"), cache.substr(1),
                                   cache.substr(0, cache.size() - 1), cache + "\n"}) {
    writeFile(dir_ / ".mtlpublish-cache", other);
    const PublishResult result = build();
    EXPECT_THAT(result.problems, IsEmpty());
    EXPECT_THAT(result.warnings, IsEmpty());
    EXPECT_EQ(result.id, id);
    EXPECT_EQ(filesRead_, 1U);
    EXPECT_EQ(readFile(dir_ / ".mtlpublish-cache"), cache) << "made good";
  }
}

TEST_F(BuildCache, ForgetsFilesThatAreGone) {
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / "b", "2");
  build();
  fs::remove(dir_.path() / "a");
  build();
  EXPECT_EQ(filesRead_, 0U);
  EXPECT_THAT(readFile(dir_ / ".mtlpublish-cache"), Not(HasSubstr(" a\n")));
}

TEST_F(BuildCache, IsRemovedWhenItIsNotWanted) {
  writeFile(dir_ / "a", "1");
  const std::string id = build().id;
  options_.cache = false;
  EXPECT_EQ(build().id, id);
  EXPECT_EQ(filesRead_, 1U);
  EXPECT_FALSE(fs::exists(dir_.path() / ".mtlpublish-cache"));
  EXPECT_THAT(build().warnings, IsEmpty());
}

TEST_F(BuildCache, SparesWhatWasReadWhenAnotherFileCouldNotBePublished) {
  writeFile(dir_ / "a", "1");
  const std::string tooLong = dir_ / (std::string(200, 'd') + "/" + std::string(58, 'f'));
  writeFile(tooLong, "2");
  EXPECT_THAT(build().problems, Not(IsEmpty()));
  fs::remove(tooLong);
  EXPECT_THAT(build().problems, IsEmpty());
  EXPECT_EQ(filesRead_, 0U);
}

TEST_F(BuildCache, IsNoReasonToPublishAFileThatChangesMeanwhile) {
  for (const char* path : {"a", "b", "c"})
    writeFile(dir_ / path, "1");
  build();
  const std::string id = readFile(dir_ / "id.txt");
  writeFile(dir_ / "d", "1");
  atEnd_ = [this] {
    writeFile(dir_ / "a", "12");
    fs::remove(dir_.path() / "b");
  };
  EXPECT_THAT(build().problems,
              ElementsAre("a: changed during the build; build again once it is complete",
                          "b: changed during the build; build again once it is complete"));
  EXPECT_EQ(readFile(dir_ / "id.txt"), id);
  EXPECT_THAT(readFile(dir_ / "filelist.json"), Not(HasSubstr("\"d\"")));
  atEnd_ = nullptr;
  EXPECT_THAT(build().problems, IsEmpty());
}

TEST_F(BuildCache, HoldsTheSameAfterManyFilesWereReadAtOnce) {
  for (int i = 0; i < 500; ++i)
    writeFile(dir_ / (std::to_string(i % 7) + "/" + std::to_string(i)), std::to_string(i));
  const PublishResult first = build();
  EXPECT_EQ(filesRead_, 500U);
  const std::string cache = readFile(dir_ / ".mtlpublish-cache");
  options_.cache = false;
  EXPECT_EQ(build().id, first.id);
  options_.cache = true;
  EXPECT_EQ(build().id, first.id);
  EXPECT_EQ(readFile(dir_ / ".mtlpublish-cache"), cache);
}

}  // namespace
