// Tests deriving progress from the messages of the library.
#include "progress_tracker.h"

#include <gtest/gtest.h>

namespace mtlhost {
namespace {

TEST(ParseCaption, TakesTheMegabytesOff) {
  const Caption caption = parseCaption("Downloading files (3MB / 19MB)");
  EXPECT_EQ(caption.phase, "Downloading files");
  EXPECT_EQ(caption.megabytesDone, 3);
  EXPECT_EQ(caption.megabytesTotal, 19);
}

TEST(ParseCaption, LeavesOtherCaptionsWhole) {
  for (const char* text : {"Getting file list", "Files (3MB)", "Files (3MB / 19MB) and more",
                           "Files (3MB / 19MB", "Files (xMB / yMB)"}) {
    const Caption caption = parseCaption(text);
    EXPECT_EQ(caption.phase, text);
    EXPECT_EQ(caption.megabytesTotal, Progress::kUnknown);
  }
}

class ProgressTrackerTest : public testing::Test {
 protected:
  /// What is new: "text permille done/total"; "" when nothing is.
  std::string news() {
    const Progress* progress = tracker_.news();
    if (progress == nullptr) return "";
    return progress->text + " " + std::to_string(progress->permille) + " " +
           std::to_string(progress->megabytesDone) + "/" + std::to_string(progress->megabytesTotal);
  }

  void pass(int milliseconds) { now_ += std::chrono::milliseconds(milliseconds); }

