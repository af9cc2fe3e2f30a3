// Tests that a random delay ends early.
#include "mtlsync/random_delay.h"

#include <gtest/gtest.h>

namespace mtlsync {
namespace {

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
