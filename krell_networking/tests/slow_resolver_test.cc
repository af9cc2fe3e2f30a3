// Aborting and ending while the system's resolver takes its time. This program's
// getaddrinfo stands in front of the C library's.
#include <dlfcn.h>
#include <netdb.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "pool_fixture.h"

namespace {

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

}  // namespace

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** result) {
  if (node != nullptr && std::strcmp(node, "slow.invalid") == 0) {
    std::unique_lock<std::mutex> lock(gate().mutex);
    ++gate().inside;
    gate().changed.notify_all();
    gate().changed.wait(lock, [] { return gate().open; });
    ++gate().left;
    gate().changed.notify_all();
    return EAI_NONAME;
  }
  using Resolver = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  static const auto real = reinterpret_cast<Resolver>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return real(node, service, hints, result);
}

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class SlowResolverTest : public PoolFixture {
 protected:
  SlowResolverTest() { configure("slow.invalid", 80); }
  ~SlowResolverTest() override {
    std::unique_lock<std::mutex> lock(gate().mutex);
    gate().open = true;
    gate().changed.notify_all();
    gate().changed.wait(lock, [] { return gate().left == gate().inside; });
    gate().open = false;
  }

  int startResolving(Received& received) {
    const int before = gate().inside;
    const int index = start("/file", received);
    std::unique_lock<std::mutex> lock(gate().mutex);
    gate().changed.wait(lock, [&] { return gate().inside > before; });
    return index;
  }
};

TEST_F(SlowResolverTest, AnAbortDoesNotWaitForTheResolver) {
  Received received;
  const int index = startResolving(received);
  const auto begin = Clock::now();
  received.abortAfter = 0;
  wait(index);
  EXPECT_LT(Clock::now() - begin, milliseconds(200));
  EXPECT_EQ(received.errorCalls, 0);
}

TEST_F(SlowResolverTest, DestroyDoesNotWaitForTheResolver) {
  Received received;
  startResolving(received);
  const auto begin = Clock::now();
  pool_.destroy();
  EXPECT_LT(Clock::now() - begin, milliseconds(200));
  EXPECT_EQ(received.errorCalls, 1);
}

}  // namespace
