// Tests requests through an HTTP proxy; the scripted server plays the proxy.
#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "pool_fixture.h"
#include "support/environment_variable.h"
#include "support/scripted_server.h"
#include "support/unknown_host.h"
#include "transfer_engine.h"

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
  EXPECT_EQ(received.reason, 4U);
  EXPECT_FALSE(received.systemNumber);
  EXPECT_EQ(received.underlying, 56);
  EXPECT_EQ(received.status, 0U);
}

TEST_F(ProxyTest, ARefusalSaysWithWhichStatus) {
  Krell::Err err;
  pool_.setSSLContext(err, getKrellNetworkingContext()->clientSsl);
  for (const int status : {403, 407, 502}) {
    proxy_.serveStatus("library.invalid:8080", status, "");
    Received received;
    get("/file", received);
    EXPECT_EQ(received.detail.proxyStatus, status);
  }
}

TEST_F(ProxyTest, CredentialsAreShownToTheProxyAlone) {
  Krell::Err err;
  pool_.setProxyCredentials(err, "ada", "se:cret");
  proxy_.serve("http://library.invalid:8080/file", "through the proxy");
  Received received;
  get("/file", received);
  EXPECT_EQ(received.body, "through the proxy");
  EXPECT_EQ(proxy_.requests().at(0).header("Proxy-Authorization"), "Basic YWRhOnNlOmNyZXQ=");
}

TEST_F(ProxyTest, CredentialsAreShownWithARequestForATunnel) {
  Krell::Err err;
  pool_.setSSLContext(err, getKrellNetworkingContext()->clientSsl);
  pool_.setProxyCredentials(err, "ada", "x");
  proxy_.serveStatus("library.invalid:8080", 403, "");
  Received received;
  get("/file", received);
  EXPECT_EQ(proxy_.requests().at(0).header("Proxy-Authorization"), "Basic YWRhOng=");
}

TEST_F(ProxyTest, AProxyThatIsNotThereIsReportedAsSuch) {
  const Socket closed = Socket::refuseOnLoopback();
  Krell::Err err;
  pool_.setProxyServer(err, "127.0.0.1", closed.port());
  Received received;
  get("/file", received);
  EXPECT_EQ(received.reason, 4U);
  EXPECT_TRUE(received.systemNumber);
  EXPECT_THAT(received.underlying, testing::AnyOf(111, 10061));
}

TEST_F(ProxyTest, AProxyNameThatDoesNotExistIsReportedAsSuch) {
  Krell::Err err;
  pool_.setProxyServer(err, kUnknownHost.c_str(), 80);
  Received received;
  get("/file", received);
  EXPECT_EQ(received.reason, 4U);
  EXPECT_FALSE(received.systemNumber);
  EXPECT_EQ(received.underlying, 5);
}

/// A proxy that answers a request for a tunnel with `begin`, and with `piece` again and again
/// for as long as somebody listens.
class EndlessProxyTest : public ProxyTest {
 protected:
  void answerWithoutEnd(const std::string& begin, const std::string& piece,
                        std::chrono::milliseconds pause = {}) {
    Krell::Err err;
    pool_.setSSLContext(err, getKrellNetworkingContext()->clientSsl);
    proxy_.handle("library.invalid:8080", [=](const ServerRequest&, Socket& socket) {
      bool taken = socket.send(begin);
      while (taken) {
        std::this_thread::sleep_for(pause);
        taken = socket.send(piece);
      }
      return false;
    });
  }
};

TEST_F(EndlessProxyTest, EndsARefusalThatDoesNotEnd) {
  for (const char* length :
       {"Content-Length: 1000000000000000\r\n", "Transfer-Encoding: chunked\r\n", ""}) {
    answerWithoutEnd("HTTP/1.1 407 No\r\nProxy-Authenticate: Basic realm=\"x\"\r\n" +
                         std::string(length) + "\r\n",
                     "10000\r\n" + std::string(65536, 'x') + "\r\n");
    Received received;
    get("/file", received);
    EXPECT_EQ(received.reason, CONNECTION_ERROR_PROXY);
    EXPECT_EQ(received.underlying, 56);
  }
}

