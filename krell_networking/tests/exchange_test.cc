// Tests how requests use connections, and that no answer is taken for that of another request.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "pool_fixture.h"
#include "support/scripted_server.h"

namespace {

using namespace Krell::Networking;  // NOLINT: the constants under test
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class ExchangeTest : public PoolFixture {
 protected:
  ExchangeTest() { configure("127.0.0.1", server_.port()); }

  /// Waits until so many connections were accepted in all, or for a minute.
  int connectionsOnceThereAre(int count) {
    const auto end = Clock::now() + std::chrono::seconds(60);
    while (server_.connectionCount() < count && Clock::now() < end)
      std::this_thread::sleep_for(milliseconds(5));
    return server_.connectionCount();
  }

  void answer(const char* target, const std::string& bytes) {
    server_.handle(target,
                   [bytes](const ServerRequest&, Socket& socket) { return socket.send(bytes); });
  }

  ScriptedServer server_;
};

TEST_F(ExchangeTest, OneRequestOpensOneConnection) {
  server_.serve("/file", "x");
  Received received;
  get("/file", received);
  std::this_thread::sleep_for(milliseconds(100));
  EXPECT_EQ(server_.connectionCount(), 1);
}

TEST_F(ExchangeTest, TheSecondRequestOpensTheConnectionsOfAllClients) {
  server_.serve("/file", "x");
  for (int i = 0; i < 2; ++i) {
    Received received;
    get("/file", received);
    EXPECT_EQ(received.body, "x");
  }
  EXPECT_EQ(connectionsOnceThereAre(5), 5);
  Received received[20];
  for (Received& one : received)
    start("/file", one);
  for (int i = 0; i < 5; ++i)
    wait(i);
  EXPECT_EQ(server_.connectionCount(), 5);
}

TEST_F(ExchangeTest, AnAnswerThatNobodyAskedForIsNobodys) {
  for (const char* name : {"/0", "/1", "/2", "/3", "/4"}) {
    answer(name, ScriptedServer::response(200, name) + ScriptedServer::response(200, "other"));
  }
  for (int round = 0; round < 10; ++round) {
    Received received[5];
    const char* const names[] = {"/0", "/1", "/2", "/3", "/4"};
    for (int i = 0; i < 5; ++i)
      start(names[i], received[i]);
    for (int i = 0; i < 5; ++i) {
      wait(i);
      EXPECT_EQ(received[i].body, names[i]);
      EXPECT_EQ(received[i].errorCalls, 0);
    }
  }
}

TEST_F(ExchangeTest, AnAnswerThatComesLaterIsNobodysEither) {
  std::atomic<bool> sent{false};
  server_.handle("/first", [&](const ServerRequest&, Socket& socket) {
    socket.send(ScriptedServer::response(200, "first"));
    std::this_thread::sleep_for(milliseconds(50));
    socket.send(ScriptedServer::response(200, "other"));
    sent = true;
    return true;
  });
  server_.serve("/second", "second");
  Received first;
  Received second;
  get("/first", first);
  while (!sent)
    std::this_thread::yield();
  get("/second", second);
  EXPECT_EQ(first.body, "first");
  EXPECT_EQ(second.body, "second");
}

TEST_F(ExchangeTest, WhatHasArrivedIsTakenInOnePiece) {
  const std::string body(48UL * 1024, 'x');
  std::atomic<bool> sent{false};
  server_.handle("/file", [&](const ServerRequest&, Socket& socket) {
    const std::string answer = ScriptedServer::response(200, body);
    const std::size_t first = answer.size() - body.size() + 1;
    sent = socket.send(answer.substr(0, first)) && socket.send(answer.substr(first));
    return true;
  });
  Received received;
  received.onFirstBytes = [&] {
    const auto end = Clock::now() + std::chrono::seconds(60);
    while (!sent && Clock::now() < end)
      std::this_thread::sleep_for(milliseconds(1));
  };
  get("/file", received);
  EXPECT_EQ(received.body, body);
  EXPECT_GT(received.largestPiece, 32UL * 1024);
}

/// Says where bodies are to be received.
class RoomTest : public ExchangeTest {
 protected:
  RoomTest() : room_(2 * kSize, '.') {
    Krell::Err err;
    pool_.setRoomCallback(err, [](Context* context, Token*) {
      auto& test = static_cast<RoomTest&>(*static_cast<PoolFixture*>(context->userPointer));
      ++test.asked_;
      const std::size_t taken = test.received_.body.size();
      return Client::Room{test.room_.data() + taken, test.mostAtOnce_};
    });
    EXPECT_FALSE(err.chain);
  }

