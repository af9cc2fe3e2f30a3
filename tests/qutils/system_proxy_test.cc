// Tests the user's proxy settings as they stand in the registry: the real one on Windows.
#include "qutils/system_proxy.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "plugin/error_chain.h"
#include "qutils/text_of.h"
#include "support/system_text.h"
#include "support/test_registry_key.h"

namespace {

using QUtils::CharString;
using QUtils::readSystemProxySettings;
using QUtils::SystemProxySettings;
using testing::ElementsAre;
using testing::IsEmpty;

// An environment variable that is there on every system.
std::string pathVariable() {
  const char* value = std::getenv("PATH");
  return value != nullptr ? value : "";
}

class SystemProxy : public testing::Test {
 protected:
  // What was read before, and what the record holds, when a test begins.
  SystemProxy() {
    write("before:1", "before.*");
    EXPECT_EQ(read(), "No error");
  }
  ~SystemProxy() override { write("", ""); }

  // Turns the proxy on. Empty texts are not written.
  void write(const char* server, const char* bypass) {
    TestRegistryKey key(kInternetSettingsPath);
    key.setNumber("ProxyEnable", 1);
    key.remove("ProxyServer");
    key.remove("ProxyOverride");
    if (*server != '\0') key.setText("ProxyServer", server);
    if (*bypass != '\0') key.setText("ProxyOverride", bypass);
  }

  std::string read(bool force = true) { return textOf(readSystemProxySettings(settings_, force)); }

  void expectProxies(const char* http, const char* https, const char* ftp) const {
    EXPECT_STREQ(settings_.httpProxy.text(), http);
    EXPECT_STREQ(settings_.httpsProxy.text(), https);
    EXPECT_STREQ(settings_.ftpProxy.text(), ftp);
  }
  // Writes, reads and compares the three proxies.
  void expectServer(const char* server, const char* http, const char* https, const char* ftp) {
    write(server, "");
    EXPECT_EQ(read(), "No error");
    EXPECT_EQ(settings_.enabled, 1U);
    expectProxies(http, https, ftp);
  }
  // The text of the bypass list is the last one that was read.
  void expectNothing(const char* bypassText) const {
    EXPECT_EQ(settings_.enabled, 0U);
    expectProxies("", "", "");
    EXPECT_STREQ(settings_.bypassText.text(), bypassText);
    EXPECT_THAT(bypassList(), IsEmpty());
  }

  std::vector<std::string> bypassList() const {
    std::vector<std::string> list;
    for (const CharString& entry : settings_.bypassList)
      list.emplace_back(entry.text());
    return list;
  }

