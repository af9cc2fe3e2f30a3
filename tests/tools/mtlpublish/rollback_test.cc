// Tests earlier builds: what is kept of them, and how one is published again.
#include "mtlpublish/rollback.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "mtlpublish/build_lock.h"
#include "mtlpublish/kept_builds.h"
#include "mtlpublish/publisher.h"
#include "mtlpublish/system.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::BuildLock;
using mtlpublish::BuildRecord;
using mtlpublish::KeptBuilds;
using mtlpublish::parseRecord;
using mtlpublish::PublishOptions;
using mtlpublish::RollbackResult;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class Rollback : public testing::Test {
 protected:
  Rollback() { options_.keep = 2; }

  void add(const std::string& path, const std::string& content) { writeFile(dir_ / path, content); }
  /// The id of the build.
  std::string build() {
    options_.start = std::chrono::system_clock::now();
    const auto result = mtlpublish::publish(dir_.path(), options_);
    EXPECT_THAT(result.problems, IsEmpty());
    EXPECT_THAT(result.warnings, IsEmpty());
    return result.id;
  }
  RollbackResult rollback() {
    return mtlpublish::rollback(dir_.path(), options_.signing, 50,
                                std::chrono::system_clock::now());
  }
  KeptBuilds kept() {
    std::error_code error;
    return KeptBuilds(mtlpublish::canonicalPath(dir_.path(), error));
  }
  /// All that a server hands out, but for the stamp.
  std::map<std::string, std::string> published() {
    std::map<std::string, std::string> files;
    for (auto& [path, content] : readTree(dir_ / "")) {
      if (path.rfind(".mtlpublish", 0) != 0 && path != "id.txt") files.emplace(path, content);
    }
    return files;
  }

  TempDir dir_;
  PublishOptions options_;
};

TEST_F(Rollback, PublishesTheBuildBeforeUnderAnIdThatIsNew) {
  add("changed", "1");
  add("folder/removed", "2");
  add("same", "3");
  add("twice", "1");
  const std::string first = build();
  const auto before = published();
  add("changed", "11");
  fs::remove_all(dir_.path() / "folder");
  add("added/by/mistake", "4");
  add("folder", "a file where a folder was");
  const std::string second = build();
  const std::string secondList = readFile(dir_ / "filelist.json");

  const RollbackResult result = rollback();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_EQ(result.placed, 2U);
  EXPECT_EQ(result.removed, 2U);
  EXPECT_EQ(published(), before);
  EXPECT_EQ(readFile(dir_ / ".mtlpublish-previous"), secondList);
  EXPECT_FALSE(fs::exists(dir_.path() / "added"));
  EXPECT_THAT(readFile(dir_ / "id.txt"), StartsWith(result.id + "\n"));
  EXPECT_NE(result.id, first) << "which a client may hold from a run that was under way";
  EXPECT_NE(result.id, second);
  EXPECT_EQ(build(), result.id) << "nothing has changed since";
  add("same", "33");
  EXPECT_NE(build(), result.id);
}

TEST_F(Rollback, GoesOneFurtherEachTime) {
  for (const char* content : {"1", "22", "333"}) {
    add("a", content);
    build();
  }
  EXPECT_THAT(rollback().problems, IsEmpty());
  EXPECT_EQ(readFile(dir_ / "a"), "22");
  EXPECT_THAT(rollback().problems, IsEmpty());
  EXPECT_EQ(readFile(dir_ / "a"), "1");
  EXPECT_THAT(rollback().problems,
              ElementsAre("no build before the last one is kept: say keep = 1 or more in "
                          "library.toml"));
}

