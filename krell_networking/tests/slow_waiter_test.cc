// Tests a thread that waits for a request and takes its time to leave while the pool is destroyed.
// The linker's --wrap makes a call of pthread_mutex_lock one of __wrap_pthread_mutex_lock, so that
// the thread can be held up where it still uses what the pool owns. POSIX only: Windows' threads
// lock mutexes of their own to find out which thread they are.
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "pool_fixture.h"
#include "support/scripted_server.h"

// NOLINTBEGIN(bugprone-reserved-identifier)

extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex);
}

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

std::atomic<std::thread::id> slowThread;
std::atomic<bool> slowThreadIsIn{false};
std::atomic<bool> destroyed{false};
std::atomic<bool> destroyedMeanwhile{false};

bool isSlowThread() {
  return slowThread.load() == std::this_thread::get_id();
}

void takeTime() {
  const Clock::time_point end = Clock::now() + milliseconds(300);
  while (Clock::now() < end && !destroyed)
    std::this_thread::sleep_for(milliseconds(1));
  if (destroyed) destroyedMeanwhile = true;
}

}  // namespace

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  const int result = __real_pthread_mutex_lock(mutex);
  if (isSlowThread()) slowThreadIsIn = true;
  return result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
  if (isSlowThread()) takeTime();
  return __real_pthread_mutex_unlock(mutex);
}

// NOLINTEND(bugprone-reserved-identifier)

namespace {

class SlowWaiter : public PoolFixture {
 protected:
  SlowWaiter() { configure("127.0.0.1", server_.port()); }

  ScriptedServer server_;
};

TEST_F(SlowWaiter, IsWaitedForByDestroy) {
  server_.hold("/file");
  Received received;
  const int index = start("/file", received);
  std::thread waiter([&] {
    slowThread = std::this_thread::get_id();
    wait(index);
    slowThread = std::thread::id();
  });
  while (!slowThreadIsIn)
    std::this_thread::yield();
  pool_.destroy();
  destroyed = true;
  waiter.join();
  EXPECT_FALSE(destroyedMeanwhile);
  EXPECT_EQ(received.errorCalls, 1);
}

}  // namespace
