// Tests how long a random delay is at most, and that it ends early.
#include "mtlsync/random_delay.h"

#include <gtest/gtest.h>

namespace mtlsync {
namespace {

TEST(ParseDuration, TakesSecondsMinutesAndHours) {
  EXPECT_EQ(parseDuration("0")->count(), 0);
  EXPECT_EQ(parseDuration("90")->count(), 90);
  EXPECT_EQ(parseDuration("90s")->count(), 90);
  EXPECT_EQ(parseDuration("30m")->count(), 1800);
  EXPECT_EQ(parseDuration("2h")->count(), 7200);
}

TEST(ParseDuration, RefusesOtherTexts) {
  for (const char* text :
       {"", "m", "-1", "1d", "1.5m", " 1", "1m ", "99999h", "9999999999999999999"})
    EXPECT_FALSE(parseDuration(text)) << text;
}

TEST(WaitRandomly, EndsWhenItIsStopped) {
  int asked = 0;
  waitRandomly(std::chrono::hours(9), [&] { return ++asked == 2; });
  EXPECT_EQ(asked, 2);
  waitRandomly(std::chrono::seconds(0), [] {
    ADD_FAILURE() << "there is nothing to wait for";
    return true;
  });
}

}  // namespace
}  // namespace mtlsync
