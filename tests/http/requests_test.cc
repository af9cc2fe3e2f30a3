// Tests the request cycle, the callbacks of the networking library, progress and abort.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fakes/downloader_fixture.h"
#include "fakes/silent_callback.h"
#include "http/http_getter.h"
#include "plugin/error_chain.h"

using Krell::Networking::CallbackContext;
using Krell::Networking::ConnectionError;
using Krell::Networking::ReqTokenGeneralType;
using Krell::Networking::Response;
using Krell::Networking::TransferProgress;
using QUtils::PMemStream;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kMaps = "Downloading files";

/// A stream that takes no bytes.
class FullStream final : public PMemStream {
 public:
  FullStream() : PMemStream(16) {}
  ErrorChain Write(const void*, std::uint32_t, std::uint32_t& written) override {
    written = 0;
    return makeError("FullStream::Write", 112, "disk full");
  }
};

/// A stream that takes fewer bytes than it is given, and says nothing of it.
class ShortStream final : public PMemStream {
 public:
  ShortStream() : PMemStream(16) {}
  ErrorChain Write(const void* bytes, std::uint32_t count, std::uint32_t& written) override {
    return PMemStream::Write(bytes, count - 1, written);
  }
};

class Requests : public DownloaderFixture {
 protected:
  void SetUp() override { startGetter(); }

  HttpGetter& getter() { return *downloader.httpGetter; }
  RequestSlot& slot(int index) { return getter().requestSlots[index]; }
  ReqTokenGeneralType* token(int index) {
    return reinterpret_cast<ReqTokenGeneralType*>(&slot(index));
  }
  CallbackContext context() { return {nullptr, &getter()}; }

  /// Takes the next client; the test continues with it.
  int takeClient() {
    int index = -1;
    std::uint32_t hadCompletion = 0;
    HttpDldDone done;
    const ErrorChain error = getter().waitAvailable(index, hadCompletion, done);
    EXPECT_FALSE(error) << chainText(error);
    return index;
  }

  /// Requests `path` on the next client and expects that it is `index`.
  void issue(int index, const char* path, QUtils::PStream* stream, std::uint32_t tag = 0) {
    EXPECT_EQ(takeClient(), index);
    const ErrorChain error = getter().issueRequest(index, path, stream, tag, 0);
    EXPECT_FALSE(error) << chainText(error);
  }

  void expectIdle(int index) {
    EXPECT_EQ(slot(index).busy, 0U);
    EXPECT_EQ(slot(index).tag, 0U);
    EXPECT_FALSE(slot(index).error);
    EXPECT_EQ(slot(index).status, 0U);
    EXPECT_EQ(slot(index).expectedSize, 0);
    EXPECT_EQ(slot(index).bytesWritten, 0);
    EXPECT_EQ(slot(index).stream, nullptr);
  }

  /// Lets `count` bytes arrive for the request on client 0, without any content: only
  /// the figures matter.
  void receive(std::int64_t count) {
    TransferProgress progress{0, slot(0).bytesWritten + count};
    slot(0).stream = &body;
    network.deliverData(token(0), progress, "");
    EXPECT_EQ(progress.abort, 0U);
  }

  /// Starts a batch, and forgets that its caption was shown.
  void beginBatch(std::int64_t total) {
    getter().beginBatch(total, kMaps);
    callback.clear();
  }

  PMemStream body{16};
};

using WaitAvailable = Requests;
using IssueRequest = Requests;
using WaitForRequestCompletion = Requests;
using Progress = Requests;
using DataCallback = Requests;
using StatusCallback = Requests;
using ErrorCallback = Requests;

// Taking a client.

TEST_F(WaitAvailable, HandsOutAFreshClientWithoutACompletion) {
  int index = -1;
  std::uint32_t hadCompletion = 1;
  HttpDldDone done;
  done.tag = 7;
  done.status = 200;
  done.error = makeError("Test", 1, "left over");
  const ErrorChain error = getter().waitAvailable(index, hadCompletion, done);
  EXPECT_FALSE(error);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(hadCompletion, 0U);
  EXPECT_EQ(done.tag, 0U);
  EXPECT_EQ(done.status, 0U);
  EXPECT_FALSE(done.error);
  EXPECT_THAT(network.log(), ElementsAre("waitAvailable() -> 0"));
}

TEST_F(WaitAvailable, CollectsTheRequestThatLastRanOnTheClient) {
  const char* const paths[] = {"/lib/0", "/lib/1", "/lib/2", "/lib/3", "/lib/4"};
  for (int client = 0; client < kHttpClientCount; ++client) {
    network.respond(paths[client], "body");
    EXPECT_EQ(takeClient(), client);
    EXPECT_FALSE(getter().issueRequest(client, paths[client], &body,
                                       40U + static_cast<std::uint32_t>(client), 4));
  }
  network.finishInOrder({"/lib/3"});
  int index = -1;
  std::uint32_t hadCompletion = 0;
  HttpDldDone done;
  EXPECT_FALSE(getter().waitAvailable(index, hadCompletion, done));
  EXPECT_EQ(index, 3);
  EXPECT_EQ(hadCompletion, 1U);
  EXPECT_EQ(done.tag, 43U);
  EXPECT_EQ(done.status, 200U);
  EXPECT_FALSE(done.error);
  expectIdle(3);
  for (const int running : {0, 1, 2, 4})
    EXPECT_EQ(slot(running).busy, 1U);
}