  RateMeter::TimePoint now_;
  ProgressTracker tracker_{[this] { return now_; }};
};

TEST_F(ProgressTrackerTest, HasNothingToTellBeforeThePhaseHasAName) {
  tracker_.setBytes(5000000);
  EXPECT_EQ(news(), "");
}

TEST_F(ProgressTrackerTest, TellsEachChangeOnce) {
  tracker_.setText("Downloading files");
  EXPECT_EQ(news(), "Downloading files -1 0/-1");
  EXPECT_EQ(news(), "");
  tracker_.setText("Downloading files (0MB / 19MB)");
  EXPECT_EQ(news(), "Downloading files -1 0/19");
  tracker_.setRange(1000);
  EXPECT_EQ(news(), "");
  tracker_.setValue(0);
  EXPECT_EQ(news(), "Downloading files 0 0/19");
  tracker_.setValue(0);
  EXPECT_EQ(news(), "");
  tracker_.setValue(157);
  EXPECT_EQ(news(), "Downloading files 157 0/19");
  tracker_.setText("Downloading files (3MB / 19MB)");
  EXPECT_EQ(news(), "Downloading files 157 3/19");
}

TEST_F(ProgressTrackerTest, CountsMegabytesWhereTheCaptionHasNone) {
  tracker_.setText("Getting file list");
  news();
  tracker_.setBytes(999999);
  EXPECT_EQ(news(), "");
  tracker_.setBytes(1000000);
  EXPECT_EQ(news(), "Getting file list -1 1/-1");
}

TEST_F(ProgressTrackerTest, CountsTheMegabytesOfThePhaseOnly) {
  tracker_.setText("Getting file list");
  tracker_.setBytes(4900000);
  tracker_.endPhase();
  tracker_.setText("Downloading files");
  EXPECT_EQ(news(), "Downloading files -1 0/-1");
  tracker_.setBytes(7000000);
  EXPECT_EQ(news(), "Downloading files -1 2/-1");
}

TEST_F(ProgressTrackerTest, TakesTheHigherOfBothCounts) {
  tracker_.setText("Downloading files (4MB / 19MB)");
  tracker_.setBytes(3000000);
  EXPECT_EQ(news(), "Downloading files -1 4/19");
  tracker_.setBytes(5000000);
  EXPECT_EQ(news(), "Downloading files -1 5/19");
  tracker_.setText("Downloading files (4MB / 19MB)");
  EXPECT_EQ(news(), "");
}

TEST_F(ProgressTrackerTest, StaysBetweenNothingAndAll) {
  tracker_.setText("Downloading files");
  tracker_.setRange(1000);
  tracker_.setValue(1234);
  EXPECT_EQ(news(), "Downloading files 1000 0/-1");
  tracker_.setValue(-5);
  EXPECT_EQ(news(), "Downloading files 0 0/-1");
}

TEST_F(ProgressTrackerTest, TakesAnyRange) {
  tracker_.setText("Downloading files");
  tracker_.setValue(5);
  EXPECT_EQ(news(), "Downloading files -1 0/-1");
  tracker_.setRange(10);
  tracker_.setValue(5);
  EXPECT_EQ(news(), "Downloading files 500 0/-1");
}

TEST_F(ProgressTrackerTest, TakesARangeOfOne) {
  tracker_.setText("Downloading files");
  tracker_.setRange(1);
  tracker_.setValue(1);
  EXPECT_EQ(news(), "Downloading files 1000 0/-1");
}

TEST_F(ProgressTrackerTest, CountsAMegabyteOnceItIsWhole) {
  tracker_.setText("Downloading files");
  news();
  tracker_.setBytes(999999);
  EXPECT_EQ(news(), "");
  tracker_.setBytes(1000000);
  EXPECT_EQ(news(), "Downloading files -1 1/-1");
}

TEST_F(ProgressTrackerTest, ForgetsAPhaseThatHasEnded) {
  tracker_.setText("Accessing stamp");
  news();
  tracker_.endPhase();
  EXPECT_EQ(news(), "");
  tracker_.setText("Accessing stamp");
  EXPECT_EQ(news(), "Accessing stamp -1 0/-1");
}

TEST_F(ProgressTrackerTest, TellsSpeedAndTimeLeft) {
  tracker_.setText("Downloading files");
  tracker_.setPhaseBytes(0, 20000);
  EXPECT_EQ(tracker_.news()->bytesPerSecond, 0);
  pass(1000);
  tracker_.setPhaseBytes(2000, 20000);
  const Progress* progress = tracker_.news();
  ASSERT_NE(progress, nullptr);
  EXPECT_EQ(progress->bytesDone, 2000);
  EXPECT_EQ(progress->bytesTotal, 20000);
  EXPECT_DOUBLE_EQ(progress->bytesPerSecond, 2000);
  EXPECT_DOUBLE_EQ(progress->secondsLeft, 9);
}

TEST_F(ProgressTrackerTest, GoesByTheShareThatIsDoneWhereBytesAreNotKnown) {
  tracker_.setText("Downloading files (0MB / 20MB)");
  tracker_.setRange(1000);
  tracker_.setValue(100);
  pass(1000);
  tracker_.setBytes(2000000);
  const Progress* progress = tracker_.news();
  ASSERT_NE(progress, nullptr);
  EXPECT_DOUBLE_EQ(progress->bytesPerSecond, 2000000);
  EXPECT_DOUBLE_EQ(progress->secondsLeft, 9);
}

TEST_F(ProgressTrackerTest, MeasuresTenTimesASecond) {
  tracker_.setText("Downloading files");
  news();
  int told = 0;
  for (int i = 0; i < 1000; ++i) {
    pass(1);
    tracker_.setBytes(i);
    if (tracker_.news() != nullptr) ++told;
  }
  EXPECT_EQ(told, 9) << "the first measurement comes too early for a rate";
}

TEST_F(ProgressTrackerTest, NoticesAStall) {
  tracker_.setText("Downloading files");
  pass(1000);
  tracker_.setPhaseBytes(1000, 2000);
  news();
  for (int i = 0; i < 100; ++i) {
    pass(100);
    tracker_.setPhaseBytes(1000, 2000);
  }
  const Progress* progress = tracker_.news();
  ASSERT_NE(progress, nullptr);
  EXPECT_EQ(progress->bytesPerSecond, 0);
  EXPECT_EQ(progress->secondsLeft, Progress::kUnknown);
  pass(100);
  tracker_.setPhaseBytes(1000, 2000);
  EXPECT_EQ(tracker_.news(), nullptr);
}

TEST_F(ProgressTrackerTest, MeasuresEachPhaseAnew) {
  tracker_.setText("Getting file list");
  pass(1000);
  tracker_.setBytes(5000);
  tracker_.endPhase();
  tracker_.setText("Downloading files");
  EXPECT_EQ(tracker_.news()->bytesPerSecond, 0);
  pass(1000);
  tracker_.setBytes(6000);
  EXPECT_DOUBLE_EQ(tracker_.news()->bytesPerSecond, 1000);
}

}  // namespace
}  // namespace mtlhost
