// What is left when publishing is killed, at every one of its changes to the folder. Only POSIX
// systems let a test stand in front of a program's calls of the system.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "mtlpublish/verify.h"
#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

using testing::EndsWith;
using testing::IsEmpty;

class KilledBuild : public testing::Test {
 protected:
  /// Publishes anew, counting the changes. With `point`, the program is killed at that one.
  int build(int point) {
    // The sanitizer's library would insist on being the first.
    const char* options = std::getenv("ASAN_OPTIONS");
    return runProcess({MTLPUBLISH, "build", "-q", library_},
                      {{"LD_PRELOAD", WRITE_POINTS},
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

}  // namespace
