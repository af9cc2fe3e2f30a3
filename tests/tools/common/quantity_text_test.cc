// Tests how amounts and durations read.
#include "common/quantity_text.h"

#include <gtest/gtest.h>

namespace common {
namespace {

TEST(BytesText, UsesDecimalUnits) {
  EXPECT_EQ(bytesText(0), "0 bytes");
  EXPECT_EQ(bytesText(1), "1 byte");
  EXPECT_EQ(bytesText(999), "999 bytes");
  EXPECT_EQ(bytesText(1000), "1.0 kB");
  EXPECT_EQ(bytesText(999949), "999.9 kB");
  EXPECT_EQ(bytesText(999950), "1.0 MB");
  EXPECT_EQ(bytesText(19000000), "19.0 MB");
  EXPECT_EQ(bytesText(2100000000), "2.1 GB");
  EXPECT_EQ(bytesText(INT64_MAX), "9223372.0 TB");
}

TEST(DurationText, GetsCoarserWithTime) {
  EXPECT_EQ(durationText(0), "0.0 s");
  EXPECT_EQ(durationText(1.24), "1.2 s");
  EXPECT_EQ(durationText(59.9), "59.9 s");
  EXPECT_EQ(durationText(59.96), "1 min 0 s");
  EXPECT_EQ(durationText(125), "2 min 5 s");
  EXPECT_EQ(durationText(3599.6), "1 h 0 min");
  EXPECT_EQ(durationText(3780), "1 h 3 min");
}

TEST(CountdownText, ReadsLikeAClock) {
  EXPECT_EQ(countdownText(0.4), "0:00");
  EXPECT_EQ(countdownText(7), "0:07");
  EXPECT_EQ(countdownText(750), "12:30");
  EXPECT_EQ(countdownText(3723), "1:02:03");
}

}  // namespace
}  // namespace common
