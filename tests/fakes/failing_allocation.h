// Makes operator new fail on purpose, in test programs that replace it.
#ifndef MTLLIB_TESTS_FAKES_FAILING_ALLOCATION_H_
#define MTLLIB_TESTS_FAKES_FAILING_ALLOCATION_H_

/// Which allocation of the code under test fails. Used by one thread.
struct FailingAllocation {
  /// Allocations that still succeed before one fails; negative when none shall.
  static inline long long countdown = -1;
  static inline int paused = 0;

  /// True when the allocation being made is the one that fails.
  static bool isDue() { return paused == 0 && countdown >= 0 && countdown-- == 0; }

  /// Lets the fakes allocate as they like.
  class Pause {
   public:
    Pause() { ++paused; }
    ~Pause() { --paused; }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
  };
};

#endif  // MTLLIB_TESTS_FAKES_FAILING_ALLOCATION_H_
