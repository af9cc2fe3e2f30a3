// Tests a getter that finds no memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "fakes/fake_networking.h"
#include "fakes/recording_callback.h"
#include "fakes/silent_callback.h"
#include "http/address.h"
#include "http/http_getter.h"
#include "http/proxy_choice.h"
#include "plugin/downloader.h"
#include "qutils/system_proxy.h"
#include "support/counting_allocator.h"
#include "support/test_registry_key.h"

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

// Texts that decide nothing become empty, so that the set-up may even succeed; then server and
// proxy are those that were asked for.
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
    if (result != 0) return;
    EXPECT_THAT(network.log(), testing::IsSupersetOf({"setServer(\"h\", 444, null)",
                                                      "setSSLContext(the context's)",
                                                      "setProxyServer(\"proxy.lan\", 3128)"}));
    destroyHttpGetter(downloader.httpGetter, true);
  });
  EXPECT_GT(failures, 5);
}

TEST(AddressMemory, ItIsTakenApartWholeOrNotAtAll) {
  for (const char* text : {"HTTPS://h:444/lib", "proxy.lan:3128", "[::1]:80/x", "ftp://h", ":80"}) {
    const Address whole = splitAddress(text);
    const int failures = failEachAllocation([&](FailingAllocation& failing) {
      Address address;
      if (!completes(failing, [&] { address = splitAddress(text); })) return;
      EXPECT_EQ(address.kind, whole.kind) << text;
      EXPECT_STREQ(address.host.text(), whole.host.text()) << text;
      EXPECT_EQ(address.port, whole.port) << text;
      EXPECT_STREQ(address.path.text(), whole.path.text()) << text;
    });
    EXPECT_GE(failures, *text == ':' ? 0 : 2) << text;
  }
}

/// The system's settings name a proxy, and a host that is reached without one.
class SystemProxyMemory : public testing::Test {
 protected:
  SystemProxyMemory() {
    TestRegistryKey key(kInternetSettingsPath);
    key.setNumber("ProxyEnable", 1);
    key.setText("ProxyServer", "http=a.proxy.lan:3128;https=other:1");
    key.setText("ProxyOverride", "first.lan;*.direct.lan");
    QUtils::SystemProxySettings system;
    EXPECT_FALSE(QUtils::readSystemProxySettings(system, true));
  }
  ~SystemProxyMemory() override {
    TestRegistryKey key(kInternetSettingsPath);
    key.setNumber("ProxyEnable", 0);
    key.remove("ProxyServer");
    key.remove("ProxyOverride");
    QUtils::SystemProxySettings system;
    EXPECT_FALSE(QUtils::readSystemProxySettings(system, true));
  }

  void expectChoice(const char* host, const char* proxy, int port) {
    getHttpProxyForAddr(settings, callback, host, proxyHost, proxyPort);
    EXPECT_STREQ(proxyHost.text(), proxy);
    EXPECT_EQ(proxyPort, port);
  }

  SilentCallback callback;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
  QUtils::CharString proxyHost;
  int proxyPort = 0;
};

TEST_F(SystemProxyMemory, TheChoiceIsTheSameOrNone) {
  settings.proxyMode = PROXY_MODE_SYSTEM;
  const int withProxy = failEachAllocation([&](FailingAllocation& failing) {
    completes(failing, [&] { expectChoice("materials.example", "a.proxy.lan", 3128); });
    proxyHost.release();
  });
  EXPECT_GT(withProxy, 2);
  const int withoutProxy = failEachAllocation([&](FailingAllocation& failing) {
    completes(failing, [&] { expectChoice("x.direct.lan", "", 80); });
  });
  EXPECT_GT(withoutProxy, 0);
}

TEST_F(SystemProxyMemory, TheSettingsAreReadWholeOrNotAtAll) {
  settings.proxyMode = PROXY_MODE_SYSTEM;
  // What the cache keeps is not a leak.
  int succeeding = 0;
  for (bool failed = true; failed; ++succeeding) {
    FailingAllocation failing(succeeding);
    QUtils::SystemProxySettings system;
    if (completes(failing, [&] { QUtils::readSystemProxySettings(system, true); })) {
      EXPECT_EQ(system.enabled, 1U) << succeeding;
      EXPECT_STREQ(system.httpProxy.text(), "http://a.proxy.lan:3128") << succeeding;
      EXPECT_STREQ(system.httpsProxy.text(), "http://other:1") << succeeding;
      ASSERT_EQ(system.bypassList.size(), 2U) << succeeding;
      EXPECT_STREQ(system.bypassList[0].text(), "first.lan") << succeeding;
      EXPECT_STREQ(system.bypassList[1].text(), "*.direct.lan") << succeeding;
    }
    failed = failing.happened();
    // With memory there is a proxy again.
    expectChoice("materials.example", "a.proxy.lan", 3128);
  }
  EXPECT_GT(succeeding, 20);
}

}  // namespace
