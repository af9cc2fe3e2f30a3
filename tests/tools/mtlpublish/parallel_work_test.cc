// Tests work that is shared among threads.
#include "mtlpublish/parallel_work.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <thread>
#include <vector>

namespace {

using mtlpublish::workInParallel;

TEST(ParallelWork, DoesEverythingOnceBeforeItReturns) {
  for (const std::size_t count : {0U, 1U, 2U, 1000U}) {
    std::vector<std::atomic<int>> done(count);
    int calls = 0;
    const auto caller = std::this_thread::get_id();
    workInParallel(
        count, [&](std::size_t number) { ++done[number]; },
        [&] {
          ++calls;
          EXPECT_EQ(std::this_thread::get_id(), caller);
        });
    for (const std::atomic<int>& times : done)
      EXPECT_EQ(times, 1);
    EXPECT_GE(calls, 1);
  }
}

TEST(ParallelWork, UsesEveryCore) {
  if (std::thread::hardware_concurrency() < 2) GTEST_SKIP() << "there is one core";
  std::atomic<int> running{0};
  // Ends only when two of them run at once.
  workInParallel(
      2,
      [&](std::size_t /*number*/) {
        ++running;
        while (running < 2)
          std::this_thread::yield();
      },
      [] {});
  EXPECT_EQ(running, 2);
}

TEST(ParallelWork, TellsWhileItIsUnderWay) {
  std::atomic<bool> told{false};
  workInParallel(
      1,
      [&](std::size_t /*number*/) {
        while (!told)
          std::this_thread::yield();
      },
      [&] { told = true; });
  EXPECT_TRUE(told);
}

TEST(ParallelWork, ThrowsWhatAPieceOfItThrowsWhenAllThreadsHaveEnded) {
  std::atomic<int> running{0};
  std::atomic<bool> mayThrow{false};
  const auto work = [&](std::size_t number) {
    ++running;
    if (number == 1) mayThrow = true;
    while (!mayThrow && std::thread::hardware_concurrency() > 1)
      std::this_thread::yield();
    --running;
    if (number == 0) throw std::bad_alloc();
  };
  EXPECT_THROW(workInParallel(1000, work, [] {}), std::bad_alloc);
  EXPECT_EQ(running, 0);
}

TEST(ParallelWork, EndsWhenItsCallerThrowsMeanwhile) {
  std::atomic<int> running{0};
  std::atomic<bool> hasThrown{false};
  const auto work = [&](std::size_t /*number*/) {
    ++running;
    while (!hasThrown)
      std::this_thread::yield();
    --running;
  };
  const auto meanwhile = [&] {
    hasThrown = true;
    throw std::bad_alloc();
  };
  EXPECT_THROW(workInParallel(2, work, meanwhile), std::bad_alloc);
  EXPECT_EQ(running, 0);
}

}  // namespace
