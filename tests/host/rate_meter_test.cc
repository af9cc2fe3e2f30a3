// Tests rates over time.
#include "rate_meter.h"

#include <gtest/gtest.h>

namespace mtlhost {
namespace {

RateMeter::TimePoint at(int milliseconds) {
  return RateMeter::TimePoint() + std::chrono::milliseconds(milliseconds);
}

TEST(RateMeter, KnowsNothingAtFirst) {
  RateMeter meter;
  EXPECT_EQ(meter.rate(), 0);
  meter.restart(at(0), 0);
  meter.update(at(100), 1000);
  EXPECT_EQ(meter.rate(), 0);
}

TEST(RateMeter, GivesTheMean) {
  RateMeter meter;
  meter.restart(at(0), 500);
  meter.update(at(200), 500);
  meter.update(at(400), 900);
  EXPECT_DOUBLE_EQ(meter.rate(), 1000);
}

TEST(RateMeter, ForgetsWhatIsLongPast) {
  RateMeter meter;
  meter.restart(at(0), 0);
  for (int i = 1; i <= 100; ++i)
    meter.update(at(i * 100), i <= 50 ? i * 1000 : 50000);
  EXPECT_DOUBLE_EQ(meter.rate(), 0);
}

TEST(RateMeter, BeginsAnewWhenRestarted) {
  RateMeter meter;
  meter.restart(at(0), 0);
  meter.update(at(1000), 1000000);
  meter.restart(at(1000), 0);
  EXPECT_EQ(meter.rate(), 0);
  meter.update(at(2000), 10);
  EXPECT_DOUBLE_EQ(meter.rate(), 10);
}

}  // namespace
}  // namespace mtlhost
