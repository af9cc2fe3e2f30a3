// Tests which proxy is used, and what is reported to the host about it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "fakes/recording_callback.h"
#include "http/proxy_choice.h"
#include "plugin/downloader.h"

using QUtils::CharString;
using testing::ElementsAre;

namespace {

class ProxyChoice : public testing::Test {
 protected:
  void choose(std::int32_t mode, const char* address) {
    settings.proxyMode = mode;
    settings.proxyAddress = address;
    getHttpProxyForAddr(settings, callback, "files.example", host, port);
  }
  void chooseExplicit(const char* address) { choose(PROXY_MODE_EXPLICIT, address); }

  void expectDirect() const {
    EXPECT_STREQ(host.text(), "");
    EXPECT_EQ(port, 80);
  }
  void expectProxy(const char* expectedHost, int expectedPort) const {
    EXPECT_STREQ(host.text(), expectedHost);
    EXPECT_EQ(port, expectedPort);
  }

  RecordingCallback callback;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
  CharString host{"left.over"};
  int port = 12345;
};

TEST_F(ProxyChoice, TakesHostAndPortOfAnExplicitProxy) {
  chooseExplicit("proxy.lan:3128");
  expectProxy("proxy.lan", 3128);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy address: \"proxy.lan:3128\""));
  EXPECT_EQ(callback.calls().front().format, "HTTP proxy address: \"%s\"");
}

TEST_F(ProxyChoice, UsesPort80WithoutAPort) {
  chooseExplicit("proxy.lan");
  expectProxy("proxy.lan", 80);
  EXPECT_THAT(callback.transcript(), ElementsAre("logInfo: HTTP proxy address: \"proxy.lan\""));
}

TEST_F(ProxyChoice, AcceptsTheHttpSchemeInAnyCase) {
  chooseExplicit("HTTP://proxy.lan:8080");
  expectProxy("proxy.lan", 8080);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy address: \"HTTP://proxy.lan:8080\""));
}

TEST_F(ProxyChoice, TakesPort0AsGiven) {
  chooseExplicit("proxy.lan:0");
  expectProxy("proxy.lan", 0);
}

TEST_F(ProxyChoice, TakesASchemeWithoutAHostForADirectConnectionWithoutAWarning) {
  chooseExplicit("http://");
  expectDirect();
  EXPECT_THAT(callback.transcript(), ElementsAre("logInfo: HTTP proxy address: \"http://\""));
}

TEST_F(ProxyChoice, TakesBlanksForAHostName) {
  chooseExplicit(" ");
  expectProxy(" ", 80);
}

TEST_F(ProxyChoice, RefusesAPathWithoutAHost) {
  chooseExplicit("/");
  expectDirect();
  EXPECT_THAT(callback.textsOf("logTaggedError"),
              ElementsAre("Ivalid http proxy address \"/\". Using direct connection."));
}

TEST_F(ProxyChoice, RefusesATrailingSlash) {
  chooseExplicit("http://proxy.lan:8080/");
  expectDirect();
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy address: \"http://proxy.lan:8080/\"",
                          "logTaggedError: [DownloaderImpl::getHttpProxyForAddr] -1: Ivalid http "
                          "proxy address \"http://proxy.lan:8080/\". Using direct connection."));
  EXPECT_EQ(callback.calls().at(1).format,
            "Ivalid http proxy address \"%s\". Using direct connection.");
}

TEST_F(ProxyChoice, RefusesAPath) {
  chooseExplicit("proxy.lan/proxy.pac");
  expectDirect();
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy address: \"proxy.lan/proxy.pac\"",
                          "logTaggedError: [DownloaderImpl::getHttpProxyForAddr] -1: Ivalid http "
                          "proxy address \"proxy.lan/proxy.pac\". Using direct connection."));
}

