// Tests what a pool of clients promises, against a scripted server.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "mtllib/transfer_progress.h"
#include "pool_fixture.h"
#include "support/promptly.h"
#include "support/scripted_server.h"
#include "support/unknown_host.h"
#include "transfer_engine.h"

namespace {

using namespace Krell::Networking;  // NOLINT: the constants under test
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class HttpClientPoolTest : public PoolFixture {
 protected:
  HttpClientPoolTest() { configure("127.0.0.1", server_.port()); }

  // Answers with a header that announces 100 bytes, sends a few, and then nothing more.
  void serveStalling(const char* target) {
    server_.handle(target, [](const ServerRequest&, Socket& socket) {
      socket.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nstart");
      char byte = 0;
      socket.receive(&byte, 1);
      return false;
    });
  }

  ScriptedServer server_;
};

TEST_F(HttpClientPoolTest, DeliversStatusAndBody) {
  server_.serve("/file", "content");
  Received received;
  get("/file", received);
  EXPECT_EQ(received.status, 200U);
  EXPECT_EQ(received.statusCalls, 1);
  EXPECT_EQ(received.body, "content");
  EXPECT_EQ(received.lastReceivedBytes, 7);
  EXPECT_EQ(received.errorCalls, 0);
}

TEST_F(HttpClientPoolTest, DeliversALargeBodyWhole) {
  std::string body(8U << 20U, '\0');
  for (std::size_t i = 0; i < body.size(); ++i)
    body[i] = static_cast<char>(i * 2654435761U >> 11U);
  server_.serve("/large", body);
  Received received;
  get("/large", received);
  EXPECT_TRUE(received.body == body);
}

TEST_F(HttpClientPoolTest, ReportsTheStatusOfAnEmptyBody) {
  server_.serve("/empty", "");
  Received received;
  get("/empty", received);
  EXPECT_EQ(received.status, 200U);
  EXPECT_EQ(received.body, "");
}

TEST_F(HttpClientPoolTest, DeliversTheBodyOfAnErrorStatus) {
  server_.serveStatus("/gone", 410, "gone");
  Received received;
  get("/gone", received);
  EXPECT_EQ(received.status, 410U);
  EXPECT_EQ(received.body, "gone");
  EXPECT_EQ(received.errorCalls, 0);
}

TEST_F(HttpClientPoolTest, SendsThePathAsItStands) {
  Received received;
  get("/a/../b%20c?d#e//f", received);
  EXPECT_EQ(server_.requestLines(), std::vector<std::string>{"GET /a/../b%20c?d#e//f"});
}

TEST_F(HttpClientPoolTest, SendsTheHeadersOfThePoolAndAsksForNoEncoding) {
  Received received;
  get("/", received);
  const ServerRequest request = server_.requests().at(0);
  EXPECT_EQ(request.header("User-Agent"), "mtldownloader");
  EXPECT_EQ(request.header("Host"), "127.0.0.1:" + std::to_string(server_.port()));
  EXPECT_EQ(request.header("Accept-Encoding"), "");
  EXPECT_EQ(request.header("Cookie"), "");
  EXPECT_EQ(request.header("Authorization"), "");
}

TEST_F(HttpClientPoolTest, ReplacesItsHeadersOrAddsToThem) {
  Krell::Err err;
  for (const krbool append : {0, 1}) {
    Headers headers;
    headers.internalSet(append != 0 ? "X-Second" : "X-First", -2, "value", -1, 1, nullptr);
    EXPECT_NE(pool_.setHeaders(err, headers, append), 0);
  }
  EXPECT_FALSE(err.chain);
  Received received;
  get("/", received);
  const ServerRequest request = server_.requests().at(0);
  EXPECT_EQ(request.header("User-Agent"), "");
  EXPECT_EQ(request.header("X-First"), "value");
  EXPECT_EQ(request.header("X-Second"), "value");
}

TEST_F(HttpClientPoolTest, RefusesPathsThatWouldChangeTheRequest) {
  for (const char* path : {"", "file", "/a b", "/a\r\nX: y", "/a\tb", "/\x7F"}) {
    int index = -1;
    Client* client = pool_.waitAvailable(&index);
    Krell::Err err;
    EXPECT_EQ(client->request(err, path, Client::kGet, nullptr, nullptr, nullptr), 0);
    ASSERT_TRUE(err.chain);
    EXPECT_EQ(std::string(err.chain.head->message),
              "Invalid request path \"" + std::string(path) + "\"");
    EXPECT_STREQ(err.chain.head->tag, "HttpClient::request");
    EXPECT_EQ(err.chain.head->code, -1);
  }
  EXPECT_TRUE(server_.requests().empty());
}

TEST_F(HttpClientPoolTest, FollowsNoRedirect) {
  server_.handle("/moved", [](const ServerRequest&, Socket& socket) {
    return socket.send("HTTP/1.1 302 Found\r\nLocation: /else\r\nContent-Length: 0\r\n\r\n");
  });
  Received received;
  get("/moved", received);
  EXPECT_EQ(received.status, 302U);
  EXPECT_EQ(server_.requestLines(), std::vector<std::string>{"GET /moved"});
}

TEST_F(HttpClientPoolTest, StartsAllClientsBeforeItReusesOne) {
  server_.serve("/file", "x");
  Received received[5];
  std::vector<int> order;
  for (int i = 0; i < 5; ++i) {
    order.push_back(start("/file", received[i]));
    // Even a client that has finished waits until the others were used.
    while (received[i].dataCalls < 2)
      std::this_thread::yield();
  }
  for (int i = 0; i < 5; ++i)
    wait(i);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST_F(HttpClientPoolTest, HandsOutFinishedClientsInTheirOrderOfCompletion) {
  const char* const names[] = {"/0", "/1", "/2", "/3", "/4"};
  Received received[5];
  Received again[5];
  server_.hold("/held");
  for (const char* name : names) {
    server_.serve(name, "x");
    server_.hold(name);
  }
  for (int i = 0; i < 5; ++i)
    start(names[i], received[i]);
  ASSERT_TRUE(server_.waitForRequests(5));
  std::vector<int> order;
  for (const int next : {3, 1, 4, 0, 2}) {
    server_.release(names[next]);
    order.push_back(start("/held", again[next]));
  }
  pool_.destroy();
  EXPECT_EQ(order, (std::vector<int>{3, 1, 4, 0, 2}));
}

TEST_F(HttpClientPoolTest, HandsOutTheFirstClientAgainOnceItWasWaitedFor) {
  server_.serve("/file", "x");
  Received first;
  Received second;
  EXPECT_EQ(start("/file", first), 0);
  wait(0);
  EXPECT_EQ(start("/file", second), 0);
  wait(0);
}

TEST_F(HttpClientPoolTest, KeepsConnectionsOpenBetweenRequests) {
  server_.serve("/file", "x");
  for (int i = 0; i < 20; ++i) {
    Received received;
    get("/file", received);
    ASSERT_EQ(received.status, 200U);
  }
  EXPECT_LE(server_.connectionCount(), 5);
}

TEST_F(HttpClientPoolTest, UsesOneConnectionAClientAtMost) {
  server_.serve("/file", "x");
  Received received[100];
  for (Received& one : received)
    start("/file", one);
  for (int i = 0; i < 5; ++i)
    wait(i);
  EXPECT_LE(server_.connectionCount(), 5);
  EXPECT_EQ(server_.requests().size(), 100U);
  EXPECT_FALSE(overlapped_);
}

TEST_F(HttpClientPoolTest, RetriesOnAConnectionThatTheServerClosedMeanwhile) {
  server_.handle("/file", [](const ServerRequest&, Socket& socket) {
    socket.send(ScriptedServer::response(200, "x"));
    return false;
  });
  for (int i = 0; i < 5; ++i) {
    Received received;
    get("/file", received);
    EXPECT_EQ(received.status, 200U);
    EXPECT_EQ(received.errorCalls, 0);
  }
}

TEST_F(HttpClientPoolTest, ReportsABodyShorterThanAnnounced) {
  server_.handle("/cut", [](const ServerRequest&, Socket& socket) {
    socket.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly this");
    return false;
  });
  Received received;
  get("/cut", received);
  EXPECT_EQ(received.errorCalls, 1);
  EXPECT_EQ(received.reason, 7U);
  EXPECT_FALSE(received.systemNumber);
  EXPECT_EQ(received.underlying, 18);
  EXPECT_EQ(received.status, 200U);
}

TEST_F(HttpClientPoolTest, ReportsAConnectionClosedBeforeTheAnswer) {
  server_.handle("/none", [](const ServerRequest&, Socket&) { return false; });
  Received received;
  get("/none", received);
  EXPECT_EQ(received.reason, 6U);
  EXPECT_FALSE(received.systemNumber);
  EXPECT_EQ(received.underlying, 52);
  EXPECT_EQ(received.status, 0U);
}

TEST_F(HttpClientPoolTest, ReportsAnAnswerThatIsNotHttp) {
  server_.handle("/greeting", [](const ServerRequest&, Socket& socket) {
    socket.send("220 welcome\r\n");
    return false;
  });
  Received received;
  get("/greeting", received);
  EXPECT_EQ(received.reason, CONNECTION_ERROR_PROTOCOL);
}

TEST_F(HttpClientPoolTest, ReportsAResetBeforeTheAnswer) {
  server_.handle("/reset", [](const ServerRequest&, Socket& socket) {
    socket.resetOnClose();
    return false;
  });
  Received received;
  get("/reset", received);
  EXPECT_EQ(received.reason, CONNECTION_ERROR_RECEIVE);
}

TEST_F(HttpClientPoolTest, AnAbortEndsAStalledTransferAtOnceAndIsNotReportedAgain) {
  serveStalling("/stall");
  expectPromptly([&] {
    Received received;
    const int index = start("/stall", received);
    while (received.dataCalls == 0)
      std::this_thread::yield();
    const auto begin = Clock::now();
    received.abortAfter = 0;
    wait(index);
    EXPECT_EQ(received.errorCalls, 0);
    return Clock::now() - begin;
  });
}

TEST_F(HttpClientPoolTest, AnAbortWithinDataIsNotReportedAgain) {
  server_.serve("/file", std::string(1000000, 'x'));
  Received received;
  received.abortAfter = 0;
  get("/file", received);
  EXPECT_EQ(received.errorCalls, 0);
  EXPECT_EQ(received.dataCalls, 1);
}

TEST_F(HttpClientPoolTest, AStalledTransferEndsAsATimeout) {
  serveStalling("/stall");
  TransferEngine engine(&pool_.client(0), 1);
  engine.configuration().host = "127.0.0.1";
  engine.configuration().port = server_.port();
  engine.configuration().limits.stallSeconds = 1;
  engine.configuration().callbacks.onError = [](CallbackContext*, const ConnectionError* error,
                                                ReqTokenGeneralType* token) {
    *reinterpret_cast<std::uint32_t*>(token) = error->code;
  };
  std::uint32_t code = 0;
  ErrorChain error;
  ASSERT_TRUE(engine.start(0, "/stall", reinterpret_cast<ReqTokenGeneralType*>(&code), error));
  engine.waitFinished(0);
  EXPECT_EQ(code & 0xFFF, CONNECTION_ERROR_TIMEOUT);
}

TEST_F(HttpClientPoolTest, ABodyWithoutEndDoesNotHoldUpAnother) {
  server_.handle("/endless", [](const ServerRequest&, Socket& socket) {
    socket.send("HTTP/1.1 200 OK\r\n\r\n");
    const std::string piece(1U << 20U, 'x');
    while (socket.send(piece)) {
    }
    return false;
  });
  // Not there yet when it is looked for at first.
  server_.handle("/file", [](const ServerRequest&, Socket& socket) {
    std::this_thread::sleep_for(milliseconds(600));
    return socket.send(ScriptedServer::response(200, "content"));
  });
  TransferEngine engine(&pool_.client(0), 2);
  engine.configuration().host = "127.0.0.1";
  engine.configuration().port = server_.port();
  engine.configuration().callbacks.onData = [](CallbackContext*, ReqTokenGeneralType* token,
                                               TransferProgress* progress, Response*) {
    *reinterpret_cast<std::atomic<std::int64_t>*>(token) = progress->receivedBytes;
    // So that there is always more to be had.
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  };
  std::atomic<std::int64_t> received[2]{};
  ErrorChain error;
  const auto request = [&](int index, const char* path) {
    auto* token = reinterpret_cast<ReqTokenGeneralType*>(&received[index]);
    ASSERT_TRUE(engine.start(index, path, token, error));
  };
  request(0, "/endless");
  while (received[0] < (16 << 20))
    std::this_thread::yield();
  request(1, "/file");
  const auto end = Clock::now() + std::chrono::seconds(60);
  while (received[1] < 7 && Clock::now() < end)
    std::this_thread::yield();
  EXPECT_EQ(received[1], 7);
}

TEST_F(HttpClientPoolTest, DestroyEndsRunningTransfersAtOnceAndReportsThem) {
  serveStalling("/stall");
  expectPromptly([&] {
    beginAnew("127.0.0.1", server_.port());
    Received received;
    start("/stall", received);
    while (received.dataCalls == 0)
      std::this_thread::yield();
    const auto begin = Clock::now();
    pool_.destroy();
    const auto taken = Clock::now() - begin;
    EXPECT_EQ(received.errorCalls, 1);
    EXPECT_EQ(received.reason, CONNECTION_ERROR_ABORTED);
    EXPECT_EQ(pool_.waitAvailable(nullptr), nullptr);
    return taken;
  });
}

TEST_F(HttpClientPoolTest, DestroyReleasesAThreadThatWaitsForAClient) {
  serveStalling("/stall");
  Received received[5];
  for (Received& one : received)
    start("/stall", one);
  Client* handedOut = &pool_.client(0);
  std::thread waiter([&] { handedOut = pool_.waitAvailable(nullptr); });
  std::this_thread::sleep_for(milliseconds(50));
  pool_.destroy();
  waiter.join();
  EXPECT_EQ(handedOut, nullptr);
}

TEST_F(HttpClientPoolTest, RefusesASecondRequestOnABusyClient) {
  server_.hold("/file");
  Received received;
  const int index = start("/file", received);
  Krell::Err err;
  EXPECT_EQ(pool_.client(index).request(err, "/file", Client::kGet, nullptr, nullptr, nullptr), 0);
  EXPECT_STREQ(err.chain.head->message, "The client is busy");
  pool_.destroy();
}

TEST_F(HttpClientPoolTest, RefusesOtherKindsOfRequests) {
  Krell::Err err;
  EXPECT_EQ(pool_.client(0).request(err, "/file", 2, nullptr, nullptr, nullptr), 0);
  EXPECT_STREQ(err.chain.head->message, "Unsupported kind of request");
}

TEST_F(HttpClientPoolTest, WaitsForNoOtherRequestThanTheClients) {
  auto* id = reinterpret_cast<ReqIDGeneralType*>(this);
  EXPECT_EQ(pool_.client(0).waitForRequestCompletion(id), 0);
}

TEST_F(HttpClientPoolTest, ReportsAPortThatNobodyListensOn) {
  const Socket closed = Socket::refuseOnLoopback();
  configure("127.0.0.1", closed.port());
  Received received;
  get("/file", received);
  EXPECT_EQ(received.reason, 2U);
  EXPECT_TRUE(received.systemNumber);
  EXPECT_THAT(received.underlying, testing::AnyOf(111, 10061));
}

TEST_F(HttpClientPoolTest, ReportsANameThatDoesNotExist) {
  configure(kUnknownHost.c_str(), 80);
  Received received;
  get("/file", received);
  EXPECT_EQ(received.reason, 1U);
  EXPECT_FALSE(received.systemNumber);
  EXPECT_EQ(received.underlying, 6);
}

TEST_F(HttpClientPoolTest, ReportsAnAddressThatNobodyCanHave) {
  configure("1::2::3", 80);
  Received received;
  get("/file", received);
  EXPECT_EQ(received.errorCalls, 1);
  EXPECT_EQ(received.underlying, 3);
}

TEST_F(HttpClientPoolTest, SpeaksTlsOnlyToATlsServer) {
  server_.handle("/", [](const ServerRequest&, Socket&) { return false; });
  Krell::Err err;
  pool_.setSSLContext(err, getKrellNetworkingContext()->clientSsl);
  ASSERT_FALSE(err.chain);
  // The scripted server waits for a request that never comes; a port that greets shows
  // that the client does not fall back.
  const Socket listener = Socket::listenOnLoopback();
  configure("127.0.0.1", listener.port());
  std::thread greeter([&] {
    const Socket peer = listener.accept();
    // Long enough for the record of 20527 bytes that the letters "P/" announce.
    peer.send(ScriptedServer::response(200, std::string(32768, 'x')));
    char bytes[1024];
    while (peer.receive(bytes, sizeof(bytes)) > 0) {
    }
  });
  Received received;
  get("/", received);
  greeter.join();
  EXPECT_EQ(received.reason, CONNECTION_ERROR_TLS);
}

TEST_F(HttpClientPoolTest, RefusesInvalidServers) {
  for (const char* host :
       {"", "a b", "user@h", "h/x", "h?x", "h#x", "h:80x", "a\r\nb", "a:b", "a:99999",
        "127.0.0.1:99999", "127.0.0.1:80", "::99999", ":", "a::b:c0ffe"}) {
    Krell::Err err;
    EXPECT_EQ(pool_.setServer(err, host, 80, nullptr), 0);
    EXPECT_EQ(std::string(err.chain.head->message),
              "Invalid server \"" + std::string(host) + "\", port 80");
  }
  for (const int port : {-1, 0, 65536}) {
    Krell::Err err;
    EXPECT_EQ(pool_.setServer(err, "h", port, nullptr), 0);
    EXPECT_TRUE(err.chain);
  }
}

TEST_F(HttpClientPoolTest, TakesWhateverStandsInNamesAndAddresses) {
  for (const char* host : {"h", "AZ-az.09", "my_library.lan",
                           "b\xC3\xBC"
                           "cher.example",
                           "192.0.2.1", "::1", "2001:DB8::fe09", "::ffff:192.0.2.1"}) {
    for (const int port : {1, 80, 65535}) {
      Krell::Err err;
      EXPECT_NE(pool_.setServer(err, host, port, nullptr), 0) << host;
      EXPECT_NE(pool_.setProxyServer(err, host, port), 0) << host;
      EXPECT_FALSE(err.chain);
    }
  }
}

TEST_F(HttpClientPoolTest, RefusesAnUnknownMode) {
  Krell::Err err;
  EXPECT_EQ(pool_.setMode(err, 1), 0);
  EXPECT_STREQ(err.chain.head->message, "Unsupported mode 1");
}

TEST_F(HttpClientPoolTest, RefusesTlsWithoutAConfiguration) {
  Krell::Err err;
  EXPECT_EQ(pool_.setSSLContext(err, nullptr), 0);
  EXPECT_STREQ(err.chain.head->message, "No TLS configuration");
}

TEST(UninitializedPool, ReportsEveryOperation) {
  HttpClientPool pool;
  Krell::Err err;
  EXPECT_EQ(pool.setServer(err, "h", 80, nullptr), 0);
  EXPECT_STREQ(err.chain.head->message, "The pool is not initialized");
  EXPECT_EQ(pool.waitAvailable(nullptr), nullptr);
  pool.destroy();
}

TEST(PoolWithoutContext, RefusesItsMode) {
  HttpClientPool pool;
  pool.initialize(5);
  Krell::Err err;
  EXPECT_EQ(pool.setMode(err, HttpClientPool::kBackground), 0);
  EXPECT_STREQ(err.chain.head->message, "The networking context is not initialized");
  pool.destroy();
}

}  // namespace
