// Tests what is left when publishing is killed, at every one of its changes to the folder. Only
// POSIX systems let a test stand in front of a program's calls of the system.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <sstream>
#include <string>
#include <vector>

#include "mtlpublish/verify.h"
#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

using testing::EndsWith;
using testing::IsEmpty;

class KilledBuild : public testing::Test {
 protected:
  /// Publishes anew, counting the changes. With `point`, the program is killed at that one.
  int build(int point) { return run({"build", "-q", library_}, point); }

  int run(std::vector<std::string> words, int point) {
    words.insert(words.begin(), MTLPUBLISH);
    // The sanitizer's library would insist on being the first.
    const char* options = std::getenv("ASAN_OPTIONS");
    return runProcess(words, {{"LD_PRELOAD", WRITE_POINTS},
                              {"WRITE_POINTS_BELOW", library_},
                              {"WRITE_POINTS_LOG", dir_ / "log"},
                              {"WRITE_POINTS_AT", std::to_string(point)},
                              {"ASAN_OPTIONS", std::string(options != nullptr ? options : "") +
                                                   ":verify_asan_link_order=0"}})
        .exitCode;
  }

  /// Gives the library another content than it ever had.
  void change() { writeFile(dir_ / "library/a", std::to_string(++generation_)); }

  int pointsOfABuild() {
    change();
    EXPECT_EQ(build(0), 0);
    const std::string log = readFile(dir_ / "log");
    return static_cast<int>(std::count(log.begin(), log.end(), '\n'));
  }

  std::vector<std::string> log() const {
    std::istringstream text(readFile(dir_ / "log"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
      lines.push_back(line);
    return lines;
  }

  /// What is wrong with the files that the list names.
  std::vector<std::string> problemsOfFiles() const {
    std::vector<std::string> problems;
    for (std::string& problem :
         mtlpublish::verifyFolder(std::filesystem::u8path(library_), {}).problems) {
      if (problem.rfind("files/", 0) == 0) problems.push_back(std::move(problem));
    }
    return problems;
  }

  TempDir dir_;
  const std::string library_ = dir_ / "library";
  int generation_ = 0;
};

TEST_F(KilledBuild, LeavesALibraryWhereverItEnded) {
  change();
  ASSERT_EQ(build(0), 0);
  std::filesystem::remove(dir_.path() / "log");
  const int points = pointsOfABuild();
  // A list and an id at least, each of which is opened, written, flushed and renamed.
  ASSERT_GE(points, 8) << readFile(dir_ / "log");
  int newLists = 0;
  for (int point = 1; point <= points; ++point) {
    SCOPED_TRACE(point);
    const std::string id = readFile(library_ + "/id.txt");
    const std::string list = readFile(library_ + "/filelist.json");
    change();
    ASSERT_EQ(build(point), 128 + SIGKILL);
    EXPECT_THAT(readFile(library_ + "/filelist.json"), EndsWith("}\n]\n")) << "whole";
    const bool hasNewList = readFile(library_ + "/filelist.json") != list;
    newLists += hasNewList ? 1 : 0;
    if (readFile(library_ + "/id.txt") != id) {
      EXPECT_TRUE(hasNewList) << "a new id beside the old list";
    }
    ASSERT_EQ(runProcess({MTLPUBLISH, "build", "-q", library_}).exitCode, 0);
    EXPECT_THAT(mtlpublish::verifyFolder(std::filesystem::u8path(library_), {}).problems,
                IsEmpty());
  }
  EXPECT_GT(newLists, 0) << "none was killed between the list and the id";
  EXPECT_LT(newLists, points) << "none was killed before the list";
}

// A name may reach the disk before the content does, so that the power may be lost in between.
TEST_F(KilledBuild, FlushesWhatIsKeptBeforeItHasItsName) {
  writeFile(library_ + "/library.toml", "keep = 1\n");
  change();
  writeFile(library_ + "/b", "b");
  ASSERT_EQ(build(0), 0);
  const std::vector<std::string> lines = log();
  const auto isNamed = [](const std::string& line) {
    return line.rfind("rename", 0) == 0 && line.find("/.mtlpublish/contents/") != line.npos;
  };
  const auto isFlush = [](const std::string& line) {
    return line.rfind("syncfs ", 0) == 0 || line.rfind("fsync ", 0) == 0;
  };
  const auto first = std::find_if(lines.begin(), lines.end(), isNamed);
  ASSERT_EQ(std::count_if(lines.begin(), lines.end(), isNamed), 2);
  EXPECT_TRUE(std::any_of(lines.begin(), first, isFlush)) << readFile(dir_ / "log");
  const auto last = std::find_if(lines.rbegin(), lines.rend(), isNamed);
  const auto record = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
    return line.rfind("rename", 0) == 0 && line.find("/.mtlpublish/builds/") != line.npos;
  });
  EXPECT_TRUE(std::any_of(last.base(), record, isFlush)) << "their names, before the record";
}

TEST_F(KilledBuild, LeavesAWholeLibraryWhereverARollbackEnded) {
  const auto publishTwice = [this] {
    writeFile(library_ + "/library.toml", "keep = 1\n");
    for (const char* name : {"same", "withdrawn", "folder/withdrawn"})
      writeFile(library_ + "/files/" + name, name);
    ASSERT_EQ(runProcess({MTLPUBLISH, "build", "-q", library_}).exitCode, 0);
    for (const char* name : {"withdrawn", "folder"})
      std::filesystem::remove_all(library_ + "/files/" + name);
    for (const char* name : {"new", "other/new"})
      writeFile(library_ + "/files/" + name, name);
    ASSERT_EQ(runProcess({MTLPUBLISH, "build", "-q", library_}).exitCode, 0);
  };
  const auto beginAnew = [this] {
    std::filesystem::remove_all(library_);
    std::filesystem::copy(dir_.path() / "published", library_,
                          std::filesystem::copy_options::recursive);
  };
  publishTwice();
  std::filesystem::rename(library_, dir_.path() / "published");
  beginAnew();
  ASSERT_EQ(run({"rollback", library_}, 0), 0);
  const auto points = static_cast<int>(log().size());
  ASSERT_GE(points, 10);
  for (int point = 1; point <= points; ++point) {
    SCOPED_TRACE(point);
    beginAnew();
    ASSERT_EQ(run({"rollback", library_}, point), 128 + SIGKILL);
    EXPECT_THAT(problemsOfFiles(), IsEmpty());
    // The last change of all is that the build is forgotten, after which there is none to go back.
    const int status = runProcess({MTLPUBLISH, "rollback", library_}).exitCode;
    EXPECT_TRUE(status == 0 || point == points) << status;
    EXPECT_THAT(mtlpublish::verifyFolder(std::filesystem::u8path(library_), {}).problems,
                IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(library_ + "/files/withdrawn"));
    EXPECT_EQ(std::filesystem::exists(library_ + "/files/other"), false);
  }
}

}  // namespace
