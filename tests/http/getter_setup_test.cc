// Tests making a configured client pool from the remote address, and ending it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "fakes/downloader_fixture.h"
#include "http/http_getter.h"
#include "plugin/error_chain.h"
#include "qutils/system_proxy.h"
#include "support/test_registry_key.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using GetterSetup = DownloaderFixture;

TEST_F(GetterSetup, ConfiguresThePoolInOrder) {
  settings.remoteAddress = "http://h:8080/a/b";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_THAT(network.log(),
              ElementsAre("initialize(5)", "setMode(2)", "setServer(\"h\", 8080, null)",
                          "setProxyServer(null, 80)", "setCallbacks(64, not null)",
                          "setHeaders(\"User-Agent: mtldownloader\", 0)"));
  EXPECT_STREQ(downloader.remotePath.text(), "/a/b");
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy disabled. Using direct connection."));
}

TEST_F(GetterSetup, TurnsOnTlsForHttps) {
  settings.remoteAddress = "HTTPS://h/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_THAT(
      network.log(),
      ElementsAre("initialize(5)", "setMode(2)", "setServer(\"h\", 443, null)",
                  "setSSLContext(the context's)", "setProxyServer(null, 80)",
                  "setCallbacks(64, not null)", "setHeaders(\"User-Agent: mtldownloader\", 0)"));
  EXPECT_STREQ(downloader.remotePath.text(), "/lib");
}

/// Everything that a set-up calls, of the library and of the host.
class CompleteSetup : public DownloaderFixture {
 protected:
  CompleteSetup() {
    network.onCall = [this](const std::string& call) {
      for (const std::string& line : callback.transcript())
        order.push_back(line);
      callback.clear();
      order.push_back(call);
    };
  }
  ~CompleteSetup() override { network.onCall = nullptr; }

  std::vector<std::string> order;
};

TEST_F(CompleteSetup, ChoosesTheProxyBeforeItConfiguresAnythingAndDropsTheHeaderListLast) {
  settings.remoteAddress = "https://h:444/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_THAT(order,
              ElementsAre("initialize(5)", "parseServerWithPort(\"h:444\")",
                          "logInfo: HTTP proxy disabled. Using direct connection.", "setMode(2)",
                          "setServer(\"h\", 444, null)", "setSSLContext(the context's)",
                          "setProxyServer(null, 80)", "setCallbacks(64, not null)", "Headers()",
                          "internalSet(\"User-Agent\", -2, \"mtldownloader\", -1, 1, null)",
                          "setHeaders(\"User-Agent: mtldownloader\", 0)", "~Headers()"));
}

TEST_F(CompleteSetup, ParsesNoEmptyHost) {
  settings.remoteAddress = "http:///lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_THAT(order,
              ElementsAre("initialize(5)", "logInfo: HTTP proxy disabled. Using direct connection.",
                          "setMode(2)", "setServer(\"\", 80, null)", "setProxyServer(null, 80)",
                          "setCallbacks(64, not null)", "Headers()",
                          "internalSet(\"User-Agent\", -2, \"mtldownloader\", -1, 1, null)",
                          "setHeaders(\"User-Agent: mtldownloader\", 0)", "~Headers()"));
}

TEST_F(GetterSetup, TakesAnAddressWithoutSchemeAsHttp) {
  settings.remoteAddress = "h/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(2), "setServer(\"h\", 80, null)");
  EXPECT_EQ(network.log().at(3), "setProxyServer(null, 80)");
  EXPECT_STREQ(downloader.remotePath.text(), "/lib");
}

TEST_F(GetterSetup, AcceptsAnUpperCaseHttpScheme) {
  settings.remoteAddress = "HTTP://h/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(2), "setServer(\"h\", 80, null)");
  EXPECT_EQ(network.log().at(3), "setProxyServer(null, 80)");
}

TEST_F(GetterSetup, LeavesTheRemotePathAloneWithoutAPath) {
  settings.remoteAddress = "hTTpS://h";
  downloader.remotePath = "/as/before";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(2), "setServer(\"h\", 443, null)");
  EXPECT_EQ(network.log().at(3), "setSSLContext(the context's)");
  EXPECT_STREQ(downloader.remotePath.text(), "/as/before");
}

