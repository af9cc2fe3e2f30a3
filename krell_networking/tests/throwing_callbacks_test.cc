// Tests that a callback that throws, as one does on which memory runs out, fails its own request
// and nothing else.
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "pool_fixture.h"
#include "support/scripted_server.h"

namespace {

using namespace Krell::Networking;  // NOLINT: the constants under test

class ThrowingCallbacks : public PoolFixture {
 protected:
  enum class Thrower { kNone, kField, kStatus, kData, kDataAsked, kRoom, kError, kComplete };

  ThrowingCallbacks() {
    configure("127.0.0.1", server_.port());
    Krell::Err err;
    pool_.setCallbacks(
        err, {Client::kSerialized, nullptr, onStatus, onData, onError, nullptr, nullptr}, this);
    pool_.setFieldCallback(err, onField);
    pool_.setRoomCallback(err, onRoom);
    pool_.setCompletionCallback(err, onComplete);
    server_.serve("/file", "content");
    // Large enough that some of it is received after its header.
    server_.serve("/large", std::string(4UL * 1024 * 1024, 'x'));
  }

  /// What the requester hears of a request while one callback throws.
  void fetch(const char* path, Thrower thrower) {
    thrower_ = thrower;
    status_ = 0;
    bytes_ = 0;
    failures_ = 0;
    reason_ = 0;
    completed_ = 0;
    Received unused;
    get(path, unused);
    thrower_ = Thrower::kNone;
  }

  void expectFailureOfMemory() const {
    EXPECT_EQ(failures_, 1);
    EXPECT_EQ(reason_, CONNECTION_ERROR_MEMORY);
    EXPECT_EQ(completed_, 1);
  }

  /// The pool can be used as if nothing had been.
  void expectToGoOn() {
    fetch("/file", Thrower::kNone);
    EXPECT_EQ(status_, 200);
    EXPECT_EQ(bytes_, 7U);
    EXPECT_EQ(failures_, 0);
    EXPECT_EQ(completed_, 1);
  }

  ScriptedServer server_;
  Thrower thrower_ = Thrower::kNone;
  int status_ = 0;
  std::size_t bytes_ = 0;
  int failures_ = 0;
  std::uint32_t reason_ = 0;
  int completed_ = 0;

 private:
  static ThrowingCallbacks& of(Context* context) {
    return static_cast<ThrowingCallbacks&>(*static_cast<PoolFixture*>(context->userPointer));
  }
  static void throwFor(Context* context, Thrower thrower) {
    if (of(context).thrower_ == thrower) throw std::bad_alloc();
  }
  static void onField(Context* context, Token*, const char*, const char*) {
    throwFor(context, Thrower::kField);
  }
  static void onStatus(Context* context, Token*, const std::uint32_t* status) {
    throwFor(context, Thrower::kStatus);
    of(context).status_ = static_cast<int>(*status);
  }
  static void onData(Context* context, Token*, TransferProgress*, Response* response) {
    const std::size_t size = response->takeBytes().size;
    throwFor(context, size > 0 ? Thrower::kData : Thrower::kDataAsked);
    of(context).bytes_ += size;
  }
  static Client::Room onRoom(Context* context, Token*) {
    throwFor(context, Thrower::kRoom);
    return {nullptr, 0};
  }
  static void onError(Context* context, const ConnectionError* error, Token*) {
    ++of(context).failures_;
    of(context).reason_ = error->code & 0xFFF;
    throwFor(context, Thrower::kError);
  }
  static void onComplete(Context* context, Token*) {
    ++of(context).completed_;
    throwFor(context, Thrower::kComplete);
  }
};

TEST_F(ThrowingCallbacks, FailTheirRequestAlone) {
  for (const Thrower thrower :
       {Thrower::kDataAsked, Thrower::kField, Thrower::kStatus, Thrower::kData}) {
    fetch("/file", thrower);
    expectFailureOfMemory();
    EXPECT_EQ(bytes_, 0U);
    expectToGoOn();
  }
}

TEST_F(ThrowingCallbacks, EndABodyThatTheyHaveNoRoomFor) {
  fetch("/large", Thrower::kRoom);
  expectFailureOfMemory();
  expectToGoOn();
}

// There is no body on whose arrival the request could be ended.
TEST_F(ThrowingCallbacks, FailARequestWithoutABodyToo) {
  server_.serve("/empty", "");
  for (const Thrower thrower : {Thrower::kField, Thrower::kStatus}) {
    fetch("/empty", thrower);
    expectFailureOfMemory();
    expectToGoOn();
  }
}

TEST_F(ThrowingCallbacks, HearOfAFailureOnce) {
  server_.handle("/cut", [](const ServerRequest&, Socket& socket) {
    socket.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
    return false;
  });
  fetch("/cut", Thrower::kError);
  EXPECT_EQ(failures_, 1);
  EXPECT_EQ(reason_, CONNECTION_ERROR_TRUNCATED);
  EXPECT_EQ(completed_, 1);
  expectToGoOn();
}

TEST_F(ThrowingCallbacks, LeaveACompletedRequestAsItIs) {
  fetch("/file", Thrower::kComplete);
  EXPECT_EQ(bytes_, 7U);
  EXPECT_EQ(failures_, 0);
  EXPECT_EQ(completed_, 1);
  expectToGoOn();
}

}  // namespace
