// What a scan finds and refuses.
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
  for (const char* path : {"b", "a/z", "a-b", "a b/é 木.tx", "Z", "é", ".hidden/x"})
    add(path);
  EXPECT_THAT(paths(), ElementsAre(".hidden/x", "Z", "a b/é 木.tx", "a-b", "a/z", "b", "é"));
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
  for (const char* path :
       {"a/filelist.json", "a/id.txt", "a/.mtlpublish-12.tmp", "a/.mtllib/x", "id.txt.tmp"}) {
    add(path);
  }
  EXPECT_THAT(paths(), ElementsAre("a/.mtllib/x", "a/.mtlpublish-12.tmp", "a/filelist.json",
                                   "a/id.txt", "id.txt.tmp"));
}

TEST_F(TreeScan, RefusesAFolderWherePublishingWritesAFile) {
  fs::create_directory(root_ / "id.txt");
  EXPECT_THAT(problems(),
              ElementsAre("id.txt: a folder where publishing writes a file of that name"));
}

TEST_F(TreeScan, RefusesNamesThatClientsTakeForTheirOwn) {
  add(".MtlLib/x");
  add("MTLLIB~1");
  add("Id.Txt");
  EXPECT_THAT(problems(), ElementsAre(".MtlLib: clients keep the name for their own files",
                                      "Id.Txt: clients keep the name for their own files",
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