TEST_F(GetterSetup, LetsAnExplicitPortWinOverTheDefault) {
  settings.remoteAddress = "https://h:80/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(2), "setServer(\"h\", 80, null)");
  EXPECT_EQ(network.log().at(3), "setSSLContext(the context's)");
}

TEST_F(GetterSetup, TakesPortZeroAsGiven) {
  settings.remoteAddress = "http://h:0/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(2), "setServer(\"h\", 0, null)");
}

TEST_F(GetterSetup, LetsTheNetworkJudgeAnEmptyHost) {
  settings.remoteAddress = "http:///lib";
  network.failSetup("setServer", "Invalid server \"\", port 80");
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  EXPECT_EQ(network.log().at(2), "setServer(\"\", 80, null)");
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::initHttpGetter] -1: Could not use download URL "
                          "\"http:///lib\" | [HttpClientPool::setServer] -1: Invalid server \"\", "
                          "port 80"));
}

TEST_F(GetterSetup, GivesAnEmptyHttpsHostThePortOfHttps) {
  settings.remoteAddress = "https://";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(2), "setServer(\"\", 443, null)");
}

TEST_F(GetterSetup, PassesAnExplicitProxyOn) {
  settings.proxyMode = PROXY_MODE_EXPLICIT;
  settings.proxyAddress = "proxy.lan:3128";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(3), "setProxyServer(\"proxy.lan\", 3128)");
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy address: \"proxy.lan:3128\""));
}

TEST_F(GetterSetup, ConnectsDirectlyWhenTheProxyIsUnusable) {
  settings.proxyMode = PROXY_MODE_EXPLICIT;
  settings.proxyAddress = "https://proxy.lan:443";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(3), "setProxyServer(null, 80)");
}

TEST_F(GetterSetup, PassesThePortOfAProxyWithoutHost) {
  settings.proxyMode = PROXY_MODE_EXPLICIT;
  settings.proxyAddress = ":3128";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(3), "setProxyServer(null, 3128)");
}

TEST_F(GetterSetup, LetsTheNetworkJudgeAPortThatIsNone) {
  settings.proxyMode = PROXY_MODE_EXPLICIT;
  settings.proxyAddress = "proxy.lan:99999";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(3), "setProxyServer(\"proxy.lan:99999\", 80)");
}

TEST_F(GetterSetup, RefusesAnUnknownScheme) {
  settings.remoteAddress = "ftp://h/x";
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("reportError: [DownloaderImpl::initHttpGetter] -1: Could not use download "
                  "URL \"ftp://h/x\" | [DownloaderImpl::initHttpGetter] -1: Unkown "
                  "addressing scheme"));
  EXPECT_THAT(network.log(), ElementsAre("initialize(5)", "destroy()"));
  EXPECT_EQ(downloader.httpGetter, nullptr);
  EXPECT_STREQ(downloader.remotePath.text(), "/x");
}

TEST_F(GetterSetup, RefusesAnUnknownSchemeWithAPort) {
  settings.remoteAddress = "ftp://h:80/x";
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::initHttpGetter] -1: Could not use download URL "
                          "\"ftp://h:80/x\" | [DownloaderImpl::initHttpGetter] -1: Unkown "
                          "addressing scheme"));
  EXPECT_EQ(downloader.httpGetter, nullptr);
}

TEST_F(GetterSetup, RefusesAnEmptyScheme) {
  settings.remoteAddress = "://h";
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::initHttpGetter] -1: Could not use download URL "
                          "\"://h\" | [DownloaderImpl::initHttpGetter] -1: Unkown addressing "
                          "scheme"));
  EXPECT_THAT(network.log(), ElementsAre("initialize(5)", "destroy()"));
  EXPECT_EQ(downloader.httpGetter, nullptr);
}

TEST_F(GetterSetup, NamesAnAbsentAddressAsEmpty) {
  settings.remoteAddress.release();
  network.failSetup("setServer", "No host");
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::initHttpGetter] -1: Could not use download URL \"\" | "
                          "[HttpClientPool::setServer] -1: No host"));
}

TEST_F(GetterSetup, KeepsTheGetterWhenCalledAgain) {
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  const HttpGetter* const getter = downloader.httpGetter;
  network.clearLog();
  callback.clear();
  settings.remoteAddress = "ftp://elsewhere/other";
  settings.proxyMode = PROXY_MODE_EXPLICIT;
  settings.proxyAddress = "proxy.lan";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(downloader.httpGetter, getter);
  EXPECT_STREQ(downloader.remotePath.text(), "/lib");
  EXPECT_THAT(network.log(), IsEmpty());
  EXPECT_THAT(callback.transcript(), IsEmpty());
}

