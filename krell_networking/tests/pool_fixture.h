// A PoolFixture has a pool of clients with callbacks that record what they receive.
#ifndef KRELL_NETWORKING_TESTS_POOL_FIXTURE_H_
#define KRELL_NETWORKING_TESTS_POOL_FIXTURE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "net/http_client.h"
#include "qutils/mem_stream.h"
#include "support/promptly.h"

/// What the callbacks were told of one request.
struct Received {
  std::uint32_t status = 0;
  int statusCalls = 0;
  std::string body;
  std::size_t largestPiece = 0;          ///< Of the body.
  std::function<void()> onFirstBytes{};  ///< Called within the callback that has them.
  std::int64_t lastReceivedBytes = 0;
  std::atomic<int> dataCalls{0};
  std::vector<std::chrono::steady_clock::time_point> calledAt;  ///< When data calls came.
  std::atomic<int> abortAfter{-1};  ///< Abort once there were so many data calls.
  int errorCalls = 0;
  std::uint32_t reason = 0;
  std::uint32_t flags = 0;
  Krell::Networking::FailureDetail detail{};
  bool systemNumber = false;
  int underlying = 0;
};

class PoolFixture : public testing::Test {
 protected:
  using Pool = Krell::Networking::HttpClientPool;
  using Client = Krell::Networking::HttpClient;

  PoolFixture() {
    QUtils::CharString error;
    EXPECT_NE(context_.initializeDefault("test", error), 0) << error.text();
    EXPECT_NE(pool_.initialize(5), 0);
  }
  ~PoolFixture() override {
    pool_.destroy();
    context_.deinitialize(1);
  }

  /// With another pool.
  void beginAnew(const char* host, int port) {
    pool_.destroy();
    ASSERT_NE(pool_.initialize(5), 0);
    configure(host, port);
  }

  void configure(const char* host, int port) {
    Krell::Err err;
    pool_.setMode(err, Pool::kBackground);
    pool_.setServer(err, host, port, nullptr);
    pool_.setProxyServer(err, nullptr, 80);
    setCallbacks(err);
    Krell::Networking::Headers headers;
    headers.internalSet("User-Agent", -2, "mtldownloader", -1, 1, nullptr);
    pool_.setHeaders(err, headers, 0);
    ASSERT_FALSE(err.chain) << err.chain.head->message;
  }

  void setCallbacks(Krell::Err& err) {
    const Client::Callbacks callbacks{
        Client::kSerialized, onSent, onStatus, onData, onError, nullptr, nullptr};
    pool_.setCallbacks(err, callbacks, this);
  }

  /// Starts a request on the next available client; its index.
  int start(const char* path, Received& received) {
    int index = -1;
    Client* client = pool_.waitAvailable(&index);
    EXPECT_NE(client, nullptr);
    Krell::Err err;
    EXPECT_NE(client->request(err, path, Client::kGet, token(received), nullptr, nullptr), 0)
        << err.chain.head->message;
    return index;
  }

  /// The same, of a request that asks for more than a path.
  int start(Client::RequestOptions options, Received& received) {
    int index = -1;
    Client* client = pool_.waitAvailable(&index);
    EXPECT_NE(client, nullptr);
    options.token = token(received);
    Krell::Err err;
    EXPECT_NE(client->request(err, options), 0) << err.chain.head->message;
    return index;
  }

  void wait(int index) { EXPECT_NE(pool_.client(index).waitForRequestCompletion(nullptr), 0); }

  void get(const char* path, Received& received) { wait(start(path, received)); }

  /// For a server that leaves the request waiting: the host is asked ten times a second
  /// whether to abort, and what it then asks for happens at once.
  void expectToBeAskedTenTimesASecond() {
    using Duration = std::chrono::steady_clock::duration;
    expectPromptly([&] {
      Received received;
      received.abortAfter = 10;
      get("/file", received);
      const auto ended = std::chrono::steady_clock::now();
      EXPECT_EQ(received.errorCalls, 0);
      const auto& calledAt = received.calledAt;
      EXPECT_EQ(calledAt.size(), 11U);
      if (calledAt.size() < 2) return Duration::max();
      std::vector<Duration> gaps;
      for (std::size_t i = 1; i < calledAt.size(); ++i)
        gaps.push_back(calledAt[i] - calledAt[i - 1]);
      std::sort(gaps.begin(), gaps.end());
      return std::max(10 * gaps[gaps.size() / 2], ended - calledAt.back());
    });
  }

  using Token = Krell::Networking::ReqTokenGeneralType;
  using Context = Krell::Networking::CallbackContext;

  Pool pool_;
  std::atomic<int> inCallback_{0};
  std::atomic<bool> overlapped_{false};

  static Token* token(Received& received) { return reinterpret_cast<Token*>(&received); }
  static Received& of(Token* token) { return *reinterpret_cast<Received*>(token); }

 private:
  static void onSent(Context*, Token*) {}
  static void onStatus(Context*, Token* token, const std::uint32_t* status) {
    of(token).status = *status;
    ++of(token).statusCalls;
  }
  static void onData(Context* context, Token* token, Krell::Networking::TransferProgress* progress,
                     Krell::Networking::Response* response) {
    auto& fixture = *static_cast<PoolFixture*>(context->userPointer);
    if (++fixture.inCallback_ != 1) fixture.overlapped_ = true;
    Received& received = of(token);
    received.calledAt.push_back(std::chrono::steady_clock::now());
    const int calls = ++received.dataCalls;
    received.lastReceivedBytes = progress->receivedBytes;
    QUtils::PMemStream stream(4096);
    Krell::Buffer buffer;
    Krell::Err err;
    response->getResponseData(buffer);
    EXPECT_NE(buffer.saveTo(err, &stream), 0);
    std::string bytes(static_cast<std::size_t>(stream.GetSize()), '\0');
    stream.Seek(0);
    stream.ReadBuffer(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    const bool areFirst = received.body.empty() && !bytes.empty();
    received.body += bytes;
    received.largestPiece = std::max(received.largestPiece, bytes.size());
    if (areFirst && received.onFirstBytes) received.onFirstBytes();
    if (received.abortAfter >= 0 && calls > received.abortAfter) progress->abort = 1;
    --fixture.inCallback_;
  }
  static void onError(Context* context, const Krell::Networking::ConnectionError* error,
                      Token* token) {
    Received& received = of(token);
    received.detail = context->client->failureDetail();
    ++received.errorCalls;
    received.reason = error->code & 0xFFF;
    received.flags = error->code & ~0xFFFU;
    received.systemNumber = (error->code & Krell::Networking::CONNECTION_ERROR_SYSTEM_NUMBER) != 0;
    received.underlying = error->underlying;
  }

  Krell::Networking::NetworkingContextInitializerRAII context_;
};

#endif  // KRELL_NETWORKING_TESTS_POOL_FIXTURE_H_
