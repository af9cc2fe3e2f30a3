// Requests through an HTTP proxy; the scripted server plays the proxy.
#include <cstdlib>
#include <string>
#include <vector>

#include "pool_fixture.h"
#include "support/scripted_server.h"

namespace {

using namespace Krell::Networking;  // NOLINT: the constants under test

class ProxyTest : public PoolFixture {
 protected:
  ProxyTest() {
    configure("library.invalid", 8080);
    Krell::Err err;
    pool_.setProxyServer(err, "127.0.0.1", proxy_.port());
  }

  ScriptedServer proxy_;
};

TEST_F(ProxyTest, PlainRequestsNameTheWholeAddress) {
  proxy_.serve("http://library.invalid:8080/a%20b", "through the proxy");
  Received received;
  get("/a%20b", received);
  EXPECT_EQ(received.body, "through the proxy");
  EXPECT_EQ(proxy_.requests().at(0).header("Host"), "library.invalid:8080");
  EXPECT_EQ(proxy_.requests().at(0).header("User-Agent"), "mtldownloader");
}

TEST_F(ProxyTest, TlsRequestsAskForATunnelWithoutThePoolsHeaders) {
  Krell::Err err;
  pool_.setSSLContext(err, getKrellNetworkingContext()->clientSsl);
  proxy_.serveStatus("library.invalid:8080", 403, "");
  Received received;
  get("/file", received);
  EXPECT_EQ(proxy_.requestLines(), std::vector<std::string>{"CONNECT library.invalid:8080"});
  EXPECT_EQ(proxy_.requests().at(0).header("User-Agent"), "");
  EXPECT_EQ(received.reason, CONNECTION_ERROR_PROXY);
  EXPECT_EQ(received.status, 0U);
}

TEST_F(ProxyTest, AProxyThatIsNotThereIsReportedAsSuch) {
  Socket closed = Socket::listenOnLoopback();
  const int port = closed.port();
  closed.close();
  Krell::Err err;
  pool_.setProxyServer(err, "127.0.0.1", port);
  Received received;
  get("/file", received);
  EXPECT_EQ(received.reason, CONNECTION_ERROR_PROXY);
  EXPECT_TRUE(received.systemNumber);
}

TEST_F(ProxyTest, AProxyNameThatDoesNotExistIsReportedAsSuch) {
  Krell::Err err;
  pool_.setProxyServer(err, "nothing.invalid", 80);
  Received received;
  get("/file", received);
  EXPECT_EQ(received.reason, CONNECTION_ERROR_PROXY);
}

TEST_F(ProxyTest, RefusesInvalidProxies) {
  Krell::Err err;
  EXPECT_EQ(pool_.setProxyServer(err, "a b", 80), 0);
  EXPECT_STREQ(err.chain.head->message, "Invalid proxy \"a b\", port 80");
}

TEST_F(ProxyTest, ADirectPoolIgnoresTheEnvironment) {
  ScriptedServer server;
  server.serve("/file", "direct");
  ASSERT_EQ(putenv(const_cast<char*>("http_proxy=http://127.0.0.1:9")), 0);
  configure("127.0.0.1", server.port());
  Received received;
  get("/file", received);
  EXPECT_EQ(received.body, "direct");
  EXPECT_TRUE(proxy_.requests().empty());
}

}  // namespace