TEST_F(WaitAvailable, SharesTheErrorOfTheCollectedRequest) {
  FakeResponse broken;
  broken.status = 0;
  broken.error = ConnectionError{0x1006, 104};
  network.respond("/lib/a", broken);
  for (int client = 0; client < kHttpClientCount; ++client)
    issue(client, "/lib/a", &body);
  int index = -1;
  std::uint32_t hadCompletion = 0;
  HttpDldDone done;
  EXPECT_FALSE(getter().waitAvailable(index, hadCompletion, done));
  EXPECT_EQ(hadCompletion, 1U);
  EXPECT_EQ(done.status, 0U);
  EXPECT_EQ(chainText(done.error),
            "[HttpGetter::responseErrorCb] -1: Connection error: reason=6 extraF=1000 "
            "underlying=104");
  EXPECT_EQ(done.error.head->refCount, 1U);
  expectIdle(0);
}

TEST_F(WaitAvailable, FailsWhenThePoolIsShuttingDown) {
  network.respond("/lib/a", "body");
  issue(0, "/lib/a", &body, 3);
  network.shutDownAtWait(1);
  int index = 4;
  std::uint32_t hadCompletion = 1;
  HttpDldDone done;
  done.status = 200;
  const ErrorChain error = getter().waitAvailable(index, hadCompletion, done);
  EXPECT_EQ(chainText(error),
            "[HttpGetter::waitAvailable] -1: Could not obtain client, subsystem is shutting down");
  EXPECT_EQ(index, -1);
  EXPECT_EQ(hadCompletion, 0U);
  EXPECT_EQ(done.status, 0U);
  EXPECT_EQ(slot(0).busy, 1U);
  EXPECT_EQ(slot(0).tag, 3U);
}

// Issuing.

TEST_F(IssueRequest, SendsAGetWithTheSlotAsToken) {
  network.respond("/lib/a", "body");
  RequestSlot& used = slot(takeClient());
  used.status = 500;
  used.error = makeError("Test", 1, "left over");
  used.expectedSize = 77;
  used.tag = 5;
  used.bytesWritten = 99;
  EXPECT_FALSE(getter().issueRequest(0, "/lib/a", &body, 17, 12345));
  EXPECT_THAT(network.log(), ElementsAre("waitAvailable() -> 0",
                                         "request(0, \"/lib/a\", 1, not null, null, null)"));
  EXPECT_EQ(used.busy, 1U);
  EXPECT_EQ(used.tag, 17U);
  EXPECT_FALSE(used.error);
  EXPECT_EQ(used.status, 0U);
  EXPECT_EQ(used.expectedSize, 12345);
  EXPECT_EQ(used.bytesWritten, 0);
  EXPECT_EQ(used.stream, &body);
}

