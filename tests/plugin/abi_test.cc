// Tests the records and tables that the plug-in and the networking library share: orders and widths
// of their fields; and the callback of a host that fills its table by hand. Those of hosts are
// written down in tests/abi.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "catalogue/list_file.h"
#include "fakes/recording_callback.h"
#include "http/http_getter.h"
#include "mtllib/downloader_interface.h"
#include "net/http_client.h"
#include "plugin/downloader.h"

using testing::ElementsAre;

namespace {

static_assert(std::is_standard_layout_v<HttpGetter>, "its fields have offsets");
static_assert(std::is_standard_layout_v<RequestSlot>, "its fields have offsets");
static_assert(std::is_standard_layout_v<HttpDldDone>, "its fields have offsets");
static_assert(std::is_standard_layout_v<DownloaderImpl>, "its fields have offsets");

TEST(Layout, OfTheNetworksErrors) {
  EXPECT_EQ(offsetof(Krell::Err, reserved), 0U);
  EXPECT_EQ(sizeof(Krell::Err::reserved), 8U);
  EXPECT_EQ(offsetof(Krell::Err, chain), 8U);
  EXPECT_EQ(sizeof(Krell::Err), 16U);
  EXPECT_EQ(sizeof(krbool), 4U);
}

TEST(Layout, OfDownloaders) {
  EXPECT_EQ(offsetof(DownloaderImpl, httpGetter), 0U);
  EXPECT_EQ(offsetof(DownloaderImpl, remotePath), 8U);
  EXPECT_EQ(offsetof(DownloaderImpl, callback), 16U);
  EXPECT_EQ(offsetof(DownloaderImpl, settings), 24U);
  EXPECT_EQ(sizeof(DownloaderImpl), 32U);
}

TEST(Layout, OfRequestSlots) {
  EXPECT_EQ(offsetof(RequestSlot, busy), 0U);
  EXPECT_EQ(offsetof(RequestSlot, tag), 4U);
  EXPECT_EQ(offsetof(RequestSlot, error), 8U);
  EXPECT_EQ(offsetof(RequestSlot, status), 16U);
  EXPECT_EQ(offsetof(RequestSlot, expectedSize), 24U);
  EXPECT_EQ(offsetof(RequestSlot, bytesWritten), 32U);
  EXPECT_EQ(offsetof(RequestSlot, stream), 40U);
  EXPECT_EQ(sizeof(RequestSlot), 48U);
}

TEST(Layout, OfCompletionRecords) {
  EXPECT_EQ(offsetof(HttpDldDone, tag), 0U);
  EXPECT_EQ(offsetof(HttpDldDone, error), 8U);
  EXPECT_EQ(offsetof(HttpDldDone, status), 16U);
  EXPECT_EQ(sizeof(HttpDldDone), 24U);
}

TEST(Layout, OfGetters) {
  EXPECT_EQ(kHttpClientCount, 5);
  EXPECT_EQ(offsetof(HttpGetter, requestSlots), 0U);
  EXPECT_EQ(offsetof(HttpGetter, callback), 240U);
  EXPECT_EQ(offsetof(HttpGetter, totalBytes), 248U);
  EXPECT_EQ(offsetof(HttpGetter, receivedBytes), 256U);
  EXPECT_EQ(sizeof(HttpGetter::receivedBytes), 8U);
  EXPECT_EQ(offsetof(HttpGetter, phaseText), 264U);
  EXPECT_EQ(offsetof(HttpGetter, lastPermille), 272U);
  EXPECT_EQ(offsetof(HttpGetter, lastMegabytes), 276U);
  EXPECT_EQ(offsetof(HttpGetter, callbacks), 280U);
  EXPECT_EQ(offsetof(HttpGetter, pool), 336U);
  EXPECT_EQ(sizeof(HttpGetter), 352U);
}

TEST(Layout, OfTheNetworksCallbacks) {
  using Callbacks = Krell::Networking::HttpClient::Callbacks;
  EXPECT_EQ(offsetof(Callbacks, flags), 0U);
  EXPECT_EQ(sizeof(Callbacks::flags), 4U);
  EXPECT_EQ(offsetof(Callbacks, onSent), 8U);
  EXPECT_EQ(offsetof(Callbacks, onStatus), 16U);
  EXPECT_EQ(offsetof(Callbacks, onData), 24U);
  EXPECT_EQ(offsetof(Callbacks, onError), 32U);
  EXPECT_EQ(offsetof(Callbacks, reserved1), 40U);
  EXPECT_EQ(offsetof(Callbacks, reserved2), 48U);
  EXPECT_EQ(sizeof(Callbacks), 56U);
}

TEST(Layout, OfConnectionErrors) {
  using Krell::Networking::ConnectionError;
  EXPECT_EQ(offsetof(ConnectionError, code), 0U);
  EXPECT_EQ(offsetof(ConnectionError, underlying), 4U);
  EXPECT_EQ(sizeof(ConnectionError), 8U);
}

TEST(Layout, OfAFreshPool) {
  struct Words {
    std::uint64_t clients;
    std::int32_t first;
    std::int32_t second;
  };
  static_assert(sizeof(Krell::Networking::HttpClientPool) == sizeof(Words));
  Krell::Networking::HttpClientPool pool;
  Words words{1, 1, 1};
  std::memcpy(&words, &pool, sizeof(words));
  EXPECT_EQ(words.clients, 0U);
  EXPECT_EQ(words.first, 0);
  EXPECT_EQ(words.second, -1);
}

TEST(Layout, OfListEntries) {
  EXPECT_EQ(offsetof(ListFileEntry, localName), 0U);
  EXPECT_EQ(offsetof(ListFileEntry, remoteName), 8U);
  EXPECT_EQ(offsetof(ListFileEntry, size), 16U);
  EXPECT_EQ(sizeof(ListFileEntry), 24U);
  const DownloaderImpl::ListFile list;
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(list.growStep, 100);
  EXPECT_EQ(list.capacity, 0);
  EXPECT_EQ(list.entries, nullptr);
}

// A host whose table of functions is filled by hand, as hosts in other languages do.

std::vector<std::string> calledSlots;

void noteNumber(const char* slot, int number) {
  calledSlots.push_back(std::string(slot) + " " + std::to_string(number));
}
void noteText(const char* slot, const char* text) {
  calledSlots.push_back(std::string(slot) + " " + text);
}

void slot0(void*, int end) {
  noteNumber("0", end);
}
void slot1(void*, int permille) {
  noteNumber("1", permille);
}
void slot2(void*, const char* text) {
  noteText("2", text);
}
int slot3(void*, void* request, void* progress, void* response) {
  noteNumber("3", request != nullptr && progress != nullptr && response == nullptr ? 1 : 0);
  return 42;
}
void slot4(void*) {
  noteText("4", "");
}
void slot5(void*) {
  noteText("5", "");
}
void slot6(void*, const char* format, ...) {
  noteText("6", format);
}
void slot7(void*, const char* tag, int code, const char* format, ...) {
  noteText("7", (std::string(tag) + " " + std::to_string(code) + " " + format).c_str());
}
void slot8(void*, ErrorChain* chain) {
  noteText("8", chainText(*chain).c_str());
}
void slot9(void*, const char* format, ...) {
  noteText("9", format);
}
void slot10(void*, const char* format, ...) {
  noteText("10", format);
}

TEST(HostCallbackTable, HoldsTheOperationsInOrderAndNothingElse) {
  // What stands before the functions (type information) is taken from a real object.
  constexpr std::size_t kBefore = 2;
  RecordingCallback real;
  const void* const* realTable = nullptr;
  std::memcpy(&realTable, static_cast<const void*>(&real), sizeof(realTable));
  const void* table[kBefore + 11] = {*(realTable - 2),
                                     *(realTable - 1),
                                     reinterpret_cast<const void*>(&slot0),
                                     reinterpret_cast<const void*>(&slot1),
                                     reinterpret_cast<const void*>(&slot2),
                                     reinterpret_cast<const void*>(&slot3),
                                     reinterpret_cast<const void*>(&slot4),
                                     reinterpret_cast<const void*>(&slot5),
                                     reinterpret_cast<const void*>(&slot6),
                                     reinterpret_cast<const void*>(&slot7),
                                     reinterpret_cast<const void*>(&slot8),
                                     reinterpret_cast<const void*>(&slot9),
                                     reinterpret_cast<const void*>(&slot10)};
  struct HandMade {
    const void* const* functions;
  };
  HandMade object{table + kBefore};
  // Kept from the optimiser, which knows that no such class exists.
  void* volatile address = &object;
  auto* callback = static_cast<HostCallback*>(address);

  calledSlots.clear();
  callback->setProgressRange(1000);
  callback->setProgressValue(250);
  callback->setProgressText("caption");
  Krell::Networking::TransferProgress progress{};
  EXPECT_EQ(
      callback->isAborted(reinterpret_cast<Krell::Networking::ReqTokenGeneralType*>(&progress),
                          &progress, nullptr),
      42);
  callback->beginProgress();
  callback->endProgress();
  callback->logStage("stage %s", "x");
  callback->logTaggedError("Tag::of", -1, "error %s", "x");
  ErrorChain chain;
  callback->reportError(&chain);
  callback->logWarning("warning %s", "x");
  callback->logInfo("info %s", "x");
  EXPECT_THAT(calledSlots,
              ElementsAre("0 1000", "1 250", "2 caption", "3 1", "4 ", "5 ", "6 stage %s",
                          "7 Tag::of -1 error %s", "8 No error", "9 warning %s", "10 info %s"));
}

}  // namespace
