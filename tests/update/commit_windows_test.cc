// Tests files that some program has open, on Windows' terms.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/no_access.h"
#include "update/update_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class CommitWindows : public UpdateFixture {
 protected:
  CommitWindows() {
    list("a", "1");
    list("b", "2");
    list("c", "3");
    update();
    begin();
    target.stamp = "stamp 2";
  }

  std::unique_ptr<NoAccess> hold(const std::string& path) {
    return std::make_unique<NoAccess>(
        std::vector<std::filesystem::path>{dir.path() / "copy" / path});
  }
};

TEST_F(CommitWindows, NamesTheFileThatIsInUseAndTheNextRunFinishes) {
  list("a", "new 1");
  list("b", "new 2");
  list("c", "new 3");
  plan = makePlan();
  stageAll();
  auto held = hold("b");
  ASSERT_FALSE(commit());
  EXPECT_THAT(result.changed, ElementsAre("a", "c"));
  ASSERT_THAT(result.busy, SizeIs(1));
  EXPECT_EQ(result.busy[0].about, "b");
  EXPECT_TRUE(result.busy[0].isTransient);
  EXPECT_TRUE(mtlupdate::hasStagedContents(folder));
  held.reset();
  EXPECT_EQ(readFile(dir / "copy/b"), "2");
  EXPECT_EQ(readFile(dir / "copy/id.txt"), "stamp 1");
  plan = makePlan();
  EXPECT_THAT(plan.place, SizeIs(1)) << "only what is not in its place yet";
  ASSERT_FALSE(commit());
  EXPECT_EQ(readFile(dir / "copy/b"), "new 2");
  EXPECT_EQ(readFile(dir / "copy/id.txt"), "stamp 2");
}

TEST_F(CommitWindows, NamesTheWithdrawnFileThatIsInUse) {
  list("a", "1");
  list("b", "2");
  options.prune = true;
  plan = makePlan();
  auto held = hold("c");
  ASSERT_FALSE(commit());
  ASSERT_THAT(result.busy, SizeIs(1));
  EXPECT_EQ(result.busy[0].about, "c");
  EXPECT_THAT(result.removed, IsEmpty());
  held.reset();
  EXPECT_EQ(readFile(dir / "copy/id.txt"), "stamp 1");
  plan = makePlan();
  ASSERT_FALSE(commit());
  EXPECT_THAT(result.removed, ElementsAre("c"));
}

TEST_F(CommitWindows, NamesTheFileInUseWhereAFolderGoesAndTheNextRunFinishes) {
  list("a", "new 1");
  list("b/x", "new 2");
  list("c", "new 3");
  plan = makePlan();
  stageAll();
  auto held = hold("b");
  ASSERT_FALSE(commit());
  EXPECT_THAT(result.changed, ElementsAre("a", "c"));
  ASSERT_THAT(result.busy, SizeIs(1));
  EXPECT_EQ(result.busy[0].about, "b");
  held.reset();
  EXPECT_EQ(readFile(dir / "copy/b"), "2");
  EXPECT_EQ(readFile(dir / "copy/id.txt"), "stamp 1");
  plan = makePlan();
  ASSERT_FALSE(commit());
  EXPECT_THAT(result.busy, IsEmpty());
  EXPECT_EQ(readFile(dir / "copy/b/x"), "new 2");
  EXPECT_EQ(readFile(dir / "copy/id.txt"), "stamp 2");
}

TEST_F(CommitWindows, NamesTheFileInUseWhoseFolderGivesWayAndTheNextRunFinishes) {
  list("folder/x", "1");
  for (const char* path : {"a", "b", "c"})
    list(path, "1");
  update();
  begin();
  list("folder", "new");
  plan = makePlan();
  stageAll();
  auto held = hold("folder/x");
  ASSERT_FALSE(commit());
  EXPECT_THAT(result.changed, IsEmpty());
  ASSERT_FALSE(result.busy.empty());
  EXPECT_EQ(result.busy[0].about, "folder/x");
  held.reset();
  EXPECT_EQ(readFile(dir / "copy/folder/x"), "1");
  plan = makePlan();
  ASSERT_FALSE(commit());
  EXPECT_THAT(result.busy, IsEmpty());
  EXPECT_EQ(readFile(dir / "copy/folder"), "new");
}

}  // namespace
