// Tests what a scan finds and refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tree_scan_fixture.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::scanTree;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using TreeScan = TreeScanTest;

TEST_F(TreeScan, FindsNothingInAnEmptyFolder) {
  fs::create_directories(root_ / "a" / "b");
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(TreeScan, SortsByTheBytesOfTheWholePath) {
  for (const char* path : {"b", "a/z", "a-b", "a b/é 木.tx", "Z", "é", "!/x"})
    add(path);
  EXPECT_THAT(paths(), ElementsAre("!/x", "Z", "a b/é 木.tx", "a-b", "a/z", "b", "é"));
}

TEST_F(TreeScan, TellsWhereTheContentIs) {
  add("a/é");
  const auto scan = scanTree(root_);
  ASSERT_EQ(scan.files.size(), 1U);
  EXPECT_EQ(readFile(scan.files[0].location.u8string()), "a/é");
}

TEST_F(TreeScan, LeavesOutWhatPublishingWrites) {
  for (const char* path :
       {"filelist.json", "id.txt", ".mtlpublish-cache", ".mtlpublish-signed", ".mtlpublish-12.tmp"})
    add(path);
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(TreeScan, LeavesOutWhatAClientKeptInItsCopy) {
  add(".mtllib/state");
  add(".mtllib/stage/maps/oak.tx");
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(TreeScan, TakesFilesOfSuchNamesInFoldersBelow) {
  for (const char* path : {"a/filelist.json", "a/id.txt", "id.txt.tmp"})
    add(path);
  EXPECT_THAT(paths(), ElementsAre("a/filelist.json", "a/id.txt", "id.txt.tmp"));
}

TEST_F(TreeScan, PassesOverWhatIsHardlyMeantToBePublished) {
  for (const char* path :
       {".git/config", ".htpasswd", ".MtlLib/x", "a/.mtlpublish-12.tmp", "a/.hidden", "a/oak.mat~",
        "b.BAK", "c.swp", "maps/thumbs.db", "maps/desktop.ini", "maps/__MACOSX/._oak.tx", "oak.tx",
        "a/bak", "a~b", "thumbs.db.tx"}) {
    add(path);
  }
  EXPECT_THAT(paths(), ElementsAre("a/bak", "a~b", "oak.tx", "thumbs.db.tx"));
  EXPECT_THAT(scanTree(root_).skipped,
              ElementsAre(".MtlLib/", ".git/", ".htpasswd", "a/.hidden", "a/.mtlpublish-12.tmp",
                          "a/oak.mat~", "b.BAK", "c.swp", "maps/__MACOSX/", "maps/desktop.ini",
                          "maps/thumbs.db"));
}

TEST_F(TreeScan, LooksAtNothingBelowWhatItPassesOver) {
  add(".git/" + std::string(200, 'd') + "/" + std::string(58, 'f'));
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(TreeScan, TakesWhatIsAskedForInSpiteOfItsName) {
  for (const char* path : {".well-known/key", ".well-known/.git", ".git/config", "a/.keep"})
    add(path);
  selection_.include = {glob(".well-known"), glob("a/.k*")};
  EXPECT_THAT(paths(), ElementsAre(".well-known/key", "a/.keep"));
  EXPECT_THAT(scanTree(root_, selection_).askedFor, ElementsAre(".well-known", "a/.keep"));
}

TEST_F(TreeScan, LeavesOutWhatIsExcluded) {
  for (const char* path : {"a/drafts/x.psd", "a/x.psd", "a/x.tx", "Id.Txt", ".keep"})
    add(path);
  selection_.exclude = {glob("drafts"), glob("a/*.psd"), glob("Id.Txt"), glob(".keep")};
  selection_.include = {glob("*")};
  EXPECT_THAT(paths(), ElementsAre("a/x.tx")) << "an exclusion counts, whatever is asked for";
}

TEST_F(TreeScan, NeverTakesThePublishersOwnFiles) {
  for (const char* path : {".mtlpublish-cache", ".mtlpublish-signed", ".mtllib/state"})
    add(path);
  selection_.include = {glob("*")};
  EXPECT_THAT(paths(), IsEmpty());
  EXPECT_THAT(scanTree(root_, selection_).skipped, IsEmpty()) << "no news to anybody";
}

TEST_F(TreeScan, RefusesAFolderWherePublishingWritesAFile) {
  fs::create_directory(root_ / "id.txt");
  EXPECT_THAT(problems(),
              ElementsAre("id.txt: a folder where publishing writes a file of that name"));
}

TEST_F(TreeScan, RefusesNamesThatClientsTakeForTheirOwn) {
  add("MTLLIB~1");
  add("Id.Txt");
  EXPECT_THAT(problems(), ElementsAre("Id.Txt: clients keep the name for their own files",
                                      "MTLLIB~1: clients keep the name for their own files"));
}

TEST_F(TreeScan, TakesAPathJustShortEnough) {
  const std::string folder(200, 'd');
  add(folder + "/" + std::string(57, 'f'));
  EXPECT_EQ(paths().at(0).size(), 258U);
}

TEST_F(TreeScan, RefusesPathsThatNoClientCanHold) {
  const std::string folder(200, 'd');
  add(folder + "/" + std::string(58, 'f'));
  EXPECT_THAT(problems(), ElementsAre(folder + "/" + std::string(58, 'f') +
                                      ": the path has 259 bytes, no client can hold more than "
                                      "258"));
}

TEST_F(TreeScan, ReportsEveryProblem) {
  fs::create_directory(root_ / "filelist.json");
  fs::create_directory(root_ / "id.txt");
  const std::string tooLong = std::string(200, 'd') + "/" + std::string(58, 'f');
  add(tooLong);
  EXPECT_THAT(problems(), ElementsAre(StartsWith(tooLong + ": "), StartsWith("filelist.json: "),
                                      StartsWith("id.txt: ")));
}

}  // namespace