TEST_F(GetterSetup, StartsAnewAfterAFailure) {
  settings.remoteAddress = "ftp://h/x";
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  settings.remoteAddress = "http://h/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_NE(downloader.httpGetter, nullptr);
  EXPECT_STREQ(downloader.remotePath.text(), "/lib");
}

TEST_F(GetterSetup, BeginsWithIdleSlotsAndNoProgress) {
  ASSERT_EQ(downloader.initHttpGetter(), 0);
  const HttpGetter& getter = *downloader.httpGetter;
  for (const RequestSlot& slot : getter.requestSlots) {
    EXPECT_EQ(slot.busy, 0U);
    EXPECT_EQ(slot.tag, 0U);
    EXPECT_FALSE(slot.error);
    EXPECT_EQ(slot.status, 0U);
    EXPECT_EQ(slot.expectedSize, 0);
    EXPECT_EQ(slot.bytesWritten, 0);
    EXPECT_EQ(slot.stream, nullptr);
  }
  EXPECT_EQ(getter.callback, &callback);
  EXPECT_EQ(getter.totalBytes, 0);
  EXPECT_EQ(getter.receivedBytes.load(), 0);
  EXPECT_EQ(getter.phaseText.buffer(), nullptr);
  EXPECT_EQ(getter.lastPermille, 0);
  EXPECT_EQ(getter.lastMegabytes, 0U);
}

TEST_F(GetterSetup, RegistersItsCallbacksWithItselfAsUserPointer) {
  ASSERT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.userPointer(), downloader.httpGetter);
  EXPECT_EQ(network.callbacks().flags, 64);
  EXPECT_EQ(network.callbacks().onSent, &HttpGetter::responseSentCb);
  EXPECT_EQ(network.callbacks().onStatus, &HttpGetter::responseStatusCb);
  EXPECT_EQ(network.callbacks().onData, &HttpGetter::responseProgressCb);
  EXPECT_EQ(network.callbacks().onError, &HttpGetter::responseErrorCb);
  EXPECT_EQ(network.callbacks().reserved1, nullptr);
  EXPECT_EQ(network.callbacks().reserved2, nullptr);
}

/// Every call is made whatever the others gave, and the failure is the cause reported.
class FailingSetup : public DownloaderFixture, public testing::WithParamInterface<const char*> {
 protected:
  /// The chain that a failure of `operation` gives.
  static std::string chainOf(const std::string& operation) {
    return "[DownloaderImpl::initHttpGetter] -1: Could not use download URL \"https://h/lib\" | "
           "[HttpClientPool::" +
           operation + "] -1: No such luck";
  }
};

TEST_P(FailingSetup, ReportsTheCauseAndDestroysTheGetter) {
  settings.remoteAddress = "https://h/lib";
  network.failSetup(GetParam(), "No such luck");
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  EXPECT_THAT(network.log(),
              ElementsAre("initialize(5)", "setMode(2)", "setServer(\"h\", 443, null)",
                          "setSSLContext(the context's)", "setProxyServer(null, 80)",
                          "setCallbacks(64, not null)",
                          "setHeaders(\"User-Agent: mtldownloader\", 0)", "destroy()"));
  EXPECT_EQ(downloader.httpGetter, nullptr);
  EXPECT_THAT(callback.errors(), ElementsAre(chainOf(GetParam())));
  EXPECT_EQ(callback.chains().at(0).head->code, -1);
}

INSTANTIATE_TEST_SUITE_P(EachCall, FailingSetup,
                         testing::Values("setMode", "setServer", "setSSLContext", "setProxyServer",
                                         "setCallbacks", "setHeaders"),
                         [](const auto& parameter) { return std::string(parameter.param); });

TEST_F(GetterSetup, ReportsSeveralFailuresAsOneChain) {
  network.failSetup("setMode", "first");
  network.failSetup("setServer", "second");
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::initHttpGetter] -1: Could not use download URL "
                          "\"http://h/lib\" | [HttpClientPool::setServer] -1: second | "
                          "[HttpClientPool::setMode] -1: first"));
}

