// A getter that finds no memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "fakes/fake_networking.h"
#include "fakes/recording_callback.h"
#include "fakes/silent_callback.h"
#include "plugin/downloader.h"
#include "support/counting_allocator.h"

namespace {

class GetterMemory : public testing::Test {
 protected:
  GetterMemory() {
    settings.remoteAddress = "https://h:444/lib";
    settings.proxyMode = PROXY_MODE_EXPLICIT;
    settings.proxyAddress = "proxy.lan:3128";
  }

  DownloaderSettings settings;
};

TEST_F(GetterMemory, WithoutItThereIsNoGetter) {
  FakeNetwork network;
  RecordingCallback callback;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
  FailingAllocation failing(0);
  failing.arm();
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  EXPECT_TRUE(failing.happened());
  EXPECT_EQ(downloader.httpGetter, nullptr);
  EXPECT_THAT(
      callback.transcript(),
      testing::ElementsAre("reportError: [DownloaderImpl::initHttpGetter] -1: Out of memory"));
  EXPECT_THAT(network.log(), testing::IsEmpty());
}

// Texts become empty instead, so that the set-up may even succeed; what the header list takes
// throws.
TEST_F(GetterMemory, NothingIsLeftOfASetupThatRunsOut) {
  // The first exception of a process takes memory for good.
  EXPECT_THROW(throw std::bad_alloc(), std::bad_alloc);
  SilentCallback callback;
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    FakeNetwork network;
    DownloaderImpl downloader{nullptr, {}, &callback, &settings};
    failing.arm();
    int result = -1;
    try {
      result = downloader.initHttpGetter();
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(downloader.httpGetter, nullptr);
    }
    failing.disarm();
    EXPECT_EQ(downloader.httpGetter != nullptr, result == 0);
    if (result == 0) destroyHttpGetter(downloader.httpGetter, true);
  });
  EXPECT_GT(failures, 5);
}

}  // namespace