  SystemProxySettings settings_;
};

TEST_F(SystemProxy, IsOffWhenProxyEnableIsZero) {
  write("proxy:8080", "*.local");
  TestRegistryKey(kInternetSettingsPath).setNumber("ProxyEnable", 0);
  EXPECT_EQ(read(), "No error");
  expectNothing("before.*");
}

TEST_F(SystemProxy, IsOnWithAnyOtherNumber) {
  for (const DWORD number : {1U, 2U, 0x80000000U}) {
    write("proxy:8080", "");
    TestRegistryKey(kInternetSettingsPath).setNumber("ProxyEnable", number);
    EXPECT_EQ(read(), "No error");
    EXPECT_EQ(settings_.enabled, 1U) << number;
  }
}

TEST_F(SystemProxy, IsOffWhenProxyEnableIsNoDword) {
  const std::uint64_t one = 1;
  TestRegistryKey key(kInternetSettingsPath);
  write("proxy:8080", "*.local");
  key.setText("ProxyEnable", "1");
  EXPECT_EQ(read(), "No error");
  expectNothing("before.*");
  key.set("ProxyEnable", REG_QWORD, &one, sizeof(one));
  EXPECT_EQ(read(), "No error");
  expectNothing("before.*");
}

TEST_F(SystemProxy, ReportsThatProxyEnableIsMissing) {
  write("proxy:8080", "*.local");
  TestRegistryKey(kInternetSettingsPath).remove("ProxyEnable");
  EXPECT_EQ(read(),
            "[QUtils::readRegistryValue] 2: Error in registry value query of ProxyEnable ((2) " +
                systemText(2, "The system cannot find the file specified.\r\n") + ")");
  expectNothing("before.*");
}

TEST_F(SystemProxy, ReportsAKeyThatCannotBeOpened) {
  TestRegistryKey::deleteKey(kInternetSettingsPath);
  EXPECT_EQ(read(),
            "[QUtils::RegistryKey::open] 2: Failed to open registry sub key: "
            "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet Settings");
  expectNothing("before.*");
}

TEST_F(SystemProxy, IsTheSameForAllSchemesWithoutASemicolon) {
  expectServer("proxy:8080", "http://proxy:8080", "http://proxy:8080", "http://proxy:8080");
}

TEST_F(SystemProxy, KeepsAnEqualSignOfAServerWithoutASemicolon) {
  expectServer("http=proxy:8080", "http://http=proxy:8080", "http://http=proxy:8080",
               "http://http=proxy:8080");
}

TEST_F(SystemProxy, PutsASecondSchemeBeforeAServerThatHasOne) {
  expectServer("http://proxy:8080", "http://http://proxy:8080", "http://http://proxy:8080",
               "http://http://proxy:8080");
}

TEST_F(SystemProxy, DiffersBySchemeWithASemicolon) {
  expectServer("http=a:1;https=b:2;ftp=c:3;socks=d:4", "http://a:1", "http://b:2", "http://c:3");
}

TEST_F(SystemProxy, TakesSchemeNamesInAnyCaseAndATrailingSemicolon) {
  expectServer("HTTPS=b:2;", "", "http://b:2", "");
  expectServer("Ftp=c:3;hTTp=a:1", "http://a:1", "", "http://c:3");
}

TEST_F(SystemProxy, SkipsAPairWithoutAnAddress) {
  expectServer("https=;http=a:1", "http://a:1", "", "");
}

TEST_F(SystemProxy, AnEmptyAddressDoesNotEraseAnEarlierOne) {
  expectServer("http=a:1;http=;", "http://a:1", "", "");
}

TEST_F(SystemProxy, IgnoresTokensWithoutAnEqualSign) {
  expectServer("proxy:8080;ftp=c:3", "", "", "http://c:3");
}

TEST_F(SystemProxy, CutsAPairAtItsFirstEqualSign) {
  expectServer("http=a=b:1;", "http://a=b:1", "", "");
}

TEST_F(SystemProxy, IgnoresUnknownSchemesAndEmptyTokens) {
  expectServer(";;httpx=x:1;htt=y:2;=z:3;;", "", "", "");
}

TEST_F(SystemProxy, DoesNotTrimBlanks) {
  expectServer("http=a:1; https=b:2;ftp = c:3", "http://a:1", "", "");
  expectServer("http= a:1 ;", "http:// a:1 ", "", "");
}

TEST_F(SystemProxy, ALaterPairReplacesAnEarlierOne) {
  expectServer("http=a:1;HTTP=b:2", "http://b:2", "", "");
}

TEST_F(SystemProxy, AddressesOfPairsKeepASchemeOfTheirOwn) {
  expectServer("http=http://a:1;https=https://b:2", "http://http://a:1", "http://https://b:2", "");
}

TEST_F(SystemProxy, IsOnButEmptyWithoutAServer) {
  expectServer("", "", "", "");
}

TEST_F(SystemProxy, IsOnButEmptyWithAServerThatIsNoText) {
  write("", "*.local");
  TestRegistryKey(kInternetSettingsPath).setNumber("ProxyServer", 8080);
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(settings_.enabled, 1U);
  expectProxies("", "", "");
  EXPECT_THAT(bypassList(), ElementsAre("*.local"));
}

TEST_F(SystemProxy, IsOnButEmptyWithAnEmptyServer) {
  write("", "");
  TestRegistryKey(kInternetSettingsPath).setText("ProxyServer", "");
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(settings_.enabled, 1U);
  expectProxies("", "", "");
}

TEST_F(SystemProxy, ReadsTheBypassListWithoutAServer) {
  write("", "*.local");
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(settings_.enabled, 1U);
  expectProxies("", "", "");
  EXPECT_THAT(bypassList(), ElementsAre("*.local"));
}

TEST_F(SystemProxy, ReadsAServerStoredWithoutATerminator) {
  write("", "");
  TestRegistryKey(kInternetSettingsPath).setText("ProxyServer", "proxy:8080", REG_SZ, false);
  EXPECT_EQ(read(), "No error");
  expectProxies("http://proxy:8080", "http://proxy:8080", "http://proxy:8080");
}

TEST_F(SystemProxy, ExpandsEnvironmentVariables) {
  write("", "");
  TestRegistryKey key(kInternetSettingsPath);
  key.setText("ProxyServer", "ftp=%PATH%;", REG_EXPAND_SZ);
  key.setText("ProxyOverride", "<%PATH%>", REG_EXPAND_SZ);
  EXPECT_EQ(read(), "No error");
  // The variable may hold separators itself.
  EXPECT_EQ(settings_.ftpProxy.text(),
            "http://" + pathVariable().substr(0, pathVariable().find(';')));
  EXPECT_EQ(settings_.bypassText.text(), "<" + pathVariable() + ">");
}

TEST_F(SystemProxy, CutsTheBypassListAtSemicolons) {
  write("proxy:8080", "*.local;;10.*");
  EXPECT_EQ(read(), "No error");
  EXPECT_STREQ(settings_.bypassText.text(), "*.local;;10.*");
  EXPECT_THAT(bypassList(), ElementsAre("*.local", "10.*"));
}

TEST_F(SystemProxy, KeepsBlanksAndMarkersOfTheBypassList) {
  write("proxy:8080", "; a ;<local>;b");
  EXPECT_EQ(read(), "No error");
  EXPECT_STREQ(settings_.bypassText.text(), "; a ;<local>;b");
  EXPECT_THAT(bypassList(), ElementsAre(" a ", "<local>", "b"));
}

TEST_F(SystemProxy, ABypassListOfSeparatorsHasNoEntries) {
  write("proxy:8080", ";;");
  EXPECT_EQ(read(), "No error");
  EXPECT_STREQ(settings_.bypassText.text(), ";;");
  EXPECT_THAT(bypassList(), IsEmpty());
}

TEST_F(SystemProxy, TheBypassListGrowsBy100Entries) {
  SystemProxySettings fresh;
  write("proxy:8080", "a");
  EXPECT_FALSE(readSystemProxySettings(fresh, true));
  EXPECT_EQ(fresh.bypassList.size(), 1U);
  EXPECT_GE(fresh.bypassList.capacity(), 100U);
}

TEST_F(SystemProxy, KeepsALongBypassList) {
  std::string text;
  for (int i = 0; i < 1234; ++i)
    text += "host" + std::to_string(i) + ";";
  write("proxy:8080", text.c_str());
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(bypassList().size(), 1234U);
  EXPECT_EQ(bypassList().back(), "host1233");
}

TEST_F(SystemProxy, IgnoresABypassListThatIsNoText) {
  write("proxy:8080", "");
  TestRegistryKey(kInternetSettingsPath).setNumber("ProxyOverride", 1);
  EXPECT_EQ(read(), "No error");
  EXPECT_THAT(bypassList(), IsEmpty());
}

TEST_F(SystemProxy, ForgetsTheEntriesOfABypassListThatIsGoneButNotItsText) {
  write("proxy:8080", "");
  EXPECT_EQ(read(), "No error");
  EXPECT_STREQ(settings_.bypassText.text(), "before.*");
  EXPECT_THAT(bypassList(), IsEmpty());
  TestRegistryKey(kInternetSettingsPath).setText("ProxyOverride", "");
  EXPECT_EQ(read(), "No error");
  EXPECT_STREQ(settings_.bypassText.text(), "before.*");
  EXPECT_THAT(bypassList(), IsEmpty());
}

TEST_F(SystemProxy, IsReadAnewOnlyWhenForced) {
  write("old:1", "old.*");
  EXPECT_EQ(read(), "No error");
  write("new:2", "new.*");
  EXPECT_EQ(read(false), "No error");
  expectProxies("http://old:1", "http://old:1", "http://old:1");
  EXPECT_THAT(bypassList(), ElementsAre("old.*"));
  EXPECT_EQ(read(true), "No error");
  expectProxies("http://new:2", "http://new:2", "http://new:2");
  EXPECT_THAT(bypassList(), ElementsAre("new.*"));
}

TEST_F(SystemProxy, ReplacesWhatTheRecordHeld) {
  settings_.enabled = 7;
  settings_.bypassList.emplace_back("left over");
  settings_.bypassText = "left over";
  settings_.ftpProxy = "left over";
  write("http=a:1;", "b");
  EXPECT_EQ(read(), "No error");
  EXPECT_EQ(settings_.enabled, 1U);
  expectProxies("http://a:1", "", "");
  EXPECT_STREQ(settings_.bypassText.text(), "b");
  EXPECT_THAT(bypassList(), ElementsAre("b"));
}

TEST_F(SystemProxy, RecordsShareTheirTexts) {
  SystemProxySettings next;
  EXPECT_FALSE(readSystemProxySettings(next, false));
  EXPECT_EQ(next.httpProxy.buffer(), settings_.httpProxy.buffer());
  EXPECT_EQ(next.httpsProxy.buffer(), settings_.httpProxy.buffer());
  EXPECT_EQ(next.ftpProxy.buffer(), settings_.httpProxy.buffer());
  EXPECT_EQ(next.bypassText.buffer(), settings_.bypassText.buffer());
  EXPECT_EQ(next.bypassList.front().buffer(), settings_.bypassList.front().buffer());
}

TEST_F(SystemProxy, ChangesToARecordDoNotReachTheNext) {
  write("a:1", "b");
  EXPECT_EQ(read(), "No error");
  settings_.httpProxy.append("/changed");
  settings_.bypassList.front().append("changed");
  SystemProxySettings next;
  EXPECT_FALSE(readSystemProxySettings(next, false));
  EXPECT_STREQ(next.httpProxy.text(), "http://a:1");
  EXPECT_STREQ(next.bypassList.front().text(), "b");
}

TEST_F(SystemProxy, AFailureIsRememberedAsNoProxy) {
  TestRegistryKey(kInternetSettingsPath).remove("ProxyEnable");
  EXPECT_NE(read(), "No error");
  write("proxy:8080", "*.local");
  EXPECT_EQ(read(false), "No error");
  expectNothing("before.*");
}

// In a process in which nothing was read before.
[[noreturn]] void readForTheFirstTime() {
  TestRegistryKey(kInternetSettingsPath).remove("ProxyEnable");
  SystemProxySettings settings;
  const ErrorChain first = readSystemProxySettings(settings, false);
  TestRegistryKey(kInternetSettingsPath).setNumber("ProxyEnable", 1);
  const ErrorChain second = readSystemProxySettings(settings, false);
  std::fprintf(stderr, "<%d, then %s, enabled %u>\n", static_cast<int>(errorCode(first, 0)),
               textOf(second).c_str(), static_cast<unsigned>(settings.enabled));
  std::_Exit(0);
}

TEST(SystemProxyDeathTest, AFailedFirstReadIsNotRepeated) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(readForTheFirstTime(), testing::ExitedWithCode(0), "<2, then No error, enabled 0>");
}

}  // namespace
