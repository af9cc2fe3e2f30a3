// Tests updates that are killed wherever they write, or find the disk full or not to be written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/child_process.h"
#include "support/temp_dir.h"
#include "support/unprivileged.h"
#include "update/made_up_library.h"

namespace {

using Tree = std::map<std::string, std::string>;

/// What a copy of the release is, besides what the engine keeps for itself.
Tree copyOf(int release) {
  Tree tree = madeUpLibrary(release);
  tree["id.txt"] = madeUpStamp(release);
  return tree;
}

/// The words that start an update of the folder, in an emulator where the processor needs one.
std::vector<std::string> updateOf(const std::string& folder, int release,
                                  std::vector<std::string> before = {}) {
  std::istringstream emulator(EMULATOR);
  for (std::string word; emulator >> word;)
    before.push_back(word);
  before.insert(before.end(), {LOCAL_UPDATE, folder, std::to_string(release)});
  return before;
}

class CutUpdate : public testing::Test {
 protected:
  CutUpdate() { EXPECT_EQ(run(0).exitCode, 0); }

  ProcessResult run(int release, const ChildProcess::Environment& environment = {}) {
    return runProcess(updateOf(dir / "copy", release), environment);
  }

  /// Kills the update at this write, unless it makes fewer.
  ProcessResult cutAt(int point, int release) {
    return run(release, {{"LD_PRELOAD", WRITE_POINTS},
                         {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                         {"WRITE_POINTS_BELOW", dir / "copy"},
                         {"WRITE_POINTS_AT", std::to_string(point)}});
  }

  /// The copy without what the engine keeps for itself, and whether contents are staged.
  Tree tree(bool& isStaged) {
    Tree found;
    isStaged = std::filesystem::exists(dir / "copy/.mtllib/stage");
    for (auto& [path, content] : readTree(dir / "copy")) {
      if (path.compare(0, 8, ".mtllib/") != 0) found.emplace(path, std::move(content));
    }
    return found;
  }

  void expectOldOrNew(int release, const std::string& where) {
    bool isStaged = false;
    const Tree found = tree(isStaged);
    const Tree before = copyOf(release - 1);
    const Tree after = copyOf(release);
    for (const auto& [path, content] : found) {
      const bool isOld = before.count(path) != 0 && before.at(path) == content;
      const bool isNew = after.count(path) != 0 && after.at(path) == content;
      EXPECT_TRUE(isOld || isNew) << where << ": " << path << " is neither the old nor the new";
    }
    if (found.at("id.txt") == madeUpStamp(release)) {
      EXPECT_EQ(found, after) << where << ": the stamp is ahead";
    } else {
      EXPECT_EQ(found.at("id.txt"), madeUpStamp(release - 1)) << where;
    }
  }

  void expectComplete(int release, const std::string& where) {
    bool isStaged = false;
    EXPECT_EQ(tree(isStaged), copyOf(release)) << where;
    EXPECT_FALSE(isStaged) << where << ": something is left over";
  }

  TempDir dir;
};

TEST_F(CutUpdate, IsFinishedByTheNextRunWhereverItIsKilled) {
  int points = 0;
  for (int release = 1;; ++release) {
    const std::string where = "at write " + std::to_string(release);
    const ProcessResult result = cutAt(release, release);
    if (result.exitCode == 0) {
      points = release - 1;
      expectComplete(release, where);
      break;
    }
    ASSERT_LT(release, 500) << result.err;
    ASSERT_EQ(result.err, "") << where;
    expectOldOrNew(release, where);
    ASSERT_EQ(run(release).exitCode, 0) << where;
    expectComplete(release, where);
  }
  EXPECT_GT(points, 30) << "so that all steps were among them";
}

TEST_F(CutUpdate, IsKnownToTheNextOneAlsoOfAnotherReleaseAndCutAsWell) {
  constexpr int kStep = 7;
  int release = 0;
  for (int point = 1; cutAt(point, ++release).exitCode != 0; point += 3) {
    const std::string where = "at write " + std::to_string(point);
    ++release;
    cutAt(point * kStep % 40 + 1, release);
    ASSERT_EQ(run(++release).exitCode, 0) << where;
    expectComplete(release, where);
    ASSERT_LT(point, 500);
  }
}

TEST_F(CutUpdate, SharesNothingThatIsWrittenWithAHardLinkedCopyOfTheFolder) {
  for (int point = 1;; ++point) {
    SCOPED_TRACE("at write " + std::to_string(point));
    const ProcessResult cut = run(point, {{"LD_PRELOAD", WRITE_POINTS},
                                          {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                                          {"WRITE_POINTS_BELOW", dir / "copy"},
                                          {"WRITE_POINTS_AT", std::to_string(point)}});
    ASSERT_EQ(runProcess({"cp", "-al", dir / "copy", dir / "snapshot"}).exitCode, 0);
    const Tree before = readTree(dir / "snapshot");
    ASSERT_EQ(run(point).exitCode, 0);
    ASSERT_EQ(readTree(dir / "snapshot"), before);
    const Tree after = readTree(dir / "copy");
    ASSERT_EQ(runProcess(updateOf(dir / "snapshot", point + 1)).exitCode, 0);
    ASSERT_EQ(readTree(dir / "copy"), after);
    std::filesystem::remove_all(dir.path() / "snapshot");
    if (cut.exitCode == 0) break;
    ASSERT_LT(point, 500);
  }
}

// What an old file had takes long to free: with a name left, renaming over the other takes no time.
TEST_F(CutUpdate, KeepsOldFilesByAnotherNameUntilAllNewOnesAreInTheirPlaces) {
  const Tree before = copyOf(0);
  std::size_t replaced = 0;
  for (const auto& [path, content] : madeUpLibrary(1)) {
    if (before.count(path) != 0 && before.at(path) != content) ++replaced;
  }
  ASSERT_GT(replaced, 0U);
  ASSERT_EQ(run(1, {{"LD_PRELOAD", WRITE_POINTS},
                    {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                    {"WRITE_POINTS_BELOW", dir / "copy"},
                    {"WRITE_POINTS_LOG", dir / "log"}})
                .exitCode,
            0);
  // In the order in which they were done: what became of which file.
  std::size_t kept = 0;
  std::size_t placed = 0;
  std::size_t freed = 0;
  std::istringstream log(readFile(dir / "log"));
  for (std::string line; std::getline(log, line);) {
    const bool isOwn = line.find("/.mtllib/") != std::string::npos;
    const bool isOld = line.find("/.mtllib/old/") != std::string::npos;
    if (isOld && line.rfind("linkat ", 0) == 0) {
      EXPECT_EQ(placed, 0U) << line;
      ++kept;
    } else if (isOld && line.rfind("unlinkat ", 0) == 0) {
      EXPECT_GT(placed, replaced) << line;
      ++freed;
    } else if (!isOwn && line.rfind("renameat ", 0) == 0) {
      EXPECT_EQ(freed, 0U) << line;
      ++placed;
    }
  }
  EXPECT_EQ(kept, replaced);
  EXPECT_EQ(freed, replaced);
  EXPECT_FALSE(std::filesystem::exists(dir / "copy/.mtllib/old"));
}

TEST_F(CutUpdate, LeavesTheOldCopyWhenTheFolderCannotBeWritten) {
  const auto folder = dir.path() / "copy";
  std::filesystem::permissions(
      folder / ".mtllib", std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  {
    const Unprivileged ordinary;
    EXPECT_EQ(run(1).exitCode, 4);
  }
  std::filesystem::permissions(folder / ".mtllib", std::filesystem::perms::owner_all);
  expectComplete(0, "read-only");
  EXPECT_EQ(run(1).exitCode, 0);
  expectComplete(1, "writable again");
}

TEST_F(CutUpdate, LeavesOldOrNewFilesWhenASubfolderCannotBeWritten) {
  const auto folder = dir.path() / "copy/changes";
  std::filesystem::permissions(
      folder, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  {
    const Unprivileged ordinary;
    const ProcessResult result = run(1);
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, testing::HasSubstr("changes/"));
  }
  std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
  expectOldOrNew(1, "a folder that is read-only");
  EXPECT_EQ(run(1).exitCode, 0);
  expectComplete(1, "writable again");
}

TEST_F(CutUpdate, LeavesTheOldCopyWhenFilesMayNotGrowFurther) {
  // What a full disk does to writing, a limit does too, and needs no disk of its own.
  const ProcessResult result =
      runProcess(updateOf(dir / "copy", 1, {"sh", "-c", "ulimit -f 2; exec \"$@\"", "sh"}));
  EXPECT_EQ(result.exitCode, 4) << result.err;
  EXPECT_THAT(result.err, testing::HasSubstr(".mtllib/"));
  bool isStaged = false;
  EXPECT_EQ(tree(isStaged), copyOf(0));
  EXPECT_EQ(run(1).exitCode, 0);
  expectComplete(1, "with room again");
}

TEST_F(CutUpdate, FollowsNoLinkThatSomebodyPutIntoTheCopy) {
  writeFile(dir / "outside/each time.tx", "theirs");
  std::filesystem::remove_all(dir.path() / "copy/changes");
  std::filesystem::create_directory_symlink(dir.path() / "outside", dir.path() / "copy/changes");
  EXPECT_EQ(run(1).exitCode, 0);
  EXPECT_EQ(readTree(dir / "outside"), (Tree{{"each time.tx", "theirs"}}));
  EXPECT_TRUE(std::filesystem::is_symlink(dir.path() / "copy/changes"));
  EXPECT_EQ(readFile(dir / "copy/only in 1/a.tx"), "only in 1");
}

TEST_F(CutUpdate, ReplacesNoStageOrStateByFollowingALink) {
  std::filesystem::create_directory(dir.path() / "outside");
  std::filesystem::create_directory_symlink(dir.path() / "outside",
                                            dir.path() / "copy/.mtllib/stage");
  EXPECT_EQ(run(1).exitCode, 4);
  EXPECT_TRUE(std::filesystem::is_empty(dir.path() / "outside"));
  expectOldOrNew(1, "a link in the place of the stage");
}

TEST_F(CutUpdate, ReadsWhatIsThereWhenTheStateIsLostOrDamaged) {
  for (const char* content : {"", "damaged"}) {
    writeFile(dir / "copy/.mtllib/state", content);
    EXPECT_EQ(run(0).exitCode, 0);
    expectComplete(0, content);
  }
}

}  // namespace
