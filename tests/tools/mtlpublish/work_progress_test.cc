// Tests the line that shows how far the work has come.
#include "mtlpublish/work_progress.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using mtlpublish::progressText;
using mtlpublish::shownOn;
using mtlpublish::WorkProgress;

TEST(ProgressText, TellsFilesBytesAndTheFile) {
  EXPECT_EQ(progressText({12, 340, 1'200'000, 3'400'000'000, "maps/oak.tx"}),
            "12 of 340 files, 1.2 MB of 3.4 GB  maps/oak.tx");
  EXPECT_EQ(progressText({0, 1, 0, 7, "a\x1B[2Jb"}), "0 of 1 file, 0 bytes of 7 bytes  a\\x1B[2Jb");
}

TEST(ProgressDisplay, DrawsNowAndThenCutToTheWidth) {
  std::ostringstream stream;
  {
    common::Console console(stream, {true, [] { return 30; }});
    const auto show = shownOn(console);
    const WorkProgress progress{1, 2, 3, 4, std::string(200, 'x')};
    show(progress);
    EXPECT_EQ(stream.str(), "") << "too early";
    while (stream.str().empty())
      show(progress);
    EXPECT_EQ(stream.str(), "\r\x1b[K1 of 2 files, 3 bytes of 4...");
  }
  EXPECT_EQ(stream.str().substr(stream.str().size() - 4), "\r\x1b[K") << "nothing is left";
}

TEST(ProgressDisplay, IsForTerminals) {
  std::ostringstream stream;
  common::Console console(stream, {false, nullptr});
  EXPECT_FALSE(shownOn(console));
}

}  // namespace
