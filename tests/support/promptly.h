// Says how long an abort may take in a test, and measures such times.
#ifndef MTLLIB_TESTS_SUPPORT_PROMPTLY_H_
#define MTLLIB_TESTS_SUPPORT_PROMPTLY_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#ifdef MTLLIB_EMULATED_PROCESSOR
constexpr int kTimesSlower = 25;
#else
constexpr int kTimesSlower = 5;
#endif

/// Hosts were promised 200 ms. A machine that does five times as much at once may take five times
/// as long, and five times that where the processor is emulated.
constexpr std::chrono::milliseconds kPromptly{200 * kTimesSlower};

/// Expects that what `attempt` does takes less than `limit`; it returns how long that took. One
/// that takes longer is made again, up to five times in all: a machine that is busy with
/// something else makes one of them late, code that waits for too long makes them all so.
template <class Attempt>
void expectWithin(std::chrono::steady_clock::duration limit, const Attempt& attempt) {
  constexpr int kAttempts = 5;
  std::chrono::steady_clock::duration shortest = std::chrono::steady_clock::duration::max();
  for (int i = 0; i < kAttempts && shortest >= limit && !testing::Test::HasFatalFailure(); ++i)
    shortest = std::min<std::chrono::steady_clock::duration>(shortest, attempt());
  EXPECT_LT(std::chrono::duration<double>(shortest).count(),
            std::chrono::duration<double>(limit).count())
      << "seconds";
}

template <class Attempt>
void expectPromptly(const Attempt& attempt) {
  expectWithin(kPromptly, attempt);
}

#endif  // MTLLIB_TESTS_SUPPORT_PROMPTLY_H_
