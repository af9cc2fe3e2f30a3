// Tests aborting and ending while the system's resolver takes its time.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string_view>

#include "pool_fixture.h"
#include "support/promptly.h"
#include "support/resolver_guard.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Gate {
  std::mutex mutex;
  std::condition_variable changed;
  bool open = false;
  int inside = 0;
  int left = 0;
};

// Never destroyed: an abandoned resolver may still be on its way out.
Gate& gate() {
  static Gate& instance = *new Gate;
  return instance;
}

/// Holds the one name up until the gate opens, and then does not know it. Whoever waits for
/// that fails in the end, instead of waiting forever.
bool passGate(const char* name) {
  if (std::string_view(name) != "slow.invalid") return true;
  std::unique_lock<std::mutex> lock(gate().mutex);
  ++gate().inside;
  gate().changed.notify_all();
  gate().changed.wait_for(lock, std::chrono::seconds(10), [] { return gate().open; });
  ++gate().left;
  gate().changed.notify_all();
  return false;
}

class SlowResolverTest : public PoolFixture {
 protected:
  SlowResolverTest() {
    setResolverGuard(passGate);
    configure("slow.invalid", 80);
  }
  ~SlowResolverTest() override {
    std::unique_lock<std::mutex> lock(gate().mutex);
    gate().open = true;
    gate().changed.notify_all();
    gate().changed.wait(lock, [] { return gate().left == gate().inside; });
    gate().open = false;
  }

  /// Returns when the name of the request's server is being looked up.
  int startResolving(Received& received) {
    std::unique_lock<std::mutex> lock(gate().mutex);
    const int before = gate().inside;
    lock.unlock();
    const int index = start("/file", received);
    lock.lock();
    gate().changed.wait(lock, [&] { return gate().inside > before; });
    return index;
  }
};

TEST_F(SlowResolverTest, AnAbortDoesNotWaitForTheResolver) {
  expectPromptly([&] {
    Received received;
    const int index = startResolving(received);
    const auto begin = Clock::now();
    received.abortAfter = 0;
    wait(index);
    EXPECT_EQ(received.errorCalls, 0);
    return Clock::now() - begin;
  });
}

TEST_F(SlowResolverTest, TheHostIsAskedTenTimesASecondMeanwhile) {
  expectToBeAskedTenTimesASecond();
}

TEST_F(SlowResolverTest, DestroyDoesNotWaitForTheResolver) {
  expectPromptly([&] {
    beginAnew("slow.invalid", 80);
    Received received;
    startResolving(received);
    const auto begin = Clock::now();
    pool_.destroy();
    EXPECT_EQ(received.errorCalls, 1);
    return Clock::now() - begin;
  });
}

}  // namespace