TEST_F(GetterSetup, IgnoresTheResultsOfTheCalls) {
  settings.remoteAddress = "https://h/lib";
  for (const char* operation :
       {"setMode", "setServer", "setSSLContext", "setProxyServer", "setCallbacks", "setHeaders"}) {
    network.answerSetup(operation, 0);
  }
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_NE(downloader.httpGetter, nullptr);
  EXPECT_THAT(callback.errors(), IsEmpty());
}

TEST_F(GetterSetup, FailsOnAnErrorThatComesWithAGoodResult) {
  network.failSetup("setCallbacks", "No such luck");
  network.answerSetup("setCallbacks", 1);
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  EXPECT_EQ(downloader.httpGetter, nullptr);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::initHttpGetter] -1: Could not use download URL "
                          "\"http://h/lib\" | [HttpClientPool::setCallbacks] -1: No such luck"));
}

TEST_F(GetterSetup, LeavesTheReportedChainToWhoCopiedIt) {
  network.failSetup("setServer", "No such luck");
  EXPECT_EQ(downloader.initHttpGetter(), -1);
  const ErrorRecord* const head = callback.chains().at(0).head;
  EXPECT_EQ(head->refCount, 1U);
  EXPECT_EQ(head->next->refCount, 1U);
}

/// The system's proxy settings name a proxy and the servers that need none.
class SystemProxySetup : public DownloaderFixture {
 protected:
  SystemProxySetup() { settings.proxyMode = PROXY_MODE_SYSTEM; }
  ~SystemProxySetup() override {
    bypass(0, "");
    TestRegistryKey key(kInternetSettingsPath);
    key.remove("ProxyServer");
    key.remove("ProxyOverride");
  }

  static void bypass(DWORD enabled, const char* patterns) {
    TestRegistryKey key(kInternetSettingsPath);
    key.setNumber("ProxyEnable", enabled);
    key.setText("ProxyServer", "proxy.lan:3128");
    key.setText("ProxyOverride", patterns);
    QUtils::SystemProxySettings forgotten;
    EXPECT_FALSE(QUtils::readSystemProxySettings(forgotten, true));
  }
};

TEST_F(SystemProxySetup, AsksForTheHostWithoutSchemePortAndPath) {
  bypass(1, "http*;*:8080;*/lib");
  settings.remoteAddress = "http://files.example:8080/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(3), "setProxyServer(\"proxy.lan\", 3128)");
}

TEST_F(SystemProxySetup, ConnectsDirectlyToABypassedHost) {
  bypass(1, "files.example");
  settings.remoteAddress = "https://files.example:8080/lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(4), "setProxyServer(null, 80)");
}

TEST_F(SystemProxySetup, AsksForAnEmptyTextWithoutAHost) {
  bypass(1, "*");
  settings.remoteAddress = "http:///lib";
  EXPECT_EQ(downloader.initHttpGetter(), 0);
  EXPECT_EQ(network.log().at(3), "setProxyServer(null, 80)");
}

/// Ends a getter while a text and an error are held elsewhere too.
class GetterTeardown : public testing::Test {
 protected:
  GetterTeardown() {
    getter = new (QUtils::qmalloc(sizeof(HttpGetter))) HttpGetter(&callback);
    getter->pool.initialize(kHttpClientCount);
    getter->phaseText = caption;
    getter->requestSlots[kHttpClientCount - 1].error = error;
    network.clearLog();
    network.onCall = [this](const std::string&) { expectHolders(2); };
  }

  void expectHolders(std::uint32_t count) const {
    EXPECT_EQ(caption.buffer()->refCount.load(), count);
    EXPECT_EQ(error.head->refCount, count);
  }

  FakeNetwork network;
  RecordingCallback callback;
  const QUtils::CharString caption{"Downloading files"};
  const ErrorChain error = makeError("Test", 5, "broken");
  HttpGetter* getter = nullptr;
};

TEST_F(GetterTeardown, DestroysThePoolBeforeItReleasesWhatTheGetterHolds) {
  destroyHttpGetter(getter, true);
  EXPECT_THAT(network.log(), ElementsAre("destroy()"));
  expectHolders(1);
}

TEST_F(GetterTeardown, LeavesTheMemoryWhenToldSo) {
  destroyHttpGetter(getter, false);
  EXPECT_THAT(network.log(), ElementsAre("destroy()"));
  expectHolders(1);
  QUtils::qfree(getter);
}

}  // namespace