TEST_F(IssueRequest, DoesNotWait) {
  network.respond("/lib/a", "body");
  issue(0, "/lib/a", &body);
  EXPECT_EQ(body.GetSize(), 0);
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(IssueRequest, ReturnsTheNetworksErrorWhenRefused) {
  network.refuseRequest("/lib/a", "Invalid request path");
  const int client = takeClient();
  slot(client).busy = 1;
  const ErrorChain error = getter().issueRequest(client, "/lib/a", &body, 17, 12345);
  EXPECT_EQ(chainText(error), "[HttpClient::request] -1: Invalid request path");
  EXPECT_EQ(error.head->refCount, 1U);
  EXPECT_EQ(slot(client).busy, 0U);
  EXPECT_FALSE(slot(client).error);
  EXPECT_EQ(slot(client).status, 0U);
  EXPECT_EQ(slot(client).tag, 17U);
  EXPECT_EQ(slot(client).expectedSize, 12345);
  EXPECT_EQ(slot(client).stream, &body);
  HttpDldDone done;
  EXPECT_EQ(getter().waitForRequestCompletion(done), -1);
}

TEST_F(IssueRequest, BelievesTheResultRatherThanTheError) {
  network.respond("/lib/a", "body");
  network.complainAboutRequests("Slow today");
  const int client = takeClient();
  EXPECT_FALSE(getter().issueRequest(client, "/lib/a", &body, 17, 12345));
  EXPECT_EQ(slot(client).busy, 1U);
  EXPECT_FALSE(slot(client).error);
}

TEST_F(IssueRequest, LeavesNothingOfARefusedRequestToTheNextCollection) {
  network.refuseRequest("/lib/a", "Invalid request path");
  EXPECT_TRUE(getter().issueRequest(takeClient(), "/lib/a", &body, 17, 12345));
  int index = -1;
  std::uint32_t hadCompletion = 1;
  HttpDldDone done;
  EXPECT_FALSE(getter().waitAvailable(index, hadCompletion, done));
  EXPECT_EQ(index, 0);
  EXPECT_EQ(hadCompletion, 0U);
  EXPECT_EQ(done.tag, 0U);
  expectIdle(0);
}

// Waiting for what is in flight.

TEST_F(WaitForRequestCompletion, ReturnsAnEmptyRecordWithNothingInFlight) {
  HttpDldDone done;
  done.tag = 7;
  done.status = 200;
  done.error = makeError("Test", 1, "left over");
  EXPECT_EQ(getter().waitForRequestCompletion(done), -1);
  EXPECT_EQ(done.tag, 0U);
  EXPECT_EQ(done.status, 0U);
  EXPECT_FALSE(done.error);
  EXPECT_THAT(network.log(), IsEmpty());
}

TEST_F(WaitForRequestCompletion, CollectsTheLowestClientFirst) {
  network.respond("/lib/a", "one");
  network.respond("/lib/b", "two");
  network.finishInOrder({"/lib/b", "/lib/a"});
  PMemStream second(16);
  issue(0, "/lib/a", &body, 10);
  issue(1, "/lib/b", &second, 11);
  network.clearLog();

  HttpDldDone done;
  EXPECT_EQ(getter().waitForRequestCompletion(done), 0);
  EXPECT_EQ(done.tag, 10U);
  EXPECT_EQ(done.status, 200U);
  expectIdle(0);
  EXPECT_EQ(slot(1).busy, 1U);
  EXPECT_EQ(getter().waitForRequestCompletion(done), 1);
  EXPECT_EQ(done.tag, 11U);
  EXPECT_EQ(getter().waitForRequestCompletion(done), -1);

  EXPECT_EQ(contentOf(body), "one");
  EXPECT_EQ(contentOf(second), "two");
  EXPECT_THAT(network.log(), ElementsAre("waitForRequestCompletion(0, null)",
                                         "waitForRequestCompletion(1, null)"));
}

TEST_F(WaitForRequestCompletion, SkipsClientsThatAreIdle) {
  network.respond("/lib/a", "one");
  network.refuseRequest("/lib/b", "no");
  EXPECT_TRUE(getter().issueRequest(takeClient(), "/lib/b", &body, 1, 0));
  EXPECT_FALSE(getter().issueRequest(4, "/lib/a", &body, 2, 0));
  HttpDldDone done;
  EXPECT_EQ(getter().waitForRequestCompletion(done), 4);
  EXPECT_EQ(done.tag, 2U);
}

TEST_F(WaitForRequestCompletion, HandsOverWhatTheCallbacksLeft) {
  FakeResponse broken;
  broken.status = 206;
  broken.pieces = {"one"};
  broken.error = ConnectionError{0x1006, 104};
  network.respond("/lib/a", broken);
  EXPECT_FALSE(getter().issueRequest(takeClient(), "/lib/a", &body, 0xFFFFFFFF, 3));
  HttpDldDone done;
  EXPECT_EQ(getter().waitForRequestCompletion(done), 0);
  EXPECT_EQ(done.tag, 0xFFFFFFFFU);
  EXPECT_EQ(done.status, 206U);
  EXPECT_EQ(chainText(done.error),
            "[HttpGetter::responseErrorCb] -1: Connection error: reason=6 extraF=1000 "
            "underlying=104");
  EXPECT_EQ(done.error.head->refCount, 1U);
  expectIdle(0);
}

TEST_F(WaitForRequestCompletion, ReplacesTheErrorOfTheRecordBefore) {
  network.respond("/lib/a", "one");
  issue(0, "/lib/a", &body);
  HttpDldDone done;
  done.error = makeError("Test", 1, "left over");
  EXPECT_EQ(getter().waitForRequestCompletion(done), 0);
  EXPECT_FALSE(done.error);
}

// Judging the status.

TEST(ExpectStatus, Accepts200) {
  HttpDldDone done;
  done.status = 200;
  done.expectStatus();
  EXPECT_FALSE(done.error);
}

TEST(ExpectStatus, RefusesEveryOtherStatus) {
  const std::pair<std::uint32_t, const char*> statuses[] = {
      {0, "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (0)"},
      {201, "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (201)"},
      {204, "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (204)"},
      {206, "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (206)"},
      {301, "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (301)"},
      {304, "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (304)"},
      {404, "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)"},
      {503, "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (503)"},
      {4294967295, "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (-1)"}};
  for (const auto& [status, text] : statuses) {
    HttpDldDone done;
    done.status = status;
    done.expectStatus();
    EXPECT_EQ(chainText(done.error), text);
    EXPECT_EQ(done.status, status);
  }
}

TEST(ExpectStatus, KeepsAnErrorThatIsThere) {
  HttpDldDone done;
  done.status = 404;
  done.error = makeError("Test", 5, "broken");
  done.expectStatus();
  EXPECT_EQ(chainText(done.error), "[Test] 5: broken");
}

TEST(CompletionRecord, ReleasesItsErrorWhenCleared) {
  HttpDldDone done;
  done.tag = 3;
  done.status = 404;
  done.error = makeError("Test", 5, "broken");
  const ErrorChain shared = done.error;
  EXPECT_EQ(shared.head->refCount, 2U);
  done.clear();
  EXPECT_EQ(done.tag, 0U);
  EXPECT_EQ(done.status, 0U);
  EXPECT_FALSE(done.error);
  EXPECT_EQ(shared.head->refCount, 1U);
}

// What the library reports: sent, status, errors.

TEST_F(StatusCallback, StoresTheStatusInTheSlot) {
  CallbackContext where = context();
  const std::uint32_t status = 304;
  HttpGetter::responseStatusCb(&where, token(2), &status);
  EXPECT_EQ(slot(2).status, 304U);
  EXPECT_EQ(slot(0).status, 0U);
}

TEST_F(StatusCallback, KeepsTheLastStatus) {
  CallbackContext where = context();
  const std::uint32_t first = 407;
  const std::uint32_t last = 200;
  HttpGetter::responseStatusCb(&where, token(0), &first);
  HttpGetter::responseStatusCb(&where, token(0), &last);
  EXPECT_EQ(slot(0).status, 200U);
}

TEST_F(StatusCallback, IgnoresACallWithSomethingMissing) {
  CallbackContext where = context();
  CallbackContext nowhere{nullptr, nullptr};
  const std::uint32_t status = 304;
  HttpGetter::responseStatusCb(nullptr, token(0), &status);
  HttpGetter::responseStatusCb(&nowhere, token(0), &status);
  HttpGetter::responseStatusCb(&where, nullptr, &status);
  HttpGetter::responseStatusCb(&where, token(0), nullptr);
  EXPECT_EQ(slot(0).status, 0U);
}

TEST_F(Requests, IgnoreThatTheyWereSent) {
  CallbackContext where = context();
  HttpGetter::responseSentCb(&where, token(0));
  HttpGetter::responseSentCb(nullptr, nullptr);
  EXPECT_EQ(slot(0).busy, 0U);
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(ErrorCallback, SplitsTheCodeIntoReasonAndFlags) {
  const std::pair<ConnectionError, const char*> errors[] = {
      {{1, 6}, "Connection error: reason=1 extraF=0 underlying=6"},
      {{0x1002, 111}, "Connection error: reason=2 extraF=1000 underlying=111"},
      {{3, 35}, "Connection error: reason=3 extraF=0 underlying=35"},
      {{0x1004, 10061}, "Connection error: reason=4 extraF=1000 underlying=10061"},
      {{0x1005, 32}, "Connection error: reason=5 extraF=1000 underlying=32"},
      {{0x1006, 104}, "Connection error: reason=6 extraF=1000 underlying=104"},
      {{7, 18}, "Connection error: reason=7 extraF=0 underlying=18"},
      {{8, 28}, "Connection error: reason=8 extraF=0 underlying=28"},
      {{9, 42}, "Connection error: reason=9 extraF=0 underlying=42"},
      {{10, 8}, "Connection error: reason=10 extraF=0 underlying=8"},
      {{11, 27}, "Connection error: reason=11 extraF=0 underlying=27"},
      {{12, 99}, "Connection error: reason=12 extraF=0 underlying=99"},
      {{13, 60}, "Connection error: reason=13 extraF=0 underlying=60"},
      {{0xFFF, -1}, "Connection error: reason=4095 extraF=0 underlying=-1"},
      {{0x1000, 1}, "Connection error: reason=0 extraF=1000 underlying=1"},
      {{0xABCDE123, 5}, "Connection error: reason=291 extraF=abcde000 underlying=5"}};
  CallbackContext where = context();
  for (const auto& [error, text] : errors) {
    slot(2).error = ErrorChain();
    HttpGetter::responseErrorCb(&where, &error, token(2));
    EXPECT_EQ(chainText(slot(2).error), "[HttpGetter::responseErrorCb] -1: " + std::string(text));
  }
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(ErrorCallback, PrintsExtremeNumbers) {
  CallbackContext where = context();
  const ConnectionError highest{0xFFFFFFFF, std::numeric_limits<std::int32_t>::min()};
  HttpGetter::responseErrorCb(&where, &highest, token(0));
  EXPECT_EQ(chainText(slot(0).error),
            "[HttpGetter::responseErrorCb] -1: Connection error: reason=4095 extraF=fffff000 "
            "underlying=-2147483648");
  const ConnectionError lowest{0, 0};
  HttpGetter::responseErrorCb(&where, &lowest, token(1));
  EXPECT_EQ(chainText(slot(1).error),
            "[HttpGetter::responseErrorCb] -1: Connection error: reason=0 extraF=0 underlying=0");
}

TEST_F(ErrorCallback, KeepsAnEarlierErrorAsTheCause) {
  CallbackContext where = context();
  slot(0).error = makeError("Test", 5, "first");
  const ConnectionError error{7, 18};
  HttpGetter::responseErrorCb(&where, &error, token(0));
  EXPECT_EQ(chainText(slot(0).error),
            "[HttpGetter::responseErrorCb] -1: Connection error: reason=7 extraF=0 underlying=18 "
            "| [Test] 5: first");
}

TEST_F(ErrorCallback, IgnoresACallWithSomethingMissing) {
  CallbackContext where = context();
  CallbackContext nowhere{nullptr, nullptr};
  const ConnectionError error{7, 18};
  HttpGetter::responseErrorCb(nullptr, &error, token(0));
  HttpGetter::responseErrorCb(&nowhere, &error, token(0));
  HttpGetter::responseErrorCb(&where, nullptr, token(0));
  HttpGetter::responseErrorCb(&where, &error, nullptr);
  EXPECT_FALSE(slot(0).error);
}

// Data.

TEST_F(DataCallback, AppendsEachPieceToTheStream) {
  FakeResponse response;
  response.pieces = {"one, ", "", "two, ", "three"};
  network.respond("/lib/a", response);
  issue(0, "/lib/a", &body);
  HttpDldDone done;
  EXPECT_EQ(getter().waitForRequestCompletion(done), 0);
  EXPECT_FALSE(done.error);
  EXPECT_EQ(contentOf(body), "one, two, three");
  EXPECT_EQ(callback.count("isAborted"), 4U);
}

TEST_F(DataCallback, PassesItsArgumentsOnToTheHost) {
  slot(1).stream = &body;
  TransferProgress progress{0, 3};
  int asked = 0;
  callback.abortAnswer = [&](ReqTokenGeneralType* request, TransferProgress* told, Response*) {
    ++asked;
    EXPECT_EQ(request, token(1));
    EXPECT_EQ(told, &progress);
    return 0;
  };
  network.deliverData(token(1), progress, "abc");
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(contentOf(body), "abc");
}

TEST_F(DataCallback, PassesTheResponseOnToTheHost) {
  slot(0).stream = &body;
  TransferProgress progress{0, 0};
  Response response;
  const Response* told = nullptr;
  callback.abortAnswer = [&](ReqTokenGeneralType*, TransferProgress*, Response* given) {
    told = given;
    return 0;
  };
  CallbackContext where = context();
  HttpGetter::responseProgressCb(&where, token(0), &progress, &response);
  EXPECT_EQ(told, &response);
}

TEST_F(DataCallback, IgnoresACallWithSomethingMissing) {
  CallbackContext where = context();
  CallbackContext nowhere{nullptr, nullptr};
  TransferProgress progress{0, 5};
  Response response;
  HttpGetter::responseProgressCb(nullptr, token(0), &progress, &response);
  HttpGetter::responseProgressCb(&nowhere, token(0), &progress, &response);
  HttpGetter::responseProgressCb(&where, nullptr, &progress, &response);
  HttpGetter::responseProgressCb(&where, token(0), &progress, nullptr);
  EXPECT_THAT(callback.calls(), IsEmpty());
  EXPECT_FALSE(slot(0).error);
  EXPECT_EQ(progress.abort, 0U);
}

TEST_F(DataCallback, AbortsWhenTheHostSaysSo) {
  beginBatch(100);
  slot(0).stream = &body;
  callback.abortAnswer = [](auto*, auto*, auto*) { return 5; };
  TransferProgress progress{0, 3};
  EXPECT_FALSE(network.deliverData(token(0), progress, "abc"));
  EXPECT_EQ(progress.abort, 1U);
  EXPECT_EQ(chainText(slot(0).error), "[HttpGetter::responseProgressCb] -1: Download aborted (5)");
  EXPECT_EQ(body.GetSize(), 0);
  EXPECT_EQ(slot(0).bytesWritten, 0);
  EXPECT_EQ(getter().receivedBytes.load(), 0);
  EXPECT_THAT(callback.transcript(), IsEmpty());
}

TEST_F(DataCallback, CarriesTheHostsAnswer) {
  const std::pair<int, const char*> answers[] = {
      {1, "[HttpGetter::responseProgressCb] -1: Download aborted (1)"},
      {-3, "[HttpGetter::responseProgressCb] -1: Download aborted (-3)"},
      {2147483647, "[HttpGetter::responseProgressCb] -1: Download aborted (2147483647)"},
      {std::numeric_limits<int>::min(),
       "[HttpGetter::responseProgressCb] -1: Download aborted (-2147483648)"}};
  for (const auto& [answer, text] : answers) {
    slot(0).error = ErrorChain();
    callback.abortAnswer = [value = answer](auto*, auto*, auto*) { return value; };
    TransferProgress progress{0, 0};
    network.deliverData(token(0), progress, "");
    EXPECT_EQ(progress.abort, 1U);
    EXPECT_EQ(chainText(slot(0).error), text);
  }
}

TEST_F(DataCallback, EndsAnAbortedTransferWithoutFurtherNews) {
  FakeResponse response;
  response.pieces = {"one", "two", "three"};
  response.error = ConnectionError{9, 42};
  network.respond("/lib/a", response);
  callback.abortAnswer = [](auto*, TransferProgress* progress, auto*) {
    return progress->receivedBytes > 3 ? 1 : 0;
  };
  issue(0, "/lib/a", &body);
  HttpDldDone done;
  EXPECT_EQ(getter().waitForRequestCompletion(done), 0);
  EXPECT_EQ(chainText(done.error), "[HttpGetter::responseProgressCb] -1: Download aborted (1)");
  EXPECT_EQ(done.status, 200U);
  EXPECT_EQ(contentOf(body), "one");
  EXPECT_EQ(callback.count("isAborted"), 2U);
}

TEST_F(DataCallback, AbortsBeforeAnythingArrived) {
  FakeResponse response;
  response.callsBeforeStatus = 3;
  response.pieces = {"one"};
  network.respond("/lib/a", response);
  int asked = 0;
  callback.abortAnswer = [&](auto*, auto*, auto*) { return ++asked == 2 ? 7 : 0; };
  issue(0, "/lib/a", &body);
  HttpDldDone done;
  EXPECT_EQ(getter().waitForRequestCompletion(done), 0);
  EXPECT_EQ(chainText(done.error), "[HttpGetter::responseProgressCb] -1: Download aborted (7)");
  EXPECT_EQ(done.status, 0U);
  EXPECT_EQ(body.GetSize(), 0);
}

TEST_F(DataCallback, FailsWithoutAStream) {
  beginBatch(100);
  TransferProgress progress{0, 3};
  EXPECT_TRUE(network.deliverData(token(0), progress, "abc"));
  EXPECT_EQ(progress.abort, 1U);
  EXPECT_EQ(chainText(slot(0).error), "[HttpGetter::responseProgressCb] -1: No stream to write to");
  EXPECT_EQ(slot(0).bytesWritten, 0);
  EXPECT_EQ(getter().receivedBytes.load(), 0);
  EXPECT_THAT(callback.transcript(), IsEmpty());
}

TEST_F(DataCallback, FailsWhenTheStreamTakesNoBytes) {
  beginBatch(100);
  FullStream full;
  slot(0).stream = &full;
  TransferProgress progress{0, 3};
  network.deliverData(token(0), progress, "abc");
  EXPECT_EQ(progress.abort, 1U);
  EXPECT_EQ(chainText(slot(0).error), "[FullStream::Write] 112: disk full");
  EXPECT_EQ(slot(0).bytesWritten, 0);
  EXPECT_EQ(getter().receivedBytes.load(), 0);
}

TEST_F(DataCallback, FailsWhenTheStreamTakesTooFewBytes) {
  beginBatch(100);
  ShortStream stream;
  slot(0).stream = &stream;
  TransferProgress progress{0, 3};
  network.deliverData(token(0), progress, "abc");
  EXPECT_EQ(progress.abort, 1U);
  EXPECT_EQ(chainText(slot(0).error), "[Buffer::saveTo] -1: 2 of 3 bytes written");
  EXPECT_EQ(slot(0).error.head->refCount, 1U);
  EXPECT_EQ(slot(0).bytesWritten, 0);
  EXPECT_EQ(getter().receivedBytes.load(), 0);
  EXPECT_THAT(callback.transcript(), IsEmpty());
}

TEST_F(DataCallback, PutsAMissingStreamOnTopOfAnEarlierError) {
  slot(0).error = makeError("Test", 5, "broken");
  TransferProgress progress{0, 3};
  network.deliverData(token(0), progress, "abc");
  EXPECT_EQ(chainText(slot(0).error),
            "[HttpGetter::responseProgressCb] -1: No stream to write to | [Test] 5: broken");
}

TEST_F(DataCallback, ReplacesAnEarlierErrorByTheStreams) {
  FullStream full;
  slot(0).stream = &full;
  slot(0).error = makeError("HttpGetter::responseProgressCb", -1, "No stream to write to");
  TransferProgress progress{0, 3};
  network.deliverData(token(0), progress, "abc");
  EXPECT_EQ(chainText(slot(0).error), "[FullStream::Write] 112: disk full");
}

TEST_F(DataCallback, AbortsARequestThatHasAnErrorAlready) {
  slot(0).stream = &body;
  slot(0).error = makeError("Test", 5, "broken");
  TransferProgress progress{0, 3};
  network.deliverData(token(0), progress, "abc");
  EXPECT_EQ(progress.abort, 1U);
  EXPECT_EQ(chainText(slot(0).error), "[Test] 5: broken");
  EXPECT_EQ(contentOf(body), "abc");
  EXPECT_EQ(slot(0).bytesWritten, 0);
  EXPECT_EQ(getter().receivedBytes.load(), 0);
}

TEST_F(DataCallback, PutsAnAbortOnTopOfAnEarlierError) {
  slot(0).error = makeError("Test", 5, "broken");
  callback.abortAnswer = [](auto*, auto*, auto*) { return 1; };
  TransferProgress progress{0, 0};
  network.deliverData(token(0), progress, "");
  EXPECT_EQ(chainText(slot(0).error),
            "[HttpGetter::responseProgressCb] -1: Download aborted (1) | [Test] 5: broken");
}

TEST_F(DataCallback, ReportsAFailedWriteAtCollection) {
  FakeResponse response;
  response.pieces = {"one", "two"};
  network.respond("/lib/a", response);
  FullStream full;
  issue(0, "/lib/a", &full, 8);
  HttpDldDone done;
  EXPECT_EQ(getter().waitForRequestCompletion(done), 0);
  done.expectStatus();
  EXPECT_EQ(done.tag, 8U);
  EXPECT_EQ(chainText(done.error), "[FullStream::Write] 112: disk full");
  EXPECT_EQ(callback.count("isAborted"), 1U);
}

TEST_F(DataCallback, AccountsForEachClientOfItsOwn) {
  network.respond("/lib/a", "12345");
  network.respond("/lib/b", "1234567");
  beginBatch(0);
  PMemStream second(16);
  issue(0, "/lib/a", &body);
  issue(1, "/lib/b", &second);
  HttpDldDone done;
  EXPECT_EQ(getter().waitForRequestCompletion(done), 0);
  EXPECT_EQ(getter().receivedBytes.load(), 5);
  EXPECT_EQ(getter().waitForRequestCompletion(done), 1);
  EXPECT_EQ(getter().receivedBytes.load(), 12);
}

TEST_F(DataCallback, LosesNoByteOfFiveClientsAtOnce) {
  constexpr int kPieces = 20000;
  SilentCallback host;
  getter().callback = &host;
  std::atomic<int> started{0};
  std::vector<std::thread> threads;
  for (int client = 0; client < kHttpClientCount; ++client) {
    threads.emplace_back([this, client, &started] {
      PMemStream stream(16);
      slot(client).stream = &stream;
      TransferProgress progress{0, 0};
      for (++started; started < kHttpClientCount;)
        std::this_thread::yield();
      for (int i = 0; i < kPieces; ++i) {
        progress.receivedBytes += client + 1;
        network.deliverData(token(client), progress, "");
      }
      EXPECT_EQ(progress.abort, 0U);
      EXPECT_EQ(slot(client).bytesWritten, kPieces * (client + 1));
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(getter().receivedBytes.load(), 300000);
}

// Progress.

TEST_F(Progress, BeginsABatchWithNothingReported) {
  getter().receivedBytes = 77;
  getter().lastPermille = 500;
  getter().lastMegabytes = 5;
  getter().beginBatch(1000, "Getting file list");
  EXPECT_EQ(getter().lastPermille, -1);
  EXPECT_EQ(getter().lastMegabytes, 0xFFFFFFFFU);
  EXPECT_EQ(getter().receivedBytes.load(), 0);
  EXPECT_EQ(getter().totalBytes, 1000);
  EXPECT_STREQ(getter().phaseText.text(), "Getting file list");
  EXPECT_THAT(callback.transcript(), ElementsAre("setProgressText: Getting file list"));
}

TEST_F(Progress, StaysSilentWithoutATotal) {
  beginBatch(0);
  receive(2500000);
  getter().updateMegabytes();
  EXPECT_THAT(callback.transcript(), IsEmpty());
  EXPECT_EQ(getter().receivedBytes.load(), 2500000);
}

TEST_F(Progress, StaysSilentWithANegativeTotal) {
  for (const std::int64_t total : {std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    beginBatch(total);
    receive(2500000);
    EXPECT_THAT(callback.transcript(), IsEmpty());
  }
}

TEST_F(Progress, SpeaksForATotalOfOneByte) {
  beginBatch(1);
  receive(1);
  EXPECT_THAT(callback.transcript(), ElementsAre("setProgressValue: 1000",
                                                 "setProgressText: Downloading files (0MB / 0MB)"));
}

TEST_F(Progress, ReportsThousandthsThenMegabytes) {
  beginBatch(10000000);
  receive(2500000);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("setProgressValue: 250", "setProgressText: Downloading files (2MB / 10MB)"));
  EXPECT_STREQ(getter().phaseText.text(), "Downloading files");
}

TEST_F(Progress, SaysNothingWithoutNewBytes) {
  beginBatch(10000000);
  receive(2500000);
  callback.clear();
  getter().lastPermille = -1;
  getter().lastMegabytes = 0;
  receive(0);
  EXPECT_THAT(callback.transcript(), IsEmpty());
  EXPECT_EQ(getter().receivedBytes.load(), 2500000);
}

TEST_F(Progress, ReportsTheFirstFiguresOfABatchEvenWhenZero) {
  beginBatch(10000000);
  receive(1);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("setProgressValue: 0", "setProgressText: Downloading files (0MB / 10MB)"));
}

TEST_F(Progress, RoundsThousandthsToTheNearest) {
  beginBatch(2000);
  receive(1);
  receive(1);
  receive(1);
  EXPECT_THAT(callback.textsOf("setProgressValue"), ElementsAre("1", "2"));
}

// Each pair comes out differently when some step is done in double precision, in integers
// or in another order.
TEST_F(Progress, CountsThousandthsInSinglePrecision) {
  struct Figures {
    std::int64_t received;
    std::int64_t total;
    const char* permille;
  };
  const Figures figures[] = {{201, 400, "503"},
                             {7, 80, "88"},
                             {251, 2000, "125"},
                             {4415631580, 9547311528, "463"},
                             {4986397826, 12450431523, "400"},
                             {2694531665, 6830245027, "395"},
                             {4051992618, 4054019626, "1000"},
                             {385427529, 8114263814, "47"},
                             {9552276, 19104553243, "1"}};
  for (const auto& [received, total, permille] : figures) {
    beginBatch(total);
    slot(0).bytesWritten = 0;
    receive(received);
    EXPECT_THAT(callback.textsOf("setProgressValue"), ElementsAre(permille))
        << received << " of " << total;
  }
}

TEST_F(Progress, CountsMegabytesInDoublePrecision) {
  beginBatch(199999999);
  receive(99999999);
  EXPECT_THAT(callback.textsOf("setProgressText"), ElementsAre("Downloading files (99MB / 199MB)"));
}

TEST_F(Progress, ReportsAMegabyteWithoutAThousandth) {
  beginBatch(10000000000);
  receive(1000000);
  receive(1000000);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("setProgressValue: 0", "setProgressText: Downloading files (1MB / 10000MB)",
                  "setProgressText: Downloading files (2MB / 10000MB)"));
}

TEST_F(Progress, RoundsMegabytesDown) {
  beginBatch(3999999);
  receive(999999);
  receive(1);
  receive(999999);
  EXPECT_THAT(callback.textsOf("setProgressText"),
              ElementsAre("Downloading files (0MB / 3MB)", "Downloading files (1MB / 3MB)"));
}

TEST_F(Progress, ReportsEachFigureOnce) {
  beginBatch(10000000);
  for (int i = 0; i < 100; ++i)
    receive(100);
  EXPECT_THAT(callback.textsOf("setProgressValue"), ElementsAre("0", "1"));
  EXPECT_THAT(callback.textsOf("setProgressText"), ElementsAre("Downloading files (0MB / 10MB)"));
}

TEST_F(Progress, NeverGoesDownWithinABatch) {
  beginBatch(1000);
  receive(500);
  getter().receivedBytes = 100;
  receive(100);
  EXPECT_EQ(getter().lastPermille, 500);
  receive(301);
  EXPECT_THAT(callback.textsOf("setProgressValue"), ElementsAre("500", "501"));
}

TEST_F(Progress, ShowsWhateverMegabytesChanged) {
  beginBatch(10000000);
  receive(2000000);
  getter().receivedBytes = 0;
  receive(1000000);
  EXPECT_THAT(callback.textsOf("setProgressText"),
              ElementsAre("Downloading files (2MB / 10MB)", "Downloading files (1MB / 10MB)"));
}

TEST_F(Progress, ReportsTheSameFiguresAgainInTheNextBatch) {
  for (int batch = 0; batch < 2; ++batch) {
    beginBatch(10000000);
    receive(2500000);
    EXPECT_THAT(
        callback.transcript(),
        ElementsAre("setProgressValue: 250", "setProgressText: Downloading files (2MB / 10MB)"));
  }
}

TEST_F(Progress, PassesTheRangeWhenMoreArrivesThanAnnounced) {
  beginBatch(1000);
  receive(2500);
  EXPECT_THAT(callback.textsOf("setProgressValue"), ElementsAre("2500"));
}

TEST_F(Progress, ShowsTheFiguresAloneWithoutACaption) {
  beginBatch(10000000);
  getter().phaseText.release();
  receive(2500000);
  EXPECT_THAT(callback.textsOf("setProgressText"), ElementsAre(" (2MB / 10MB)"));
}

TEST_F(Progress, SurvivesAbsurdFigures) {
  beginBatch(1);
  receive(std::numeric_limits<std::int64_t>::max());
  EXPECT_THAT(callback.textsOf("setProgressValue"), ElementsAre("2147483647"));
  beginBatch(std::numeric_limits<std::int64_t>::max());
  slot(0).bytesWritten = 0;
  receive(1);
  EXPECT_THAT(callback.textsOf("setProgressValue"), ElementsAre("0"));
  EXPECT_EQ(callback.count("setProgressText"), 1U);
}

TEST_F(Progress, SubtractsNothingWhenTheCountShrinks) {
  beginBatch(1000);
  receive(500);
  receive(-200);
  EXPECT_EQ(getter().receivedBytes.load(), 500);
  EXPECT_EQ(slot(0).bytesWritten, 300);
}

TEST_F(Progress, AddsUpTheClients) {
  beginBatch(4);
  network.respond("/lib/a", "12");
  network.respond("/lib/b", "34");
  PMemStream second(16);
  issue(0, "/lib/a", &body);
  issue(1, "/lib/b", &second);
  HttpDldDone done;
  while (getter().waitForRequestCompletion(done) >= 0) {
  }
  EXPECT_THAT(callback.textsOf("setProgressValue"), ElementsAre("500", "1000"));
}

}  // namespace
