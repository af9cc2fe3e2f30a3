// Tests the records that the networking library and its callbacks share with the getter: field
// orders and widths that must not change.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "http/http_getter.h"

using Krell::Networking::ConnectionError;
using Krell::Networking::HttpClient;
using Krell::Networking::HttpClientPool;
using Krell::Networking::KrellNetworkingContext;

namespace {

TEST(RecordLayout, OfARequestSlot) {
  EXPECT_EQ(offsetof(RequestSlot, busy), 0U);
  EXPECT_EQ(offsetof(RequestSlot, tag), 4U);
  EXPECT_EQ(offsetof(RequestSlot, error), 8U);
  EXPECT_EQ(offsetof(RequestSlot, status), 16U);
  EXPECT_EQ(offsetof(RequestSlot, expectedSize), 24U);
  EXPECT_EQ(offsetof(RequestSlot, bytesWritten), 32U);
  EXPECT_EQ(offsetof(RequestSlot, stream), 40U);
  EXPECT_EQ(sizeof(RequestSlot), 48U);
}

TEST(RecordLayout, OfTheGetter) {
  EXPECT_EQ(offsetof(HttpGetter, requestSlots), 0U);
  EXPECT_EQ(offsetof(HttpGetter, callback), 240U);
  EXPECT_EQ(offsetof(HttpGetter, totalBytes), 248U);
  EXPECT_EQ(offsetof(HttpGetter, receivedBytes), 256U);
  EXPECT_EQ(offsetof(HttpGetter, phaseText), 264U);
  EXPECT_EQ(offsetof(HttpGetter, lastPermille), 272U);
  EXPECT_EQ(offsetof(HttpGetter, lastMegabytes), 276U);
  EXPECT_EQ(offsetof(HttpGetter, callbacks), 280U);
  EXPECT_EQ(offsetof(HttpGetter, pool), 336U);
  EXPECT_EQ(sizeof(HttpGetter), 352U);
}

TEST(RecordLayout, OfACompletionRecord) {
  EXPECT_EQ(offsetof(HttpDldDone, tag), 0U);
  EXPECT_EQ(offsetof(HttpDldDone, error), 8U);
  EXPECT_EQ(offsetof(HttpDldDone, status), 16U);
  EXPECT_EQ(sizeof(HttpDldDone), 24U);
}

TEST(RecordLayout, OfTheCallbacks) {
  EXPECT_EQ(offsetof(HttpClient::Callbacks, flags), 0U);
  EXPECT_EQ(offsetof(HttpClient::Callbacks, onSent), 8U);
  EXPECT_EQ(offsetof(HttpClient::Callbacks, onStatus), 16U);
  EXPECT_EQ(offsetof(HttpClient::Callbacks, onData), 24U);
  EXPECT_EQ(offsetof(HttpClient::Callbacks, onError), 32U);
  EXPECT_EQ(offsetof(HttpClient::Callbacks, reserved1), 40U);
  EXPECT_EQ(offsetof(HttpClient::Callbacks, reserved2), 48U);
  EXPECT_EQ(sizeof(HttpClient::Callbacks), 56U);
}

TEST(RecordLayout, OfAConnectionError) {
  EXPECT_EQ(offsetof(ConnectionError, code), 0U);
  EXPECT_EQ(offsetof(ConnectionError, underlying), 4U);
  EXPECT_EQ(sizeof(ConnectionError), 8U);
}

TEST(RecordLayout, OfAnErrorHolderThatIsEmpty) {
  const Krell::Err err;
  EXPECT_EQ(err.reserved, 0U);
  EXPECT_EQ(offsetof(Krell::Err, chain), 8U);
  EXPECT_EQ(sizeof(Krell::Err), 16U);
}

TEST(RecordLayout, OfTheNetworkingContext) {
  EXPECT_EQ(offsetof(KrellNetworkingContext, clientSsl), 8U);
}

TEST(RecordLayout, OfAPoolBeforeItIsInitialized) {
  const HttpClientPool pool;
  struct {
    std::uint64_t clients;
    std::int32_t first;
    std::int32_t second;
  } words{};
  static_assert(sizeof(words) == sizeof(pool), "the whole pool");
  std::memcpy(&words, &pool, sizeof(pool));
  EXPECT_EQ(words.clients, 0U);
  EXPECT_EQ(words.first, 0);
  EXPECT_EQ(words.second, -1);
}

}  // namespace
