// How byte counts read.
#include "mtlpublish/byte_count.h"

#include <gtest/gtest.h>

namespace {

using mtlpublish::byteCountText;

TEST(ByteCount, IsWholeBelowAThousandBytes) {
  EXPECT_EQ(byteCountText(0), "0 bytes");
  EXPECT_EQ(byteCountText(1), "1 byte");
  EXPECT_EQ(byteCountText(999), "999 bytes");
}

TEST(ByteCount, HasOneDigitAfterThePointFromThere) {
  EXPECT_EQ(byteCountText(1000), "1.0 kB");
  EXPECT_EQ(byteCountText(1549), "1.5 kB");
  EXPECT_EQ(byteCountText(19'000'000), "19.0 MB");
  EXPECT_EQ(byteCountText(2'100'000'000), "2.1 GB");
  EXPECT_EQ(byteCountText(12'345'000'000'000'000), "12345.0 TB");
}

TEST(ByteCount, NeverShowsAThousandOfAUnit) {
  EXPECT_EQ(byteCountText(999'949), "999.9 kB");
  EXPECT_EQ(byteCountText(999'950), "1.0 MB");
}

}  // namespace