TEST_F(ProxyChoice, NeverUsesAProxyOverHttps) {
  chooseExplicit("https://proxy.lan:443");
  expectDirect();
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("logInfo: HTTP proxy address: \"https://proxy.lan:443\"",
                  "logTaggedError: [DownloaderImpl::getHttpProxyForAddr] -1: Unkown addressing "
                  "scheme of the http proxy address \"https://proxy.lan:443\". Using direct "
                  "connection."));
  EXPECT_EQ(callback.calls().at(1).format,
            "Unkown addressing scheme of the http proxy address \"%s\". Using direct connection.");
}

TEST_F(ProxyChoice, NeverUsesAProxyOverHttpsWithoutAPort) {
  chooseExplicit("HTTPS://proxy.lan");
  expectDirect();
  EXPECT_THAT(callback.textsOf("logTaggedError"),
              ElementsAre("Unkown addressing scheme of the http proxy address "
                          "\"HTTPS://proxy.lan\". Using direct connection."));
}

TEST_F(ProxyChoice, RefusesAnUnknownScheme) {
  chooseExplicit("socks://proxy.lan:1080");
  expectDirect();
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("logInfo: HTTP proxy address: \"socks://proxy.lan:1080\"",
                  "logTaggedError: [DownloaderImpl::getHttpProxyForAddr] -1: Unkown addressing "
                  "scheme of the http proxy address \"socks://proxy.lan:1080\". Using direct "
                  "connection."));
}

TEST_F(ProxyChoice, RefusesAnEmptyScheme) {
  chooseExplicit("://proxy.lan");
  expectDirect();
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy address: \"://proxy.lan\"",
                          "logTaggedError: [DownloaderImpl::getHttpProxyForAddr] -1: Unkown "
                          "addressing scheme of the http proxy address \"://proxy.lan\". Using "
                          "direct connection."));
}

TEST_F(ProxyChoice, CallsAnUnknownSchemeUnknownEvenWithAPath) {
  chooseExplicit("https://proxy.lan/");
  expectDirect();
  EXPECT_THAT(callback.textsOf("logTaggedError"),
              ElementsAre("Unkown addressing scheme of the http proxy address "
                          "\"https://proxy.lan/\". Using direct connection."));
}

TEST_F(ProxyChoice, CountsAnEmptyExplicitAddressAsDisabled) {
  chooseExplicit("");
  expectDirect();
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy disabled. Using direct connection."));
}

TEST_F(ProxyChoice, CountsAnAbsentExplicitAddressAsDisabled) {
  chooseExplicit(nullptr);
  expectDirect();
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy disabled. Using direct connection."));
}

TEST_F(ProxyChoice, IgnoresTheAddressWhenDisabled) {
  choose(PROXY_MODE_DISABLED, "proxy.lan:3128");
  expectDirect();
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy disabled. Using direct connection."));
}

TEST_F(ProxyChoice, AsksTheSystemInEveryOtherMode) {
  for (const std::int32_t mode : {0, 1, 4, -1, 1000000}) {
    callback.clear();
    choose(mode, "proxy.lan:3128");
    ASSERT_FALSE(callback.transcript().empty()) << mode;
    EXPECT_EQ(callback.transcript().front(), "logInfo: Using system proxy settings.") << mode;
    EXPECT_NE(std::string(host.text()), "proxy.lan") << mode;
  }
}

TEST_F(ProxyChoice, KeepsPercentSignsOfAnAddressOutOfTheFormat) {
  chooseExplicit("https://%s%n");
  EXPECT_THAT(callback.textsOf("logTaggedError"),
              ElementsAre("Unkown addressing scheme of the http proxy address \"https://%s%n\". "
                          "Using direct connection."));
}

TEST_F(ProxyChoice, LeavesTheSettingsAlone) {
  chooseExplicit("HTTP://Proxy.lan:8080");
  EXPECT_STREQ(settings.proxyAddress.text(), "HTTP://Proxy.lan:8080");
  EXPECT_STREQ(host.text(), "Proxy.lan");
}

}  // namespace