  /// The first byte of the body comes with the header, the others when it was taken.
  void serve(const std::string& head, const std::string& body) {
    server_.handle("/file", [=](const ServerRequest&, Socket& socket) {
      if (!socket.send(head + "\r\n\r\n" + body.substr(0, 1))) return false;
      const auto end = Clock::now() + std::chrono::seconds(60);
      while (!isBegun_ && Clock::now() < end)
        std::this_thread::sleep_for(milliseconds(1));
      return socket.send(body.substr(1));
    });
    received_.onFirstBytes = [this] { isBegun_ = true; };
    get("/file", received_);
    EXPECT_EQ(received_.errorCalls, 0);
  }

  static constexpr std::size_t kSize = 48UL * 1024;

  std::string room_;
  std::size_t mostAtOnce_ = kSize;
  int asked_ = 0;
  std::atomic<bool> isBegun_{false};
  Received received_;
};

TEST_F(RoomTest, HasTheBodyWithoutACopy) {
  const std::string body(kSize, 'x');
  for (const std::size_t most : {kSize, std::size_t{1000}}) {
    room_.assign(2 * kSize, '.');
    received_.body.clear();
    isBegun_ = false;
    mostAtOnce_ = most;
    serve("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kSize), body);
    EXPECT_TRUE(received_.body == body);
    EXPECT_TRUE(room_ == '.' + body.substr(1) + std::string(kSize, '.'));
  }
}

TEST_F(RoomTest, MayBeNone) {
  const std::string body(kSize, 'x');
  mostAtOnce_ = 0;
  serve("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kSize), body);
  EXPECT_GT(asked_, 0);
  EXPECT_TRUE(received_.body == body);
}

TEST_F(RoomTest, IsNotForWhatIsNotTheBody) {
  serve("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked", "1\r\nx\r\n2\r\nyz\r\n0\r\n\r\n");
  EXPECT_EQ(received_.body, "xyz");
  EXPECT_EQ(asked_, 0);
}

TEST_F(RoomTest, MayHaveWhatIsBehindTheBodyToo) {
  serve("HTTP/1.1 200 OK\r\nContent-Length: 3", "xyzHTTP/1.1 200 OK\r\n\r\n");
  EXPECT_EQ(received_.body, "xyz");
  EXPECT_EQ(room_.substr(0, 4), ".yzH");
}

TEST_F(ExchangeTest, BytesBehindABodyCloseTheConnection) {
  answer("/file", ScriptedServer::response(200, "x") + "y");
  Received received;
  get("/file", received);
  EXPECT_EQ(received.body, "x");
  std::atomic<bool> closed{false};
  server_.handle("/file", [&](const ServerRequest&, Socket& socket) {
    closed = true;
    return socket.send(ScriptedServer::response(200, "z"));
  });
  Received again;
  get("/file", again);
  EXPECT_EQ(again.body, "z");
  EXPECT_GE(server_.connectionCount(), 2);
}

TEST_F(ExchangeTest, ARequestIsSentOnceMoreWhenAKeptConnectionCloses) {
  server_.serve("/file", "x");
  Received first;
  get("/file", first);
  int requests = 0;
  server_.handle("/file", [&](const ServerRequest&, Socket& socket) {
    if (++requests == 1) return false;
    return socket.send(ScriptedServer::response(200, "y"));
  });
  Received second;
  get("/file", second);
  EXPECT_EQ(second.body, "y");
  EXPECT_EQ(second.errorCalls, 0);
  EXPECT_EQ(requests, 2);
}

TEST_F(ExchangeTest, ARequestIsSentTwiceAtMost) {
  server_.serve("/file", "x");
  Received first;
  get("/file", first);
  std::atomic<int> requests{0};
  server_.handle("/file", [&](const ServerRequest&, Socket&) {
    ++requests;
    return false;
  });
  Received second;
  get("/file", second);
  EXPECT_EQ(second.reason, CONNECTION_ERROR_RECEIVE);
  EXPECT_EQ(second.underlying, 52);
  EXPECT_EQ(requests, 2);
}

TEST_F(ExchangeTest, ARequestIsNotSentAgainOnceItsAnswerHasBegun) {
  server_.serve("/file", "x");
  Received first;
  get("/file", first);
  std::atomic<int> requests{0};
  server_.handle("/file", [&](const ServerRequest&, Socket& socket) {
    ++requests;
    socket.send("H");
    return false;
  });
  Received second;
  get("/file", second);
  EXPECT_EQ(second.reason, CONNECTION_ERROR_RECEIVE);
  EXPECT_EQ(requests, 1);
}

TEST_F(ExchangeTest, AConnectionThatItsServerWantsClosedIsClosed) {
  server_.handle("/file", [](const ServerRequest&, Socket& socket) {
    return socket.send("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 1\r\n\r\nx");
  });
  for (int i = 0; i < 3; ++i) {
    Received received;
    get("/file", received);
    EXPECT_EQ(received.body, "x");
  }
  // Three that were used, and those that the second request has opened.
  EXPECT_LE(connectionsOnceThereAre(5), 7);
}

TEST_F(ExchangeTest, ABrokenRuleIsReportedByItsNumber) {
  answer("/file", "HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip, chunked\r\n\r\n");
  Received received;
  get("/file", received);
  EXPECT_EQ(received.errorCalls, 1);
  EXPECT_EQ(received.reason, CONNECTION_ERROR_PROTOCOL);
  EXPECT_EQ(received.flags, CONNECTION_ERROR_RULE_NUMBER);
  EXPECT_EQ(received.underlying, HTTP_RULE_CODING);
}

TEST_F(ExchangeTest, ALimitIsReportedAsSuch) {
  server_.handle("/file", [](const ServerRequest&, Socket& socket) {
    socket.send("HTTP/1.1 200 OK\r\n");
    while (socket.send("X: y\r\n")) {
    }
    return false;
  });
  Received received;
  get("/file", received);
  EXPECT_EQ(received.reason, CONNECTION_ERROR_LIMIT);
  EXPECT_EQ(received.flags, CONNECTION_ERROR_RULE_NUMBER);
  EXPECT_EQ(received.underlying, HTTP_RULE_FIELD_COUNT);
}

TEST_F(ExchangeTest, HeadHasAStatusAndNoBody) {
  answer("/file", "HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n");
  Client::RequestOptions options;
  options.path = "/file";
  options.method = Client::kHead;
  for (int i = 0; i < 3; ++i) {
    Received received;
    wait(start(options, received));
    EXPECT_EQ(received.status, 200U);
    EXPECT_EQ(received.body, "");
    EXPECT_EQ(received.errorCalls, 0);
  }
  EXPECT_EQ(server_.requestLines().at(0), "HEAD /file");
  EXPECT_LE(server_.connectionCount(), 5);
}

TEST_F(ExchangeTest, ARangeIsAskedFor) {
  Client::RequestOptions options;
  options.path = "/file";
  options.firstByte = 5;
  Received open;
  wait(start(options, open));
  options.lastByte = 9;
  Received closed;
  wait(start(options, closed));
  EXPECT_EQ(server_.requests().at(0).header("Range"), "bytes=5-");
  EXPECT_EQ(server_.requests().at(1).header("Range"), "bytes=5-9");
}

TEST_F(ExchangeTest, FieldsOfARequestAreOfThatOneAlone) {
  Headers fields;
  fields.internalSet("If-Range", -1, "\"tag\"", -1, 1, nullptr);
  Client::RequestOptions options;
  options.path = "/file";
  options.fields = &fields;
  Received first;
  wait(start(options, first));
  Received second;
  get("/file", second);
  EXPECT_EQ(server_.requests().at(0).header("If-Range"), "\"tag\"");
  EXPECT_EQ(server_.requests().at(0).header("User-Agent"), "mtldownloader");
  EXPECT_EQ(server_.requests().at(1).header("If-Range"), "");
}

TEST_F(ExchangeTest, FieldsOfAnAnswerAreGivenBeforeItsStatus) {
  answer("/file", "HTTP/1.1 503 Busy\r\nRetry-After: 7\r\nContent-Length: 0\r\n\r\n");
  Krell::Err err;
  ASSERT_NE(pool_.setFieldCallback(
                err,
                [](Context* context, Token* token, const char* name, const char* value) {
                  Received& received = of(token);
                  EXPECT_NE(context->userPointer, nullptr);
                  EXPECT_EQ(received.statusCalls, 0);
                  received.body.append(name).append("=").append(value).append("\n");
                }),
            0);
  Received received;
  get("/file", received);
  EXPECT_EQ(received.body, "retry-after=7\ncontent-length=0\n");
  EXPECT_EQ(received.status, 503U);
}

TEST_F(ExchangeTest, ABodyIsHeldToItsLimitByTheByte) {
  answer("/announced", ScriptedServer::response(200, "12345678"));
  server_.handle("/unannounced", [](const ServerRequest&, Socket& socket) {
    socket.send("HTTP/1.1 200 OK\r\n\r\n12345678");
    return false;
  });
  Client::RequestOptions options;
  options.mostBodyBytes = 8;
  for (const char* path : {"/announced", "/unannounced"}) {
    options.path = path;
    Received received;
    wait(start(options, received));
    EXPECT_EQ(received.body, "12345678");
    EXPECT_EQ(received.errorCalls, 0);
  }
  options.mostBodyBytes = 7;
  for (const char* path : {"/announced", "/unannounced"}) {
    options.path = path;
    Received received;
    wait(start(options, received));
    EXPECT_EQ(received.reason, CONNECTION_ERROR_LIMIT);
    EXPECT_EQ(received.underlying, HTTP_RULE_BODY_SIZE);
    EXPECT_EQ(received.body, options.path[1] == 'a' ? "" : "1234567");
  }
}

TEST_F(ExchangeTest, RefusesOptionsThatMakeNoRequest) {
  Client::RequestOptions options;
  options.path = "/file";
  const auto refused = [&] {
    Krell::Err err;
    return pool_.client(0).request(err, options) == 0 &&
           std::string(err.chain.head->message) == "Unsupported kind of request";
  };
  options.lastByte = 4;
  EXPECT_TRUE(refused()) << "a range without begin";
  options.firstByte = 5;
  EXPECT_TRUE(refused()) << "a range that ends before it begins";
  options.lastByte = -1;
  options.method = static_cast<Client::Method>(3);
  EXPECT_TRUE(refused()) << "another method";
  EXPECT_TRUE(server_.requests().empty());
}

TEST_F(ExchangeTest, ARateIsKept) {
  const std::string body(300000, 'x');
  server_.serve("/file", body);
  Krell::Err err;
  ASSERT_NE(pool_.setRateLimit(err, 500000), 0);
  const auto begin = Clock::now();
  Received received[2];
  for (Received& one : received)
    start("/file", one);
  for (int i = 0; i < 2; ++i) {
    wait(i);
    EXPECT_EQ(received[i].body, body);
  }
  // A tenth of a second's worth may come at once.
  EXPECT_GE(Clock::now() - begin, milliseconds(1000));
  EXPECT_EQ(pool_.setRateLimit(err, -1), 0);
}

/// Fetches one file after the other from the completion callback, with no other thread.
class CompletionTest : public ExchangeTest {
 protected:
  CompletionTest() {
    Krell::Err err;
    const Client::Callbacks callbacks{
        Client::kSerialized, nullptr, nullptr, nullptr, onError, nullptr, nullptr};
    pool_.setCallbacks(err, callbacks, this);
    pool_.setCompletionCallback(err, onComplete);
  }

  static bool next(Client& client) {
    Krell::Err err;
    return client.request(err, "/file", Client::kGet, nullptr, nullptr, nullptr) != 0;
  }

  std::atomic<int> completed_{0};
  std::atomic<int> failed_{0};
  int left_ = 0;

 private:
  static void onError(Context* context, const ConnectionError*, Token*) {
    ++static_cast<CompletionTest*>(context->userPointer)->failed_;
  }
  static void onComplete(Context* context, Token*) {
    auto& test = *static_cast<CompletionTest*>(context->userPointer);
    ++test.completed_;
    if (test.left_ > 0 && next(*context->client)) --test.left_;
  }
};

TEST_F(CompletionTest, IssuesTheNextRequestThereAndThen) {
  server_.serve("/file", "x");
  left_ = 95;
  for (int i = 0; i < 5; ++i)
    EXPECT_TRUE(next(*pool_.waitAvailable(nullptr)));
  for (int i = 0; i < 5; ++i)
    wait(i);
  EXPECT_EQ(completed_, 100);
  EXPECT_EQ(failed_, 0);
  EXPECT_EQ(server_.requests().size(), 100U);
  EXPECT_LE(server_.connectionCount(), 5);
}

TEST_F(CompletionTest, FollowsAFailure) {
  server_.handle("/file", [](const ServerRequest&, Socket&) { return false; });
  EXPECT_TRUE(next(*pool_.waitAvailable(nullptr)));
  wait(0);
  EXPECT_EQ(completed_, 1);
  EXPECT_EQ(failed_, 1);
}

TEST_F(CompletionTest, StartsNothingInAPoolThatEnds) {
  server_.hold("/file");
  left_ = 1000;
  for (int i = 0; i < 5; ++i)
    EXPECT_TRUE(next(*pool_.waitAvailable(nullptr)));
  pool_.destroy();
  EXPECT_EQ(completed_, 5);
  EXPECT_EQ(left_, 1000);
}

}  // namespace
