// Tests a server that does not answer when a connection is asked for. POSIX only: elsewhere a full
// queue of connections is reported to the client.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <vector>

#include "pool_fixture.h"
#include "support/promptly.h"
#include "transfer_engine.h"

namespace {

using Krell::Networking::CallbackContext;
using Krell::Networking::CONNECTION_ERROR_TIMEOUT;
using Krell::Networking::ConnectionError;
using Krell::Networking::ReqTokenGeneralType;
using Krell::Networking::TransferEngine;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// A listener whose queue is full and never emptied: further requests get no answer.
class FullListener {
 public:
  FullListener() {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    sockets_.push_back(socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_EQ(bind(sockets_[0], generic, size), 0);
    EXPECT_EQ(listen(sockets_[0], 0), 0);
    EXPECT_EQ(getsockname(sockets_[0], generic, &size), 0);
    port_ = ntohs(address.sin_port);
    for (int i = 0; i < 4; ++i) {
      sockets_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
      // Most of them are never answered.
      static_cast<void>(connect(sockets_.back(), generic, size));
    }
  }
  ~FullListener() {
    for (const int descriptor : sockets_)
      close(descriptor);
  }
  FullListener(const FullListener&) = delete;
  FullListener& operator=(const FullListener&) = delete;

  int port() const { return port_; }

 private:
  std::vector<int> sockets_;
  int port_ = 0;
};

class UnansweredConnection : public PoolFixture {
 protected:
  UnansweredConnection() { configure("127.0.0.1", listener_.port()); }

  FullListener listener_;
};

TEST_F(UnansweredConnection, LetsTheHostBeAskedTenTimesASecond) {
  expectToBeAskedTenTimesASecond();
}

TEST_F(UnansweredConnection, IsAbortedAtOnce) {
  expectPromptly([&] {
    Received received;
    const int index = start("/file", received);
    while (received.dataCalls < 3)
      std::this_thread::yield();
    const auto begin = Clock::now();
    received.abortAfter = 0;
    wait(index);
    EXPECT_EQ(received.errorCalls, 0);
    return Clock::now() - begin;
  });
}

TEST_F(UnansweredConnection, IsGivenUpWithThePool) {
  expectPromptly([&] {
    beginAnew("127.0.0.1", listener_.port());
    Received received;
    start("/file", received);
    while (received.dataCalls == 0)
      std::this_thread::yield();
    const auto begin = Clock::now();
    pool_.destroy();
    EXPECT_EQ(received.errorCalls, 1);
    return Clock::now() - begin;
  });
}

TEST_F(UnansweredConnection, IsGivenUpAfterTheLimit) {
  TransferEngine engine(&pool_.client(0), 1);
  engine.configuration().host = "127.0.0.1";
  engine.configuration().port = listener_.port();
  engine.configuration().limits.connectMilliseconds = 300;
  engine.configuration().callbacks.onError = [](CallbackContext*, const ConnectionError* error,
                                                ReqTokenGeneralType* token) {
    *reinterpret_cast<std::uint32_t*>(token) = error->code;
  };
  expectWithin(milliseconds(2000), [&] {
    std::uint32_t code = 0;
    ErrorChain error;
    const auto begin = Clock::now();
    EXPECT_TRUE(engine.start(0, "/file", reinterpret_cast<ReqTokenGeneralType*>(&code), error));
    engine.waitFinished(0);
    const auto taken = Clock::now() - begin;
    EXPECT_EQ(code & 0xFFF, CONNECTION_ERROR_TIMEOUT);
    EXPECT_GE(taken, milliseconds(300));
    return taken;
  });
}

}  // namespace
