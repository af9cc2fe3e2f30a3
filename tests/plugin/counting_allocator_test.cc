// Tests the counting itself: a test that relies on it must not pass because nothing is counted.
#include "support/counting_allocator.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <new>
#include <thread>

#include "mtllib/allocation.h"

namespace {

using testing::ElementsAre;

// Kept from the optimiser, which leaves out blocks that nobody uses.
void* volatile keptBlock = nullptr;

void* keep(void* block) {
  keptBlock = block;
  return keptBlock;
}

TEST(AllocationCount, CountsEveryWayToTakeAndGive) {
  const AllocationCount count;
  void* malloced = keep(QUtils::qmalloc(10));
  EXPECT_EQ(count.outstanding(), 1U);
  void* grown = keep(QUtils::qrealloc(malloced, 20));
  EXPECT_EQ(count.outstanding(), 1U);
  void* cleared = keep(std::calloc(3, 10));
  EXPECT_EQ(static_cast<const char*>(cleared)[29], '\0');
  EXPECT_EQ(count.outstanding(), 2U);
  auto* object = static_cast<char*>(keep(new char[40]));
  EXPECT_EQ(count.outstanding(), 3U);
  EXPECT_THAT(count.sizes(), ElementsAre(10, 20, 30, 40));
  QUtils::qfree(grown);
  std::free(cleared);
  delete[] object;
  EXPECT_EQ(count.outstanding(), 0U);
}

TEST(AllocationCount, CountsNoBlockFromBefore) {
  void* freed = keep(QUtils::qmalloc(10));
  void* grown = keep(QUtils::qmalloc(10));
  const AllocationCount count;
  QUtils::qfree(freed);
  grown = keep(QUtils::qrealloc(grown, 1000));
  EXPECT_EQ(count.outstanding(), 0U);
  QUtils::qfree(grown);
  EXPECT_EQ(count.outstanding(), 0U);
}

TEST(AllocationCount, CountsOnEveryThread) {
  void* block = nullptr;
  std::thread([] {}).join();  // what a first thread makes for good
  const AllocationCount count;
  std::thread([&] { block = keep(QUtils::qmalloc(10)); }).join();
  EXPECT_EQ(count.outstanding(), 1U);
  QUtils::qfree(block);
  EXPECT_EQ(count.outstanding(), 0U);
}

TEST(FailingAllocation, IsTheOneAfterThoseThatSucceed) {
  FailingAllocation failing(1);
  void* first = keep(QUtils::qmalloc(10));
  failing.arm();
  EXPECT_FALSE(failing.happened());
  first = keep(QUtils::qrealloc(first, 20));
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(keep(QUtils::qrealloc(first, 30)), nullptr);
  EXPECT_TRUE(failing.happened());
  QUtils::qfree(first);
  void* third = keep(QUtils::qmalloc(10));
  EXPECT_NE(third, nullptr);
  QUtils::qfree(third);
}

TEST(FailingAllocation, ThrowsWhereNewIsUsed) {
  FailingAllocation failing(0);
  failing.arm();
  EXPECT_THROW(keep(new char[10]), std::bad_alloc);
  EXPECT_TRUE(failing.happened());
}

TEST(FailingAllocation, WaitsWhilePaused) {
  FailingAllocation failing(0);
  failing.arm();
  {
    const FailingAllocation::Pause pause;
    QUtils::qfree(keep(QUtils::qmalloc(10)));
    EXPECT_FALSE(failing.happened());
    const FailingAllocation::Resumption resumption;
    EXPECT_EQ(keep(QUtils::qmalloc(10)), nullptr);
  }
  EXPECT_TRUE(failing.happened());
}

TEST(FailingAllocation, IsEachInTurn) {
  int calls = 0;
  EXPECT_EQ(failEachAllocation([&](FailingAllocation& failing) {
              failing.arm();
              void* first = keep(QUtils::qmalloc(10));
              void* second = keep(QUtils::qmalloc(10));
              failing.disarm();
              ++calls;
              EXPECT_EQ(first == nullptr, calls == 1);
              EXPECT_EQ(second == nullptr, calls == 2);
              QUtils::qfree(first);
              QUtils::qfree(second);
            }),
            2);
  EXPECT_EQ(calls, 3);
}

}  // namespace