TEST_F(EndlessProxyTest, EndsAHeaderThatDoesNotEnd) {
  answerWithoutEnd("HTTP/1.1 200 OK\r\n", "X: " + std::string(1000, 'x') + "\r\n");
  TransferEngine engine(&pool_.client(0), 1);
  TransferConfiguration& configuration = engine.configuration();
  configuration.host = "library.invalid";
  configuration.port = 8080;
  configuration.tls = true;
  configuration.proxyHost = "127.0.0.1";
  configuration.proxyPort = proxy_.port();
  // It is read byte by byte until it is too large, which takes some systems long.
  configuration.limits.connectMilliseconds = 600'000;
  configuration.callbacks.onError = [](CallbackContext*, const ConnectionError* error,
                                       ReqTokenGeneralType* token) {
    *reinterpret_cast<std::uint32_t*>(token) = error->code;
  };
  std::uint32_t code = 0;
  ErrorChain error;
  ASSERT_TRUE(engine.start(0, "/file", reinterpret_cast<ReqTokenGeneralType*>(&code), error));
  engine.waitFinished(0);
  EXPECT_EQ(code & 0xFFF, CONNECTION_ERROR_PROXY);
}

TEST_F(EndlessProxyTest, IsLeftWhenTheHostAborts) {
  answerWithoutEnd("HTTP/1.1 200 ", "x", std::chrono::milliseconds(5));
  Received received;
  received.abortAfter = 5;
  get("/file", received);
  EXPECT_EQ(received.errorCalls, 0);
}

TEST_F(EndlessProxyTest, DoesNotHoldUpTheEndOfThePool) {
  answerWithoutEnd("HTTP/1.1 200 OK\r\nX: ", "x", std::chrono::milliseconds(5));
  Received received;
  start("/file", received);
  while (received.dataCalls < 3)
    std::this_thread::yield();
  pool_.destroy();
  EXPECT_EQ(received.errorCalls, 1);
}

TEST_F(ProxyTest, AHostWithAnUnderscoreIsNamedToTheProxy) {
  Krell::Err err;
  ASSERT_NE(pool_.setServer(err, "my_library.invalid", 8080, nullptr), 0);
  proxy_.serve("http://my_library.invalid:8080/file", "through the proxy");
  Received received;
  get("/file", received);
  EXPECT_EQ(received.body, "through the proxy");
}

TEST_F(ProxyTest, RefusesInvalidProxies) {
  Krell::Err err;
  EXPECT_EQ(pool_.setProxyServer(err, "a b", 80), 0);
  EXPECT_STREQ(err.chain.head->message, "Invalid proxy \"a b\", port 80");
}

TEST_F(ProxyTest, ADirectPoolIgnoresTheProxyInTheEnvironment) {
  ScriptedServer server;
  server.serve("/file", "direct");
  const EnvironmentVariable lower("http_proxy", proxy_.address());
  const EnvironmentVariable all("ALL_PROXY", proxy_.address());
  configure("127.0.0.1", server.port());
  Received received;
  get("/file", received);
  EXPECT_EQ(received.body, "direct");
  EXPECT_TRUE(proxy_.requests().empty());
}

TEST_F(ProxyTest, APoolWithAProxyIgnoresTheExceptionsInTheEnvironment) {
  ScriptedServer server;
  server.serve("/file", "direct");
  proxy_.serve(server.address() + "/file", "through the proxy");
  configure("127.0.0.1", server.port());
  Krell::Err err;
  pool_.setProxyServer(err, "127.0.0.1", proxy_.port());
  const EnvironmentVariable lower("no_proxy", "127.0.0.1");
  const EnvironmentVariable upper("NO_PROXY", "*");
  Received received;
  get("/file", received);
  EXPECT_EQ(received.body, "through the proxy");
  EXPECT_TRUE(server.requests().empty());
}

}  // namespace
