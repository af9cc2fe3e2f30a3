// Tests the choice of proxy when the system's settings decide, as they stand in the registry: the
// real one on Windows.
#include <gmock/gmock.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fakes/fake_networking.h"
#include "fakes/recording_callback.h"
#include "http/http_getter.h"
#include "http/proxy_choice.h"
#include "plugin/downloader.h"
#include "qutils/system_proxy.h"
#include "support/test_registry_key.h"

using QUtils::CharString;
using testing::ElementsAre;

namespace {

class SystemProxyChoice : public testing::Test {
 protected:
  ~SystemProxyChoice() override { setSystem(0, nullptr, nullptr); }

  // Makes these the system's settings; a null text is not written.
  static void setSystem(DWORD enable, const char* server, const char* bypass) {
    TestRegistryKey key(kInternetSettingsPath);
    key.setNumber("ProxyEnable", enable);
    key.remove("ProxyServer");
    key.remove("ProxyOverride");
    if (server != nullptr) key.setText("ProxyServer", server);
    if (bypass != nullptr) key.setText("ProxyOverride", bypass);
    QUtils::SystemProxySettings settings;
    EXPECT_FALSE(QUtils::readSystemProxySettings(settings, true));
  }

  void choose(const char* host) {
    callback.clear();
    proxyHost = "left.over";
    proxyPort = 12345;
    getHttpProxyForAddr(settings, callback, host, proxyHost, proxyPort);
  }

  void expectDirect() const {
    EXPECT_STREQ(proxyHost.text(), "");
    EXPECT_EQ(proxyPort, 80);
  }
  void expectProxy(const char* host, int port) const {
    EXPECT_STREQ(proxyHost.text(), host);
    EXPECT_EQ(proxyPort, port);
  }
  void expectBypassed(const char* host) {
    choose(host);
    expectDirect();
    EXPECT_THAT(callback.transcript(),
                ElementsAre("logInfo: Using system proxy settings.",
                            "logInfo: HTTP bypassed, using direct connection."))
        << host;
  }
  void expectNotBypassed(const char* host) {
    choose(host);
    expectProxy("proxy.lan", 3128);
    EXPECT_THAT(callback.transcript(),
                ElementsAre("logInfo: Using system proxy settings.",
                            "logInfo: System HTTP proxy address: \"http://proxy.lan:3128\""))
        << host;
  }

  RecordingCallback callback;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
  CharString proxyHost;
  int proxyPort = 0;
};

TEST_F(SystemProxyChoice, UsesTheHttpProxy) {
  setSystem(1, "proxy.lan:3128", nullptr);
  choose("files.example");
  expectProxy("proxy.lan", 3128);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: Using system proxy settings.",
                          "logInfo: System HTTP proxy address: \"http://proxy.lan:3128\""));
  EXPECT_EQ(callback.calls().at(1).format, "System HTTP proxy address: \"%s\"");
}

TEST_F(SystemProxyChoice, UsesPort80WithoutAPort) {
  setSystem(1, "proxy.lan", nullptr);
  choose("files.example");
  expectProxy("proxy.lan", 80);
}

TEST_F(SystemProxyChoice, SaysNothingMoreWhenTheProxyIsOff) {
  setSystem(0, "proxy.lan:3128", "files.example");
  choose("files.example");
  expectDirect();
  EXPECT_THAT(callback.transcript(), ElementsAre("logInfo: Using system proxy settings."));
}

TEST_F(SystemProxyChoice, HoldsForEveryModeButExplicitAndDisabled) {
  setSystem(1, "proxy.lan:3128", nullptr);
  settings.proxyAddress = "explicit.lan:1";
  for (const std::int32_t mode : {0, 1, 4, -1, 1000000, INT32_MIN}) {
    settings.proxyMode = mode;
    expectNotBypassed("files.example");
  }
}

TEST_F(SystemProxyChoice, OtherModesDoNotAskTheSystem) {
  setSystem(1, "proxy.lan:3128", nullptr);
  settings.proxyMode = PROXY_MODE_DISABLED;
  choose("files.example");
  expectDirect();
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy disabled. Using direct connection."));
  settings.proxyMode = PROXY_MODE_EXPLICIT;
  settings.proxyAddress = "explicit.lan:1";
  choose("files.example");
  expectProxy("explicit.lan", 1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy address: \"explicit.lan:1\""));
}

TEST_F(SystemProxyChoice, AnExplicitProxyIsNotBypassed) {
  setSystem(1, "proxy.lan:3128", "*");
  settings.proxyMode = PROXY_MODE_EXPLICIT;
  settings.proxyAddress = "explicit.lan:1";
  choose("files.example");
  expectProxy("explicit.lan", 1);
}

TEST_F(SystemProxyChoice, BypassPatternsIgnoreCase) {
  setSystem(1, "proxy.lan:3128", "*.LOCAL");
  expectBypassed("files.local");
  expectNotBypassed("files.locals");
}

TEST_F(SystemProxyChoice, AnyPatternOfTheListBypasses) {
  setSystem(1, "proxy.lan:3128", "*.local;;10.*;files.example");
  expectBypassed("10.1.2.3");
  expectBypassed("files.example");
  expectBypassed("a.local");
  expectNotBypassed("110.1.2.3");
}

