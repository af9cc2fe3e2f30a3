// Time that passes as soon as somebody waits for it.
#ifndef MTLLIB_TESTS_UPDATE_FAST_TIMING_H_
#define MTLLIB_TESTS_UPDATE_FAST_TIMING_H_

#include <atomic>
#include <chrono>
#include <cstdint>

#include "update/timing.h"

/// A wait takes a millisecond at most, and afterwards it is later by ten times of what was waited
/// for. Chance always has it that waits are the longest.
class FastTiming : public mtlupdate::Timing {
 public:
  TimePoint now() override { return Timing::now() + skipped_.load(); }
  std::int64_t seconds() override { return clock > 0 ? clock.load() : Timing::seconds(); }
  double random() override { return 0.999999; }
  void wait(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
            TimePoint until) override {
    const TimePoint before = now();
    changed.wait_for(lock, std::chrono::milliseconds(1));
    if (until > before) skipped_ = skipped_.load() + 10 * (until - before);
  }

  /// What the computer's clock says, in seconds since 1970; 0 for what it really does.
  std::atomic<std::int64_t> clock{0};

 private:
  std::atomic<std::chrono::steady_clock::duration> skipped_{
      std::chrono::steady_clock::duration::zero()};
};

#endif  // MTLLIB_TESTS_UPDATE_FAST_TIMING_H_
