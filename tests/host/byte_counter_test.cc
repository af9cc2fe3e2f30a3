// Tests counting bytes over requests that share tokens.
#include "byte_counter.h"

#include <gtest/gtest.h>

namespace mtlhost {
namespace {

const int kRequests[2]{};
const void* const kFirst = &kRequests[0];
const void* const kSecond = &kRequests[1];

TEST(ByteCounter, StartsAtNothing) {
  EXPECT_EQ(ByteCounter().total(), 0);
}

TEST(ByteCounter, CountsGrowthNotRepetition) {
  ByteCounter counter;
  counter.update(kFirst, 100);
  counter.update(kFirst, 100);
  counter.update(kFirst, 250);
  EXPECT_EQ(counter.total(), 250);
}

TEST(ByteCounter, KeepsRequestsApart) {
  ByteCounter counter;
  counter.update(kFirst, 100);
  counter.update(kSecond, 40);
  counter.update(kFirst, 110);
  counter.update(kSecond, 50);
  EXPECT_EQ(counter.total(), 160);
}

TEST(ByteCounter, TakesALowerNumberForANewRequest) {
  ByteCounter counter;
  counter.update(kFirst, 100);
  counter.update(kFirst, 30);
  counter.update(kFirst, 200);
  EXPECT_EQ(counter.total(), 300);
}

TEST(ByteCounter, CountsARequestThatBeginsAtNothingInFull) {
  ByteCounter counter;
  counter.update(kFirst, 100);
  counter.update(kFirst, 0);
  counter.update(kFirst, 100);
  EXPECT_EQ(counter.total(), 200);
}

}  // namespace
}  // namespace mtlhost