TEST_F(Rollback, KeepsNoMoreThanItWasTold) {
  for (const char* content : {"1", "22", "333", "4444"}) {
    add("a", content);
    build();
  }
  EXPECT_THAT(kept().numbers(), ElementsAre(2U, 3U, 4U));
  std::vector<std::string> contents;
  for (const auto& file : fs::directory_iterator(dir_.path() / ".mtlpublish/contents"))
    contents.push_back(readFile(file.path().u8string()));
  EXPECT_THAT(contents, UnorderedElementsAre("22", "333", "4444"));
  build();
  EXPECT_THAT(kept().numbers(), ElementsAre(2U, 3U, 4U)) << "nothing has changed";
}

TEST_F(Rollback, KeepsACopyThatWritingIntoTheFileLeavesAlone) {
  add("a", "1");
  build();
  std::ofstream(dir_.path() / "a", std::ios::app) << "2";
  build();
  EXPECT_THAT(rollback().problems, IsEmpty());
  EXPECT_EQ(readFile(dir_ / "a"), "1");
}

TEST_F(Rollback, TouchesNothingWhenAFileHasChangedSince) {
  add("a", "1");
  add("b", "1");
  build();
  add("a", "22");
  add("b", "22");
  add("c", "22");
  build();
  add("a", "mine");
  add("c", "mine");
  const auto before = readTree(dir_ / "");
  EXPECT_THAT(rollback().problems, ElementsAre("a: has changed since the last build",
                                               "c: has changed since the last build"));
  EXPECT_EQ(readTree(dir_ / ""), before);
}

TEST_F(Rollback, TouchesNothingWhenWhatWasKeptIsDamaged) {
  add("a", "1");
  build();
  add("a", "22");
  add("b", "22");
  build();
  for (const auto& file : fs::directory_iterator(dir_.path() / ".mtlpublish/contents"))
    writeFile(file.path().u8string(), "?");
  auto before = readTree(dir_ / "");
  EXPECT_THAT(rollback().problems, ElementsAre("a: its former content is not kept, or damaged"));
  EXPECT_EQ(readTree(dir_ / ""), before);
  writeFile(dir_ / ".mtlpublish/builds/1", "half a rec");
  EXPECT_THAT(rollback().problems, ElementsAre(".mtlpublish: is damaged"));
}

TEST_F(Rollback, GoesOnAfterOneThatWasCut) {
  add("a", "1");
  add("b", "1");
  build();
  add("a", "22");
  add("b", "22");
  add("c", "22");
  build();
  add("a", "1");
  fs::remove(dir_.path() / "c");
  const RollbackResult result = rollback();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_EQ(result.placed, 1U);
  EXPECT_EQ(result.removed, 0U);
}

/// A rollback whose stamp cannot be written: a folder has its place.
TEST_F(Rollback, RemovesNothingBeforeTheNewStampIsThere) {
  add("a", "1");
  build();
  add("added", "2");
  add("added too/b", "3");
  build();
  const std::string stamp = readFile(dir_ / "id.txt");
  fs::remove(dir_.path() / "id.txt");
  writeFile(dir_ / "id.txt/inner", "");
  EXPECT_THAT(rollback().problems, ElementsAre(StartsWith("id.txt: cannot be written: ")));
  EXPECT_EQ(readFile(dir_ / "added"), "2") << "which the list before still has";
  EXPECT_EQ(readFile(dir_ / "added too/b"), "3");

  fs::remove_all(dir_.path() / "id.txt");
  writeFile(dir_ / "id.txt", stamp);
  const RollbackResult result = rollback();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_EQ(result.removed, 2U);
  EXPECT_FALSE(fs::exists(dir_.path() / "added too"));
}

