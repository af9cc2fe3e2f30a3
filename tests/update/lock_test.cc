// Tests that only one run at a time works on a folder.
#include "update/lock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

#include "support/temp_dir.h"

namespace {

using mtlupdate::Failure;
using mtlupdate::Folder;
using mtlupdate::Lock;
using mtlupdate::Outcome;

class LockTest : public testing::Test {
 protected:
  LockTest() { EXPECT_FALSE(folder.open(dir / "copy", true)); }

  TempDir dir;
  Folder folder;
};

TEST_F(LockTest, KeepsASecondRunAwayUntilTheFirstEnds) {
  {
    Lock first;
    ASSERT_FALSE(first.take(folder));
    Lock second;
    const Outcome outcome = second.take(folder);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->kind, Failure::Kind::kBusy);
    EXPECT_TRUE(outcome->isTransient);
  }
  Lock third;
  EXPECT_FALSE(third.take(folder));
}

TEST_F(LockTest, WaitsAsLongAsItIsToldTo) {
  Lock first;
  ASSERT_FALSE(first.take(folder));
  Lock second;
  int asked = 0;
  const Outcome outcome = second.take(folder, [&](std::int64_t) { return ++asked < 3; });
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->kind, Failure::Kind::kCancelled);
  EXPECT_EQ(asked, 3);
  asked = 0;
  EXPECT_FALSE(second.take(folder, [&](std::int64_t) {
    first = Lock();
    return ++asked < 3;
  }));
  EXPECT_EQ(asked, 1);
}

TEST_F(LockTest, IsNotTakenWhereAFileLiesInThePlaceOfItsFolder) {
  writeFile(dir / "copy/.mtllib", "");
  Lock lock;
  const Outcome outcome = lock.take(folder);
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->kind, Failure::Kind::kDisk);
  EXPECT_EQ(outcome->about, ".mtllib");
}

}  // namespace
