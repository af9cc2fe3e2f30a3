// Tests a host that has used up its handles. POSIX only: elsewhere there is no such limit to set.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "net/http_client.h"
#include "pool_fixture.h"

namespace {

using Krell::Networking::HttpClient;
using Krell::Networking::HttpClientPool;

/// While it lives, no handle can be opened.
class NoHandles {
 public:
  NoHandles() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const int next = open("/dev/null", O_RDONLY);
    close(next);
    const rlimit none{static_cast<rlim_t>(next), before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoHandles() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoHandles(const NoHandles&) = delete;
  NoHandles& operator=(const NoHandles&) = delete;

 private:
  rlimit before_{};
};

// Nothing could wake the pool's thread: a request would never begin.
TEST(PoolWithoutHandles, RefusesRequestsInsteadOfWaitingForEver) {
  QUtils::CharString text;
  Krell::Networking::NetworkingContextInitializerRAII context;
  ASSERT_NE(context.initializeDefault("test", text), 0);
  HttpClientPool pool;
  {
    const NoHandles none;
    pool.initialize(5);
  }
  Krell::Err err;
  pool.setMode(err, HttpClientPool::kBackground);
  pool.setServer(err, "127.0.0.1", 1, nullptr);
  int index = -1;
  HttpClient* client = pool.waitAvailable(&index);
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(client->request(err, "/", HttpClient::kGet, nullptr, nullptr, nullptr), 0);
  ASSERT_TRUE(err.chain);
  EXPECT_STREQ(err.chain.head->message, "Out of resources");
  pool.destroy();
  context.deinitialize(1);
}

}  // namespace
