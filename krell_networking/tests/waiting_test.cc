// Tests how long a pool waits for a server, and how often it asks its host meanwhile whether to
// abort.
#include <chrono>

#include "pool_fixture.h"
#include "support/scripted_server.h"
#include "transfer_limits.h"

namespace {

using std::chrono::milliseconds;

TEST(TransferLimits, AreThoseThatHostsWerePromised) {
  const Krell::Networking::TransferLimits limits = Krell::Networking::transferLimits();
  EXPECT_EQ(limits.connectMilliseconds, 30000);
  EXPECT_EQ(limits.stallSeconds, 60);
  EXPECT_GT(limits.callbackInterval, milliseconds(0));
  EXPECT_LT(limits.callbackInterval, milliseconds(100));
}

class WaitingPool : public PoolFixture {
 protected:
  WaitingPool() { configure("127.0.0.1", server_.port()); }

  /// Sends `bytes` and nothing more until the client hangs up.
  void serveThenWait(const char* bytes) {
    server_.handle("/file", [bytes](const ServerRequest&, Socket& socket) {
      socket.send(bytes);
      char byte = 0;
      socket.receive(&byte, 1);
      return false;
    });
  }

  ScriptedServer server_;
};

TEST_F(WaitingPool, AsksItsHostBeforeTheAnswer) {
  serveThenWait("");
  expectToBeAskedTenTimesASecond();
}

TEST_F(WaitingPool, AsksItsHostWithinTheHeader) {
  serveThenWait("HTTP/1.1 200 OK\r\nContent-Le");
  expectToBeAskedTenTimesASecond();
}

TEST_F(WaitingPool, AsksItsHostWithinTheBody) {
  serveThenWait("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nstart");
  expectToBeAskedTenTimesASecond();
}

TEST_F(WaitingPool, AsksItsHostWithinAChunksSize) {
  serveThenWait("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nstart\r\n1");
  expectToBeAskedTenTimesASecond();
}

TEST_F(WaitingPool, EndsAnAnswerThatStandsStillWhenItsHostSays) {
  Krell::Err err;
  ASSERT_NE(pool_.setTimeLimits(err, 0, 1), 0);
  serveThenWait("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nstart");
  Received received;
  get("/file", received);
  EXPECT_EQ(received.reason, Krell::Networking::CONNECTION_ERROR_TIMEOUT);
  EXPECT_TRUE(received.detail.wasConnected);
}

TEST_F(WaitingPool, TakesNoNegativeTimes) {
  Krell::Err err;
  EXPECT_EQ(pool_.setTimeLimits(err, -1, 0), 0);
  EXPECT_EQ(pool_.setTimeLimits(err, 0, -1), 0);
}

// It takes connections, which the system does by itself, and sends nothing.
class SilentServer : public PoolFixture {
 protected:
  void configureTls(const char* host, int port) {
    configure(host, port);
    Krell::Err err;
    pool_.setSSLContext(err, Krell::Networking::getKrellNetworkingContext()->clientSsl);
    ASSERT_FALSE(err.chain);
  }

  Socket listener_ = Socket::listenOnLoopback();
};

TEST_F(SilentServer, IsWaitedForWithinTheTlsHandshake) {
  configureTls("127.0.0.1", listener_.port());
  expectToBeAskedTenTimesASecond();
}

TEST_F(SilentServer, IsLeftWhenTheTimeForConnectingIsOver) {
  configureTls("127.0.0.1", listener_.port());
  Krell::Err err;
  ASSERT_NE(pool_.setTimeLimits(err, 100, 0), 0);
  Received received;
  get("/file", received);
  EXPECT_EQ(received.reason, Krell::Networking::CONNECTION_ERROR_TIMEOUT);
  EXPECT_FALSE(received.detail.wasConnected);
}

TEST_F(SilentServer, IsWaitedForAsAProxyThatShouldOpenATunnel) {
  configureTls("library.invalid", 443);
  Krell::Err err;
  pool_.setProxyServer(err, "127.0.0.1", listener_.port());
  expectToBeAskedTenTimesASecond();
}

}  // namespace
