// Tests looking at the files of a copy while the list is on its way.
#include "update/prefetching_disk.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "support/temp_dir.h"
#include "update/update_fixture.h"

namespace {

using mtlupdate::FileKind;
using mtlupdate::FolderDisk;
using mtlupdate::Look;
using mtlupdate::PrefetchingDisk;

class LooksAheadTest : public UpdateFixture {
 protected:
  LooksAheadTest() {
    for (const char* path : {"a", "b/c", "b/d", "e/f", "g"})
      list(path, path);
    update();
  }

  void waitForAll(const PrefetchingDisk& ahead) {
    while (ahead.count() < 5)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  std::string copy() { return dir / "copy/"; }
};

TEST_F(LooksAheadTest, KnowsWhatTheLastUpdateLeft) {
  PrefetchingDisk ahead(folder);
  EXPECT_EQ(ahead.state().stamp, "stamp 1");
  EXPECT_EQ(ahead.state().files().size(), 5U);
}

TEST_F(LooksAheadTest, RemembersTheFilesThatItHasLookedAt) {
  PrefetchingDisk ahead(folder);
  waitForAll(ahead);
  for (const auto& file : ahead.state().files())
    std::filesystem::remove(copy() + std::string(file.path));
  for (int i = 0; i < 2; ++i) {
    for (const auto& file : ahead.state().files()) {
      Look look;
      ASSERT_FALSE(ahead.look(file.path, look)) << file.path;
      EXPECT_EQ(look.kind, FileKind::kFile) << file.path;
      EXPECT_EQ(look.identity, file.identity) << file.path;
    }
  }
}

TEST_F(LooksAheadTest, SaysWhatADiskSaysHoweverFarItHasCome) {
  writeFile(copy() + "a", "changed");
  std::filesystem::remove(copy() + "b/c");
  std::filesystem::remove(copy() + "g");
  std::filesystem::create_directory(copy() + "g");
  std::filesystem::remove_all(copy() + "e");
  writeFile(copy() + "e", "a file in the way");
  writeFile(copy() + "unknown", "of somebody");
  for (const bool waits : {false, true}) {
    PrefetchingDisk ahead(folder);
    if (waits) waitForAll(ahead);
    for (const char* path : {"a", "b/c", "b/d", "e/f", "g", "unknown", "nothing", "b"}) {
      Look seen;
      Look expected;
      EXPECT_EQ(ahead.look(path, seen), FolderDisk(folder).look(path, expected)) << path;
      EXPECT_EQ(seen.kind, expected.kind) << path;
      EXPECT_EQ(seen.identity, expected.identity) << path;
      EXPECT_EQ(seen.blockedBy, expected.blockedBy) << path;
      EXPECT_EQ(seen.lacksFolder, expected.lacksFolder) << path;
    }
  }
}

TEST_F(LooksAheadTest, RemembersNothingButFiles) {
  std::filesystem::remove(copy() + "g");
  PrefetchingDisk ahead(folder);
  waitForAll(ahead);
  writeFile(copy() + "g", "new");
  Look look;
  ASSERT_FALSE(ahead.look("g", look));
  EXPECT_EQ(look.kind, FileKind::kFile) << "only files are remembered";
}

TEST_F(LooksAheadTest, EndsWithoutBeingAsked) {
  for (int i = 0; i < 20; ++i)
    PrefetchingDisk ahead(folder);
}

}  // namespace
