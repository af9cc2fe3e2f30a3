// Tests when and what progress is shown.
#include "mtlsync/progress_display.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <sstream>

namespace mtlsync {
namespace {

using mtlhost::Progress;
using testing::EndsWith;

/// Of 20 MB.
Progress downloading(int permille) {
  Progress progress{"Downloading files", permille};
  progress.bytesTotal = 20000000;
  progress.bytesDone = permille * INT64_C(20000);
  return progress;
}

/// A display whose clock stands still until told.
class ProgressDisplayTest : public testing::TestWithParam<int> {
 protected:
  std::string written() {
    std::string text = stream_.str();
    stream_.str("");
    return text;
  }
  void pass(int milliseconds) { now_ += std::chrono::milliseconds(milliseconds); }

  int width_ = 80;
  ProgressDisplay::TimePoint now_;
  std::ostringstream stream_;
  common::Console pipe_{stream_, {}};
  common::Console terminal_{stream_, {true, [this] { return width_; }}};
  ProgressDisplay inPipe_{pipe_, [this] { return now_; }};
  ProgressDisplay onTerminal_{terminal_, [this] { return now_; }};
};

TEST_F(ProgressDisplayTest, PrintsALineForEachPhaseIntoAPipe) {
  inPipe_.show({"Accessing stamp"});
  inPipe_.endPhase();
  inPipe_.show({"Getting file list"});
  inPipe_.show({"Getting file list", Progress::kUnknown, 5});
  inPipe_.endPhase();
  EXPECT_EQ(written(), "Accessing stamp\nGetting file list\n");
}

TEST_F(ProgressDisplayTest, PrintsALineForEveryTenthIntoAPipe) {
  for (int permille = 0; permille <= 1000; ++permille)
    inPipe_.show(downloading(permille));
  EXPECT_EQ(written(),
            "Downloading files\n"
            "Downloading files: 10 % (2.0 of 20.0 MB)\n"
            "Downloading files: 20 % (4.0 of 20.0 MB)\n"
            "Downloading files: 30 % (6.0 of 20.0 MB)\n"
            "Downloading files: 40 % (8.0 of 20.0 MB)\n"
            "Downloading files: 50 % (10.0 of 20.0 MB)\n"
            "Downloading files: 60 % (12.0 of 20.0 MB)\n"
            "Downloading files: 70 % (14.0 of 20.0 MB)\n"
            "Downloading files: 80 % (16.0 of 20.0 MB)\n"
            "Downloading files: 90 % (18.0 of 20.0 MB)\n"
            "Downloading files: 100 % (20.0 of 20.0 MB)\n");
}

TEST_F(ProgressDisplayTest, DrawsAtMostTenTimesASecondOnATerminal) {
  for (int permille = 0; permille < 1000; ++permille) {
    onTerminal_.show(downloading(permille));
    pass(1);
  }
  const std::string text = written();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\r'), 10);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 0);
}

TEST_F(ProgressDisplayTest, ShowsRateAndRemainingTimeOnATerminal) {
  Progress progress = downloading(100);
  progress.bytesPerSecond = 1000000;
  progress.secondsLeft = 18;
  onTerminal_.show(progress);
  EXPECT_THAT(written(), EndsWith("   10%  2.0 / 20.0 MB  1.0 MB/s  0:18 left"));
}

TEST_F(ProgressDisplayTest, ShowsTheFileOnATerminalUntilThePhaseEnds) {
  onTerminal_.setFile("maps/\x1b[31moak\n.tx");
  onTerminal_.show(downloading(0));
  EXPECT_THAT(written(), EndsWith("   0%  0.0 / 20.0 MB  maps/\\x1B[31moak .tx"));
  onTerminal_.endPhase();
  pass(1000);
  written();
  onTerminal_.show({"Saving"});
  EXPECT_EQ(written(), "\r\x1b[KSaving  0 bytes");
}

TEST_F(ProgressDisplayTest, LeavesFilesOutOfAPipe) {
  inPipe_.setFile("maps/oak.tx");
  inPipe_.show({"Downloading files", 500});
  EXPECT_FALSE(inPipe_.showsFiles());
  EXPECT_EQ(written(), "Downloading files\nDownloading files: 50 % (0 bytes)\n");
}

TEST_F(ProgressDisplayTest, ShowsHostilePhasesHarmlessly) {
  inPipe_.show({"Saving\x1b[2J"});
  EXPECT_EQ(written(), "Saving\\x1B[2J\n");
}

TEST_F(ProgressDisplayTest, ClearsTheTerminalAfterAPhaseAndStaysAwayUntilTheNext) {
  onTerminal_.show({"Getting file list"});
  onTerminal_.endPhase();
  EXPECT_EQ(written(), "\r\x1b[KGetting file list  0 bytes\r\x1b[K");
  pass(1000);
  onTerminal_.refresh();
  onTerminal_.endPhase();
  EXPECT_EQ(written(), "");
}

TEST_F(ProgressDisplayTest, FollowsTheWidthOfTheTerminal) {
  onTerminal_.show({"Getting file list"});
  written();
  width_ = 10;
  onTerminal_.refresh();
  EXPECT_EQ(written(), "");
  pass(100);
  onTerminal_.refresh();
  EXPECT_EQ(written(), "\r\x1b[KGettin...");
}

TEST_P(ProgressDisplayTest, FitsTheTerminal) {
  width_ = GetParam();
  for (int permille = 0; permille <= 1000; permille += 10) {
    pass(100);
    onTerminal_.show(downloading(permille));
    const std::string text = written();
    ASSERT_EQ(text.rfind("\r\x1b[K"), 0U);
    EXPECT_LT(text.size() - std::string("\r\x1b[K").size(), static_cast<std::size_t>(width_));
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, ProgressDisplayTest, testing::Values(1, 20, 40, 80, 200));

}  // namespace
}  // namespace mtlsync
