// Sizes and times as users write them.
#include "mtlhost/parse.h"

#include <gtest/gtest.h>

#include <optional>

namespace mtlhost {
namespace {

TEST(ParseSize, TakesBytesAndDecimalUnits) {
  EXPECT_EQ(parseSize("0"), 0);
  EXPECT_EQ(parseSize("500"), 500);
  EXPECT_EQ(parseSize("64k"), 64000);
  EXPECT_EQ(parseSize("10M"), 10000000);
  EXPECT_EQ(parseSize("2G"), 2000000000);
  EXPECT_EQ(parseSize("9223372036854775807"), 9223372036854775807);
  EXPECT_EQ(parseSize("9223372036G"), 9223372036000000000);
}

TEST(ParseSize, RefusesEverythingElse) {
  for (const char* text : {"", "G", "-1", "-0", "+1", " 1", "1 ", "1.5G", "1K", "1m", "1GB", "1kk",
                           "0x10", "9223372036854775808", "9223372037G"}) {
    EXPECT_EQ(parseSize(text), std::nullopt) << text;
  }
}

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

}  // namespace
}  // namespace mtlhost
