// Counts the memory that code under test allocates and frees, and makes single allocations fail.
//
// Works in programs that link the library `counting_allocator`, and there for
//  - malloc, calloc, realloc and free as called by whatever is linked into the program:
//    its own objects and static libraries, and therefore qmalloc, qrealloc and qfree;
//  - operator new and delete of the whole process, including shared libraries.
// What shared libraries allocate with malloc itself does not count.
#ifndef MTLLIB_TESTS_SUPPORT_COUNTING_ALLOCATOR_H_
#define MTLLIB_TESTS_SUPPORT_COUNTING_ALLOCATOR_H_

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <new>
#include <vector>

/// While one lives, what its thread takes neither fails nor counts: for servers of tests, which
/// have threads of their own.
class UncountedThread {
 public:
  UncountedThread() {
    for (auto& place : places_) {
      const void* free = nullptr;
      if (place.compare_exchange_strong(free, self())) {
        place_ = &place;
        ++count_;
        return;
      }
    }
    ADD_FAILURE() << "too many threads";
  }
  ~UncountedThread() {
    if (place_ == nullptr) return;
    --count_;
    *place_ = nullptr;
  }
  UncountedThread(const UncountedThread&) = delete;
  UncountedThread& operator=(const UncountedThread&) = delete;

  /// Whether the calling thread is one. Asked by the allocator.
  static bool isThis() {
    if (count_ == 0) return false;
    const void* const asking = self();
    for (const auto& place : places_)
      if (place == asking) return true;
    return false;
  }

 private:
  // Identifies a thread, as long as it lives. The allocator asks: on some systems a
  // thread-local variable and the id of std::thread are allocated, the latter under a lock.
  static const void* self() { return &errno; }

  std::atomic<const void*>* place_ = nullptr;
  static inline std::array<std::atomic<const void*>, 64> places_{};
  static inline std::atomic<int> count_{0};
};

/// Counts from its construction on, on all threads. One at a time.
///
/// Code that keeps something for good the first time it runs must have run before.
class AllocationCount {
 public:
  AllocationCount();
  ~AllocationCount();
  AllocationCount(const AllocationCount&) = delete;
  AllocationCount& operator=(const AllocationCount&) = delete;

  /// Blocks that were taken since then and have not been given back. A block from before
  /// never counts, whatever becomes of it.
  std::size_t outstanding() const;

  /// The sizes that were asked for since then, in order, failed requests included.
  std::vector<std::size_t> sizes() const;
};

/// Makes one allocation fail, on whatever thread. One at a time.
class FailingAllocation {
 public:
  /// Nothing fails before arm().
  explicit FailingAllocation(long long succeeding) : succeeding_(succeeding) {}
  ~FailingAllocation() { disarm(); }
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// As many allocations as were told to the constructor succeed from now on; the one
  /// after them fails, and no other.
  void arm() {
    happened_ = false;
    countdown_ = succeeding_;
  }
  void disarm() { countdown_ = -1; }

  /// Whether the allocation failed since it was armed.
  bool happened() const { return happened_; }

  /// Whether the allocation being made is the one that fails. Asked by the allocator.
  static bool isDue() {
    if (paused_ != 0 || countdown_ < 0 || UncountedThread::isThis()) return false;
    if (countdown_-- != 0) return false;
    happened_ = true;
    return true;
  }

  /// While one lives nothing fails, and nothing counts as succeeding: for fakes, which
  /// allocate as they like.
  class Pause {
   public:
    Pause() { ++paused_; }
    ~Pause() { --paused_; }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
  };

  /// Within a Pause: code under test that a fake calls, where allocations may fail again.
  class Resumption {
   public:
    Resumption() : paused_(FailingAllocation::paused_.exchange(0)) {}
    ~Resumption() { FailingAllocation::paused_ = paused_; }
    Resumption(const Resumption&) = delete;
    Resumption& operator=(const Resumption&) = delete;

   private:
    int paused_;
  };

 private:
  long long succeeding_;
  static inline std::atomic<long long> countdown_{-1};
  static inline std::atomic<bool> happened_{false};
  static inline std::atomic<int> paused_{0};
};

/// Whether `use()` completed, with an allocation failing as told.
template <typename Use>
bool completes(FailingAllocation& failing, Use use) {
  bool complete = false;
  failing.arm();
  try {
    use();
    complete = true;
  } catch (const std::bad_alloc&) {
    EXPECT_TRUE(failing.happened());
  }
  failing.disarm();
  return complete;
}

/// Calls `run(failing)` again and again with the first, the second, ... allocation after
/// `failing.arm()` failing, or with every `step`th only, until one call meets no failure.
/// Expects that every call gives back what it takes; one that does not is repeated, since
/// it may have been the first to make what is made once for the whole process. Returns the
/// number of allocations that did not fail in the last call.
template <typename Run>
int failEachAllocation(Run run, int step = 1) {
  constexpr int kTooMany = 100000;
  for (int succeeding = 0; succeeding < kTooMany; succeeding += step) {
    FailingAllocation failing(succeeding);
    const auto blocksLeft = [&] {
      const AllocationCount count;
      run(failing);
      failing.disarm();
      return count.outstanding();
    };
    if (blocksLeft() != 0) {
      EXPECT_EQ(blocksLeft(), 0U) << "after " << succeeding << " good allocations";
    }
    if (!failing.happened()) return succeeding;
  }
  ADD_FAILURE() << "every call met a failure";
  return kTooMany;
}

/// Expects that `run()` gives back everything that it takes. Calls it twice: what is made
/// once for the whole process does not count.
template <typename Run>
void expectNothingLeft(Run run) {
  run();
  const AllocationCount count;
  run();
  EXPECT_EQ(count.outstanding(), 0U);
}

#endif  // MTLLIB_TESTS_SUPPORT_COUNTING_ALLOCATOR_H_
