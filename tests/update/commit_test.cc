// Tests moving staged files to their places, on a real disk.
#include "update/commit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "support/temp_dir.h"
#include "update/own_files.h"
#include "update/staging.h"
#include "update/update_fixture.h"

namespace {

using mtlupdate::Failure;
using mtlupdate::Outcome;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class CommitTest : public UpdateFixture {};

TEST_F(CommitTest, PutsFilesStateListAndStampInTheirPlaces) {
  list("a/b", "new");
  list("c", "more");
  writeFile(dir / "copy/c", "old");
  writeFile(dir / "copy/.mtllib/filelist.json.new", "the list");
  target.hasNewList = true;
  update();
  EXPECT_THAT(result.changed, ElementsAre("a/b", "c"));
  auto tree = readTree(dir / "copy");
  EXPECT_EQ(tree.count(".mtllib/state"), 1U);
  tree.erase(".mtllib/state");
  EXPECT_THAT(tree, ElementsAre(Pair(".mtllib/filelist.json", "the list"), Pair("a/b", "new"),
                                Pair("c", "more"), Pair("id.txt", "stamp 1")));
  const mtlupdate::State state = mtlupdate::readState(folder);
  EXPECT_EQ(state.stamp, "stamp 1");
  EXPECT_THAT(state.files(), SizeIs(2));
}

TEST_F(CommitTest, LeavesAStateThatSparesTheNextPlanEveryReading) {
  list("a/b", "new");
  list("c", "more");
  list("d", "more");
  update();
  plan = makePlan();
  EXPECT_THAT(plan.place, IsEmpty());
  EXPECT_EQ(plan.filesUnchanged, 3U);
  EXPECT_EQ(bytesRead, 0U);
}

TEST_F(CommitTest, GivesEveryFileOfOneContentItsOwn) {
  list("a", "same");
  list("b", "same");
  list("c", "same");
  update();
  EXPECT_EQ(readFile(dir / "copy/a"), "same");
  EXPECT_EQ(readFile(dir / "copy/b"), "same");
  EXPECT_EQ(readFile(dir / "copy/c"), "same");
  writeFile(dir / "copy/a", "changed by somebody");
  EXPECT_EQ(readFile(dir / "copy/b"), "same");
}

TEST_F(CommitTest, PutsTheStampBelowItsSubPath) {
  target.subPath = "sub/path";
  update();
  EXPECT_EQ(readFile(dir / "copy/sub/path/id.txt"), "stamp 1");
}

TEST_F(CommitTest, RemovesWithdrawnFilesAndTheFoldersThatAreEmptyThen) {
  list("a/b/c", "1");
  list("a/d", "2");
  list("e", "3");
  list("f", "4");
  update();
  writeFile(dir / "copy/a/theirs", "theirs");
  begin();
  list("e", "3");
  list("f", "4");
  options.prune = true;
  plan = makePlan();
  EXPECT_THAT(plan.withdrawn, SizeIs(2));
  ASSERT_FALSE(commit());
  EXPECT_THAT(result.removed, ElementsAre("a/b/c", "a/d"));
  EXPECT_FALSE(std::filesystem::exists(dir / "copy/a/b"));
  EXPECT_EQ(readFile(dir / "copy/a/theirs"), "theirs");
}

TEST_F(CommitTest, LeavesAWithdrawnFileThatWasChangedAfterThePlan) {
  list("a", "1");
  list("b", "2");
  update();
  begin();
  list("a", "1");
  options.prune = true;
  plan = makePlan();
  writeFile(dir / "copy/b", "changed since");
  ASSERT_FALSE(commit());
  EXPECT_THAT(result.removed, IsEmpty());
  EXPECT_EQ(readFile(dir / "copy/b"), "changed since");
}

TEST_F(CommitTest, MakesAFileAFolderAndAFolderAFile) {
  list("file", "1");
  list("folder/a", "2");
  list("folder/deep/er/b", "3");
  for (const char* other : {"other 1", "other 2", "other 3"})
    list(other, "4");
  update();
  begin();
  list("file/deep/a", "1");
  list("file/b", "5");
  list("folder", "6");
  for (const char* other : {"other 1", "other 2", "other 3"})
    list(other, "4");
  target.stamp = "stamp 2";
  update();
  auto tree = readTree(dir / "copy");
  tree.erase(".mtllib/state");
  EXPECT_THAT(tree, ElementsAre(Pair("file/b", "5"), Pair("file/deep/a", "1"), Pair("folder", "6"),
                                Pair("id.txt", "stamp 2"), Pair("other 1", "4"),
                                Pair("other 2", "4"), Pair("other 3", "4")));
  EXPECT_THAT(result.removed, ElementsAre("file", "folder/a", "folder/deep/er/b"));
  EXPECT_THAT(result.changed, ElementsAre("file/deep/a", "file/b", "folder"));
}

TEST_F(CommitTest, LeavesTheOldStampWhileSomethingKeepsAFileFromItsPlace) {
  list("a", "1");
  list("b", "2");
  update();
  begin();
  target.stamp = "stamp 2";
  list("a/x", "3");
  list("b", "4");
  writeFile(dir / "copy/a", "changed by somebody");
  plan = makePlan();
  stageAll();
  ASSERT_FALSE(commit());
  EXPECT_EQ(readFile(dir / "copy/a"), "changed by somebody");
  EXPECT_EQ(readFile(dir / "copy/b"), "4");
  EXPECT_EQ(readFile(dir / "copy/id.txt"), "stamp 1");
  EXPECT_TRUE(mtlupdate::isUnfinished(folder)) << "also when the library goes back to stamp 1";
  std::filesystem::remove(dir.path() / "copy/a");
  update();
  EXPECT_EQ(readFile(dir / "copy/a/x"), "3");
  EXPECT_EQ(readFile(dir / "copy/id.txt"), "stamp 2");
  EXPECT_FALSE(mtlupdate::isUnfinished(folder));
}

TEST_F(CommitTest, PutsTheStampInAFolderWhoseFilesWereWithdrawn) {
  list("sub/a", "1");
  list("b", "2");
  update();
  begin();
  list("b", "2");
  target.subPath = "sub";
  options.prune = true;
  update();
  EXPECT_EQ(readFile(dir / "copy/sub/id.txt"), "stamp 1");
}

TEST_F(CommitTest, DoesNothingWhenAContentIsNotStaged) {
  writeFile(dir / "copy/b", "old");
  list("b", "2");
  list("a", "1");
  plan = makePlan();
  staged.resize(plan.contents);
  stage(*plan.fetch.at(0).entry, plan.fetch[0].content);
  const Outcome failure = commit();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kContent);
  EXPECT_EQ(failure->about, "a");
  EXPECT_EQ(readFile(dir / "copy/b"), "old");
}

