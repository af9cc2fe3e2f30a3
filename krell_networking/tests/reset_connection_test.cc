// Tests connections that the server resets, and the numbers they are reported with. POSIX only:
// Wine takes the end of a connection for an orderly one.
#include <cerrno>
#include <chrono>
#include <future>

#include "pool_fixture.h"
#include "support/scripted_server.h"

namespace {

class ResetConnection : public PoolFixture {
 protected:
  ResetConnection() { configure("127.0.0.1", server_.port()); }

  /// Sends the beginning of an answer, if any, and resets the connection when its body has begun
  /// to arrive.
  void resetAfter(const char* text) {
    std::promise<void> arrived;
    if (*text == '\0') {
      arrived.set_value();
    } else {
      received_.onFirstBytes = [&] { arrived.set_value(); };
    }
    server_.handle("/file", [&, text](const ServerRequest&, Socket& socket) {
      socket.send(text);
      arrived.get_future().wait_for(std::chrono::seconds(60));
      socket.resetOnClose();
      return false;
    });
    get("/file", received_);
  }

  void expectTheSystemsNumber() {
    EXPECT_EQ(received_.errorCalls, 1);
    EXPECT_EQ(received_.reason, 6U);
    EXPECT_TRUE(received_.systemNumber);
    EXPECT_EQ(received_.underlying, ECONNRESET);
  }

  ScriptedServer server_;
  Received received_;
};

TEST_F(ResetConnection, IsReportedWithTheSystemsNumberBeforeTheAnswer) {
  resetAfter("");
  expectTheSystemsNumber();
  EXPECT_EQ(received_.statusCalls, 0);
}

TEST_F(ResetConnection, IsReportedWithTheSystemsNumberWithinTheBody) {
  resetAfter("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nstart");
  expectTheSystemsNumber();
  EXPECT_EQ(received_.status, 200U);
  EXPECT_EQ(received_.body, "start");
}

}  // namespace
