// When and what progress is shown.
#include "mtlsync/progress_display.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <sstream>

namespace mtlsync {
namespace {

using testing::EndsWith;

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
  inPipe_.setText("Accessing stamp");
  inPipe_.update(32);
  inPipe_.endPhase();
  inPipe_.setText("Getting file list");
  inPipe_.update(5000);
  inPipe_.endPhase();
  EXPECT_EQ(written(), "Accessing stamp\nGetting file list\n");
}

TEST_F(ProgressDisplayTest, PrintsALineForEveryTenthIntoAPipe) {
  inPipe_.setText("Downloading files");
  inPipe_.setText("Downloading files (0MB / 20MB)");
  inPipe_.setRange(1000);
  for (int permille = 0; permille <= 1000; ++permille) {
    inPipe_.update(permille * INT64_C(20000));
    inPipe_.setValue(permille);
    inPipe_.setText("Downloading files (" + std::to_string(permille / 50) + "MB / 20MB)");
  }
  EXPECT_EQ(written(),
            "Downloading files\n"
            "Downloading files: 10 % (2.0 of 20 MB)\n"
            "Downloading files: 20 % (4.0 of 20 MB)\n"
            "Downloading files: 30 % (6.0 of 20 MB)\n"
            "Downloading files: 40 % (8.0 of 20 MB)\n"
            "Downloading files: 50 % (10.0 of 20 MB)\n"
            "Downloading files: 60 % (12.0 of 20 MB)\n"
            "Downloading files: 70 % (14.0 of 20 MB)\n"
            "Downloading files: 80 % (16.0 of 20 MB)\n"
            "Downloading files: 90 % (18.0 of 20 MB)\n"
            "Downloading files: 100 % (20.0 of 20 MB)\n");
}

TEST_F(ProgressDisplayTest, DoesNotFloodAPipeWhenMoreArrivesThanAnnounced) {
  inPipe_.setText("Downloading files (0MB / 1MB)");
  inPipe_.setRange(1000);
  for (int permille = 0; permille <= 100000; permille += 500)
    inPipe_.setValue(permille);
  const std::string text = written();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
}

TEST_F(ProgressDisplayTest, CountsTheBytesOfEachPhaseFromItsStart) {
  inPipe_.update(7000000);
  inPipe_.setText("Downloading files (0MB / 20MB)");
  inPipe_.setRange(1000);
  inPipe_.update(9000000);
  inPipe_.setValue(100);
  EXPECT_THAT(written(), EndsWith("10 % (2.0 of 20 MB)\n"));
}

TEST_F(ProgressDisplayTest, TrustsTheCaptionWhereFewerBytesWereCounted) {
  inPipe_.setText("Downloading files (0MB / 20MB)");
  inPipe_.setRange(1000);
  inPipe_.update(1000);
  inPipe_.setText("Downloading files (2MB / 20MB)");
  inPipe_.setValue(100);
  EXPECT_THAT(written(), EndsWith("10 % (2.0 of 20 MB)\n"));
}

TEST_F(ProgressDisplayTest, ScalesValuesToTheRange) {
  inPipe_.setText("Downloading files");
  inPipe_.setValue(1);
  inPipe_.setRange(2);
  inPipe_.setValue(1);
  EXPECT_EQ(written(), "Downloading files\nDownloading files: 50 % (0 bytes)\n");
}

TEST_F(ProgressDisplayTest, DrawsAtMostTenTimesASecondOnATerminal) {
  onTerminal_.setText("Downloading files (0MB / 20MB)");
  onTerminal_.setRange(1000);
  for (int permille = 0; permille < 1000; ++permille) {
    onTerminal_.update(permille * INT64_C(20000));
    onTerminal_.setValue(permille);
    pass(1);
  }
  const std::string text = written();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\r'), 10);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 0);
}

TEST_F(ProgressDisplayTest, ShowsRateAndRemainingTimeOnATerminal) {
  onTerminal_.setText("Downloading files (0MB / 20MB)");
  onTerminal_.setRange(1000);
  pass(1000);
  onTerminal_.setValue(100);
  pass(1000);
  onTerminal_.update(2000000);
  EXPECT_THAT(written(), EndsWith("   10%  2.0 / 20 MB  1.0 MB/s  0:18 left"));
}

TEST_F(ProgressDisplayTest, ShowsTheFileOnATerminalUntilThePhaseEnds) {
  onTerminal_.setText("Downloading files (0MB / 20MB)");
  onTerminal_.setRange(1000);
  onTerminal_.setFile("maps/\x1b[31moak\n.tx");
  pass(1000);
  onTerminal_.setValue(100);
  EXPECT_THAT(written(), EndsWith("   10%  0.0 / 20 MB  maps/\\x1B[31moak .tx"));
  onTerminal_.endPhase();
  onTerminal_.setText("Saving");
  pass(1000);
  written();
  onTerminal_.update(0);
  EXPECT_EQ(written(), "\r\x1b[KSaving  0 bytes");
}

TEST_F(ProgressDisplayTest, LeavesFilesOutOfAPipe) {
  inPipe_.setText("Downloading files");
  inPipe_.setFile("maps/oak.tx");
  inPipe_.setRange(2);
  inPipe_.setValue(1);
  EXPECT_FALSE(inPipe_.showsFiles());
  EXPECT_EQ(written(), "Downloading files\nDownloading files: 50 % (0 bytes)\n");
}

TEST_F(ProgressDisplayTest, ClearsTheTerminalAfterAPhaseAndStaysAwayUntilTheNext) {
  onTerminal_.setText("Getting file list");
  onTerminal_.endPhase();
  EXPECT_EQ(written(), "\r\x1b[KGetting file list  0 bytes\r\x1b[K");
  pass(1000);
  onTerminal_.update(1);
  onTerminal_.endPhase();
  EXPECT_EQ(written(), "");
}

TEST_P(ProgressDisplayTest, FitsTheTerminal) {
  width_ = GetParam();
  onTerminal_.setText("Downloading files (0MB / 20MB)");
  onTerminal_.setRange(1000);
  written();
  for (int permille = 0; permille <= 1000; permille += 10) {
    onTerminal_.setValue(permille);
    pass(100);
    onTerminal_.update(permille * INT64_C(20000));
    const std::string text = written();
    ASSERT_EQ(text.rfind("\r\x1b[K"), 0U);
    EXPECT_LT(text.size() - std::string("\r\x1b[K").size(), static_cast<std::size_t>(width_));
  }
}

INSTANTIATE_TEST_SUITE_P(Widths, ProgressDisplayTest, testing::Values(1, 20, 40, 80, 200));

}  // namespace
}  // namespace mtlsync