TEST_F(SystemProxyChoice, SeveralPatternsThatMatchBypassOnce) {
  setSystem(1, "proxy.lan:3128", "files.*;*.example;files.example");
  expectBypassed("files.example");
}

TEST_F(SystemProxyChoice, APatternWithoutWildcardsIsTheIdenticalHostOnly) {
  setSystem(1, "proxy.lan:3128", "example.com");
  expectBypassed("example.com");
  expectNotBypassed("www.example.com");
}

TEST_F(SystemProxyChoice, TheMarkerForLocalNamesIsAPatternLikeAnyOther) {
  setSystem(1, "proxy.lan:3128", "<local>");
  expectNotBypassed("intranet");
  expectBypassed("<local>");
}

TEST_F(SystemProxyChoice, AnEmptyHostIsMatchedAsSuch) {
  setSystem(1, "proxy.lan:3128", "?*");
  expectNotBypassed("");
  setSystem(1, "proxy.lan:3128", "*");
  expectBypassed("");
}

TEST_F(SystemProxyChoice, ABypassedHostIsNotWarnedOfABadProxy) {
  setSystem(1, "http://proxy.lan:3128", "files.example");
  expectBypassed("files.example");
}

TEST_F(SystemProxyChoice, TheHttpEntryIsUsedWhateverTheOthersSay) {
  setSystem(1, "https=secure.lan:1;http=proxy.lan:3128;ftp=ftp.lan:2", nullptr);
  expectNotBypassed("files.example");
}

TEST_F(SystemProxyChoice, AServerOverHttpsGoesThroughTheHttpEntryToo) {
  FakeNetwork network;
  setSystem(1, "https=secure.lan:1;http=proxy.lan:3128", nullptr);
  settings.remoteAddress = "https://files.example/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_THAT(network.log(), testing::Contains("setProxyServer(\"proxy.lan\", 3128)"));
  destroyHttpGetter(downloader.httpGetter, true);
}

TEST_F(SystemProxyChoice, OnlyTheHttpEntryIsUsed) {
  setSystem(1, "https=secure.lan:1;ftp=ftp.lan:2", nullptr);
  choose("files.example");
  expectDirect();
  EXPECT_THAT(callback.transcript(), ElementsAre("logInfo: Using system proxy settings.",
                                                 "logInfo: System HTTP proxy address: \"\""));
}

TEST_F(SystemProxyChoice, ConnectsDirectlyWithoutAServer) {
  setSystem(1, nullptr, nullptr);
  choose("files.example");
  expectDirect();
  EXPECT_THAT(callback.transcript(), ElementsAre("logInfo: Using system proxy settings.",
                                                 "logInfo: System HTTP proxy address: \"\""));
}

TEST_F(SystemProxyChoice, RefusesAServerThatBringsASchemeOfItsOwn) {
  setSystem(1, "socks5://proxy.lan:1080", nullptr);
  choose("files.example");
  expectDirect();
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("logInfo: Using system proxy settings.",
                  "logInfo: System HTTP proxy address: \"http://socks5://proxy.lan:1080\"",
                  "logTaggedError: [DownloaderImpl::getHttpProxyForAddr] -1: Ivalid http proxy "
                  "address \"http://socks5://proxy.lan:1080\". Using direct connection."));
}

TEST_F(SystemProxyChoice, RefusesAServerWithATrailingSlash) {
  setSystem(1, "proxy.lan:3128/", nullptr);
  choose("files.example");
  expectDirect();
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("logInfo: Using system proxy settings.",
                  "logInfo: System HTTP proxy address: \"http://proxy.lan:3128/\"",
                  "logTaggedError: [DownloaderImpl::getHttpProxyForAddr] -1: Ivalid http proxy "
                  "address \"http://proxy.lan:3128/\". Using direct connection."));
}

TEST_F(SystemProxyChoice, KeepsPercentSignsOfTheSettingsOutOfTheFormat) {
  setSystem(1, "%s%n", nullptr);
  choose("files.example");
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: Using system proxy settings.",
                          "logInfo: System HTTP proxy address: \"http://%s%n\""));
}

TEST_F(SystemProxyChoice, KeepsTheSettingsThatWereReadFirst) {
  setSystem(1, "proxy.lan:3128", nullptr);
  TestRegistryKey(kInternetSettingsPath).setNumber("ProxyEnable", 0);
  expectNotBypassed("files.example");
}

// In a process in which nothing was read before.
[[noreturn]] void chooseWithoutSettings() {
  TestRegistryKey::deleteKey(kInternetSettingsPath);
  RecordingCallback callback;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
  CharString host("left.over");
  int port = 12345;
  getHttpProxyForAddr(settings, callback, "files.example", host, port);
  for (const std::string& line : callback.transcript())
    std::fprintf(stderr, "<%s>", line.c_str());
  std::fprintf(stderr, "<host \"%s\", port %d>\n", host.text(), port);
  std::_Exit(0);
}

TEST(SystemProxyChoiceDeathTest, IsSilentAboutSettingsThatCannotBeRead) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(chooseWithoutSettings(), testing::ExitedWithCode(0),
              "<logInfo: Using system proxy settings.><host \"\", port 80>");
}

}  // namespace
