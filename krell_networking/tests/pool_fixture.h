// A pool with callbacks that keep what they were told.
#ifndef KRELL_NETWORKING_TESTS_POOL_FIXTURE_H_
#define KRELL_NETWORKING_TESTS_POOL_FIXTURE_H_

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "net/http_client.h"
#include "qutils/mem_stream.h"

/// What the callbacks were told of one request.
struct Received {
  std::uint32_t status = 0;
  int statusCalls = 0;
  std::string body;
  std::int64_t lastReceivedBytes = 0;
  std::atomic<int> dataCalls{0};
  std::atomic<int> abortAfter{-1};  ///< Abort once there were so many data calls.
  int errorCalls = 0;
  std::uint32_t reason = 0;
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

  void wait(int index) { pool_.client(index).waitForRequestCompletion(nullptr); }

  void get(const char* path, Received& received) { wait(start(path, received)); }

  Pool pool_;
  std::atomic<int> inCallback_{0};
  std::atomic<bool> overlapped_{false};

 private:
  using Token = Krell::Networking::ReqTokenGeneralType;
  using Context = Krell::Networking::CallbackContext;

  static Token* token(Received& received) { return reinterpret_cast<Token*>(&received); }
  static Received& of(Token* token) { return *reinterpret_cast<Received*>(token); }

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
    received.body += bytes;
    if (received.abortAfter >= 0 && calls > received.abortAfter) progress->abort = 1;
    --fixture.inCallback_;
  }
  static void onError(Context*, const Krell::Networking::ConnectionError* error, Token* token) {
    Received& received = of(token);
    ++received.errorCalls;
    received.reason = error->code & 0xFFF;
    received.systemNumber = (error->code & Krell::Networking::CONNECTION_ERROR_SYSTEM_NUMBER) != 0;
    received.underlying = error->underlying;
  }

  Krell::Networking::NetworkingContextInitializerRAII context_;
};

#endif  // KRELL_NETWORKING_TESTS_POOL_FIXTURE_H_
