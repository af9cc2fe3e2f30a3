// Sizes on the command line and in messages, and when they are exceeded.
#include "mtlsync/size_limits.h"

#include <gtest/gtest.h>

namespace mtlsync {
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

TEST(SizeText, UsesTheLargestUnitWithoutFraction) {
  EXPECT_EQ(sizeText(1), "1 byte");
  EXPECT_EQ(sizeText(999), "999 bytes");
  EXPECT_EQ(sizeText(1001), "1001 bytes");
  EXPECT_EQ(sizeText(64000), "64 kB");
  EXPECT_EQ(sizeText(1500000000), "1500 MB");
  EXPECT_EQ(sizeText(2000000000), "2 GB");
}

TEST(ExceededLimit, NamesTheLimitAndItsOption) {
  const SizeLimits limits{10, 2000};
  EXPECT_EQ(exceededLimit(limits, 10, 2000), "");
  EXPECT_EQ(exceededLimit(limits, 11, 11), "a file is larger than 10 bytes (--max-file-size)");
  EXPECT_EQ(exceededLimit(limits, 1, 2001),
            "the files together are larger than 2 kB (--max-total-size)");
}

TEST(ExceededLimit, IsNeverReachedWhereThereIsNone) {
  EXPECT_EQ(exceededLimit({0, 0}, 9223372036854775807, 9223372036854775807), "");
}

}  // namespace
}  // namespace mtlsync