TEST_F(Rollback, MakesRoomForFilesWhoseNamesAreTaken) {
  add("file", "1");
  add("folder/file", "2");
  add("Case", "3");
  add("Same", "8");
  build();
  fs::remove_all(dir_.path() / "folder");
  for (const char* path : {"file", "Case", "Same"})
    fs::remove(dir_.path() / path);
  add("file/below", "4");
  add("folder", "5");
  add("case", "6");
  add("same", "8");
  build();
  add("file/mine", "7");
  EXPECT_THAT(rollback().problems,
              ElementsAre("file: a folder has its place, with files that were not published"));
  EXPECT_EQ(readFile(dir_ / "file/below"), "4");
  fs::remove(dir_.path() / "file/mine");
  const RollbackResult result = rollback();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_EQ(result.removed, 4U);
  EXPECT_EQ(published().size(), 6U) << "four files, and the list in two forms";
  EXPECT_EQ(readFile(dir_ / "file"), "1");
  EXPECT_EQ(readFile(dir_ / "folder/file"), "2");
  EXPECT_EQ(readFile(dir_ / "Case"), "3");
  EXPECT_EQ(readFile(dir_ / "Same"), "8");
}

TEST_F(Rollback, GivesASignedLibraryAHigherSerial) {
  options_.signing.way = mtlpublish::SigningOptions::Way::kKey;
  options_.signing.library = "oak";
  options_.signing.key = mtlsigning::SecretKey::generate();
  add("a", "1");
  build();
  const std::string list = readFile(dir_ / "filelist.json");
  add("a", "22");
  options_.start = std::chrono::system_clock::now();
  const auto last = mtlpublish::publish(dir_.path(), options_);
  ASSERT_TRUE(last.release);
  const RollbackResult result = rollback();
  EXPECT_THAT(result.problems, IsEmpty());
  ASSERT_TRUE(result.release);
  EXPECT_GT(result.release->serial, last.release->serial);
  EXPECT_EQ(readFile(dir_ / "filelist.json"), list);
  EXPECT_THAT(readFile(dir_ / "id.txt"),
              HasSubstr("; serial: " + std::to_string(result.release->serial) + ";"));
  options_.signing = {};
  EXPECT_THAT(rollback().problems, ElementsAre(StartsWith("the library was signed before")));
}

TEST_F(Rollback, RefusesAFolderThatIsNone) {
  EXPECT_THAT(mtlpublish::rollback(dir_.path() / "none", {}, 50, {}).problems,
              ElementsAre((dir_.path() / "none").u8string() + ": No such file or directory"));
}

TEST(BuildRecord, IsReadAsItWasWritten) {
  const BuildRecord record{{{"a b/é", std::string(64, 'a')}, {"c", std::string(64, '0')}},
                           "[\n{\"path\":\"c\"}\n]\n"};
  const std::string text = recordText(record);
  const auto read = parseRecord(text);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->list, record.list);
  ASSERT_EQ(read->files.size(), 2U);
  EXPECT_EQ(read->files[0].path, "a b/é");
  EXPECT_EQ(read->files[1].sha256, std::string(64, '0'));
  for (std::size_t size = 0; size < text.size(); ++size)
    EXPECT_FALSE(parseRecord(text.substr(0, size))) << size;
  EXPECT_FALSE(parseRecord("mtlpublish build 2\n\n[]\n"));
  EXPECT_FALSE(parseRecord("mtlpublish build 1\n" + std::string(64, 'x') + " a\n\n[]\n"));
}

TEST(BuildLock, IsHeldByOneAtATime) {
  const TempDir dir;
  writeFile(dir / "a", "1");
  std::error_code error;
  const fs::path root = mtlpublish::canonicalPath(dir.path(), error);
  {
    BuildLock lock;
    EXPECT_EQ(lock.take(root), "");
    EXPECT_THAT(mtlpublish::publish(dir.path(), {}).problems,
                ElementsAre(StartsWith("another build is at work on this folder")));
    EXPECT_FALSE(fs::exists(dir.path() / "id.txt"));
    PublishOptions trial;
    trial.isTrial = true;
    EXPECT_THAT(mtlpublish::publish(dir.path(), trial).problems, IsEmpty()) << "writes nothing";
  }
  EXPECT_THAT(mtlpublish::publish(dir.path(), {}).problems, IsEmpty());
}

}  // namespace