TEST_F(CommitTest, RefusesToPutTheStampInThePlaceOfAnythingButAFile) {
  list("a", "1");
  std::filesystem::create_directories(dir / "copy/id.txt/theirs");
  plan = makePlan();
  stageAll();
  const Outcome failure = commit();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kDisk);
  EXPECT_EQ(failure->about, "id.txt");
  EXPECT_FALSE(std::filesystem::exists(dir / "copy/a"));
}

TEST_F(CommitTest, LeavesTheOldStampWhenAFileCannotBePlaced) {
  list("a", "1");
  list("b", "2");
  update();
  begin();
  target.stamp = "stamp 2";
  list("a", "new 1");
  list("b", "new 2");
  plan = makePlan();
  stageAll();
  std::filesystem::remove(dir.path() / "copy/b");
  writeFile(dir / "copy/b/theirs", "a folder since the plan was made");
  ASSERT_TRUE(commit() || !result.busy.empty());
  EXPECT_EQ(readFile(dir / "copy/id.txt"), "stamp 1");
  EXPECT_EQ(readFile(dir / "copy/a"), "new 1");
  EXPECT_TRUE(mtlupdate::hasStagedContents(folder));
  // The next run finishes when the way is free.
  std::filesystem::remove_all(dir / "copy/b");
  begin();
  list("a", "new 1");
  list("b", "new 2");
  update();
  EXPECT_EQ(readFile(dir / "copy/b"), "new 2");
  EXPECT_EQ(readFile(dir / "copy/id.txt"), "stamp 2");
}

TEST_F(CommitTest, WritesDownWhatIsTrustedBeforeTheFirstFileIsPlaced) {
  target.trusted = "stamps";
  list("a", "1");
  plan = makePlan();
  stageAll();
  writeFile(dir / "copy/a/theirs", "a folder since the plan was made");
  ASSERT_TRUE(commit() || !result.busy.empty());
  EXPECT_THAT(result.changed, IsEmpty());
  EXPECT_EQ(readFile(dir / "copy/.mtllib/trusted"), "stamps");
  // It stays where nothing is said of it.
  std::filesystem::remove_all(dir / "copy/a");
  target.trusted = "";
  update();
  EXPECT_EQ(readFile(dir / "copy/.mtllib/trusted"), "stamps");
}

TEST_F(CommitTest, MeasuresTheTimeFromTheFirstRenameToTheLast) {
  for (int i = 0; i < 1000; ++i)
    list("folder " + std::to_string(i % 20) + "/" + std::to_string(i), std::to_string(i));
  update();
  EXPECT_THAT(result.changed, SizeIs(1000));
  EXPECT_GT(result.renaming.count(), 0);
  RecordProperty("microseconds", std::to_string(result.renaming.count()));
}

}  // namespace
