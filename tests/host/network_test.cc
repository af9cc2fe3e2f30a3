// Tests how requests are sent: proxies, fields, queries and limits of the settings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>

#include "mtlhost/library.h"
#include "mtlhost/update.h"
#include "recording_observer.h"
#include "support/published_library.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace mtlhost {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kSecret = "s3cret";

class NetworkTest : public testing::Test {
 protected:
  NetworkTest() {
    settings_.remoteAddress = library_.address();
    settings_.targetDirectory = directory_ / "copy";
    settings_.proxyMode = PROXY_MODE_DISABLED;
    settings_.update.tries = 1;
    library_.publish("one", {{"a", "a"}});
  }

  /// What opening or a run says; "" when all is well.
  Error failure() {
    Errors problem;
    auto library = Library::open(settings_, observer_, problem);
    if (library) problem = library->run().errors;
    expectNoSecret(problem);
    if (!problem.empty()) {
      EXPECT_NE(problem.front().about, "") << problem.front().sentence;
    }
    return problem.empty() ? Error() : problem.front();
  }

  void expectNoSecret(const Errors& errors) {
    for (const Error& error : errors) {
      EXPECT_THAT(error.message + error.about + error.sentence + error.hint,
                  Not(HasSubstr(kSecret)));
    }
    for (const std::string& line : observer_.lines)
      EXPECT_THAT(line, Not(HasSubstr(kSecret)));
  }

  /// The library's server as a proxy for another one.
  void useProxy(const std::string& address) {
    settings_.proxyMode = PROXY_MODE_EXPLICIT;
    settings_.proxyAddress = address;
  }

  void useModule() { settings_.moduleFile = MTLLIB_MODULE; }

  TempDir directory_;
  ScriptedServer server_;
  PublishedLibrary library_{server_, "/lib"};
  RecordingObserver observer_;
  Settings settings_;
};

TEST_F(NetworkTest, RefusesProxiesThatCannotBeUsedBeforeAnythingIsSent) {
  for (const bool isModule : {false, true}) {
    if (isModule) useModule();
    for (const std::string scheme : {"socks5://", "https://", "socks4a://"}) {
      useProxy(scheme + "ada:" + kSecret + "@proxy.lan:1080");
      const Error error = failure();
      EXPECT_EQ(error.kind, ErrorKind::kProxy) << scheme;
      EXPECT_EQ(error.about, scheme + "proxy.lan:1080");
    }
    for (const char* address : {"", "http://", ":3128", "proxy.lan:0", "proxy.lan:99999",
                                "proxy.lan:x", "http://proxy.lan/path", "a b"}) {
      useProxy(address);
      EXPECT_EQ(failure().kind, ErrorKind::kProxy) << address;
    }
  }
  EXPECT_THAT(server_.requestLines(), IsEmpty());
}

TEST_F(NetworkTest, ShowsTheProxyWhoAsks) {
  settings_.remoteAddress = "http://library.invalid/lib";
  const auto credentials = [&] {
    failure();
    return server_.requests().back().header("Proxy-Authorization");
  };
  const std::string proxy = "127.0.0.1:" + std::to_string(server_.port());
  useProxy("http://a%40b:" + std::string(kSecret) + "@" + proxy);
  EXPECT_EQ(credentials(), "Basic YUBiOnMzY3JldA==");
  settings_.network.proxyUser = "eve";
  settings_.network.proxyPassword = kSecret;
  EXPECT_EQ(credentials(), "Basic ZXZlOnMzY3JldA==") << "comes first";
  useProxy(proxy);
  EXPECT_EQ(credentials(), "Basic ZXZlOnMzY3JldA==");
}

TEST_F(NetworkTest, RefusesAPasswordWithoutAUser) {
  settings_.network.proxyPassword = kSecret;
  for (const bool isModule : {false, true}) {
    if (isModule) useModule();
    EXPECT_EQ(failure().kind, ErrorKind::kSettings);
  }
  EXPECT_THAT(server_.requestLines(), IsEmpty());
}

TEST_F(NetworkTest, AppendsTheQueryToEveryRequestAndShowsItToNobody) {
  settings_.network.query = std::string("sig=") + kSecret;
  const Error error = failure();
  EXPECT_THAT(server_.requestLines(),
              testing::ElementsAre(std::string("GET /lib/id.txt?sig=") + kSecret));
  EXPECT_EQ(error.about, library_.address() + "/id.txt");
  settings_.network.query = std::string("a b ") + kSecret;
  EXPECT_EQ(failure().kind, ErrorKind::kSettings);
}

TEST_F(NetworkTest, KeepsItsSecretsFromMirrors) {
  ScriptedServer other;
  PublishedLibrary mirror(other, "/lib");
  mirror.publish("one", {{"a", "a"}});
  server_.serveStatus("/lib/id.txt", 404, "");
  settings_.network.query = kSecret;
  settings_.mirrors = {mirror.address()};
  EXPECT_EQ(failure().message, "");
  EXPECT_THAT(server_.requestLines(), testing::Each(testing::EndsWith(kSecret)));
  EXPECT_THAT(other.requestLines(), testing::Contains("GET /lib/id.txt"));
  EXPECT_THAT(other.requestLines(), testing::Each(Not(HasSubstr(kSecret))));
}

TEST_F(NetworkTest, NamesItself) {
  EXPECT_EQ(failure().message, "");
  EXPECT_EQ(server_.requests().back().header("User-Agent").rfind("mtllib/", 0), 0U);
  settings_.network.userAgent = "modeller/2.1";
  settings_.targetDirectory = directory_ / "other";
  EXPECT_EQ(failure().message, "");
  EXPECT_EQ(server_.requests().back().header("User-Agent"), "modeller/2.1");
  settings_.network.userAgent = "a\r\nb";
  EXPECT_EQ(failure().kind, ErrorKind::kSettings);
}

TEST_F(NetworkTest, SendsNoFieldsWithoutTls) {
  settings_.network.fields = {{"Authorization", kSecret}};
  EXPECT_EQ(failure().kind, ErrorKind::kAddress);
  EXPECT_THAT(server_.requestLines(), IsEmpty());
}

TEST_F(NetworkTest, RefusesFieldsThatWouldChangeTheRequest) {
  settings_.remoteAddress = "https://127.0.0.1:1/lib";
  for (const char* name : {"Host", "content-length", "Range", "a b", "", "X\r\nY"}) {
    settings_.network.fields = {{name, kSecret}};
    EXPECT_EQ(failure().kind, ErrorKind::kSettings) << name;
  }
  settings_.network.fields = {{"X", std::string("a\r\n") + kSecret}};
  EXPECT_EQ(failure().kind, ErrorKind::kSettings);
  settings_.network.fields = {{"X", kSecret}};
  EXPECT_EQ(failure().kind, ErrorKind::kConnection) << "was to be sent";
}

TEST_F(NetworkTest, RefusesAddressesWithAPassword) {
  for (const bool isModule : {false, true}) {
    if (isModule) useModule();
    settings_.remoteAddress =
        "http://ada:" + std::string(kSecret) + "@127.0.0.1:" + std::to_string(server_.port());
    const Error error = failure();
    EXPECT_EQ(error.kind, ErrorKind::kAddress);
    EXPECT_EQ(error.about, server_.address());
  }
  EXPECT_THAT(server_.requestLines(), IsEmpty());
}

TEST_F(NetworkTest, IsNotForTheModule) {
  useModule();
  const auto refused = [&](NetworkSettings network) {
    settings_.network = std::move(network);
    EXPECT_EQ(failure().kind, ErrorKind::kSettings);
  };
  NetworkSettings network;
  network.caFile = "ca.pem";
  refused(network);
  network = {};
  network.proxyUser = "ada";
  refused(network);
  network = {};
  network.fields = {{"X", kSecret}};
  refused(network);
  network = {};
  network.query = kSecret;
  refused(network);
  network = {};
  network.stallTimeout = std::chrono::seconds(1);
  refused(network);
  settings_.update.timeLimit = std::chrono::seconds(1);
  refused({});
  settings_.update.timeLimit.reset();
  settings_.update.bytesPerSecond = 1;
  refused({});
  settings_.update.bytesPerSecond = 0;
  useProxy("ada:" + std::string(kSecret) + "@127.0.0.1:1");
  settings_.network = {};
  EXPECT_EQ(failure().kind, ErrorKind::kProxy);
  EXPECT_THAT(server_.requestLines(), IsEmpty());
}

TEST_F(NetworkTest, LimitsWhatTheModuleReceives) {
  useModule();
  settings_.update.largestTotal = 10;
  Errors problem;
  const Result result = Library::open(settings_, observer_, problem)->run();
  EXPECT_EQ(result.status, Result::Status::kFailed);
  EXPECT_EQ(result.failure, Result::Failure::kLimit);
  EXPECT_EQ(result.errors.front().kind, ErrorKind::kLimit);
  EXPECT_THAT(result.errors.front().about, testing::StartsWith(library_.address()));
  EXPECT_EQ(result.errors.back().message, "Download aborted (1)");
}

TEST_F(NetworkTest, TakesAnyTimeLimitButNegativeOnes) {
  settings_.network.connectTimeout = std::chrono::milliseconds::max();
  settings_.network.stallTimeout = std::chrono::seconds::max();
  EXPECT_EQ(failure().message, "");
  settings_.network.stallTimeout = std::chrono::seconds(-1);
  EXPECT_EQ(failure().kind, ErrorKind::kSettings);
}

TEST_F(NetworkTest, TriesARequestOnceToAHundredAndOneTimes) {
  for (const int tries : {-1, 0, kMostTries + 1}) {
    settings_.update.tries = tries;
    const Error error = failure();
    EXPECT_EQ(error.kind, ErrorKind::kSettings) << tries;
    EXPECT_EQ(error.message,
              "A request can be tried 1 to 101 times, not " + std::to_string(tries) + " times");
  }
  EXPECT_THAT(server_.requestLines(), IsEmpty());
  settings_.update.tries = kMostTries;
  EXPECT_EQ(failure().message, "");
}

TEST_F(NetworkTest, LeavesAServerThatStandsStill) {
  settings_.network.stallTimeout = std::chrono::seconds(1);
  server_.hold("/lib/id.txt");
  const Error error = failure();
  EXPECT_EQ(error.kind, ErrorKind::kConnection);
  EXPECT_EQ(error.about, library_.address() + "/id.txt");
  EXPECT_THAT(error.sentence, HasSubstr("the server stopped responding"));
}

/// The module's chain says only why when one of the last files fails.
TEST_F(NetworkTest, NamesTheFileThatTheModuleDidNotGet) {
  useModule();
  library_.publish("two", {{"a", "aa"}, {"b", "b"}, {"c", "cc"}, {"d", "d"}});
  server_.remove("/lib/c");
  const Error error = failure();
  EXPECT_EQ(error.message, "Unexpected HTTP status (404)");
  EXPECT_EQ(error.about, library_.address() + "/c");
  server_.serveStatus("/lib/c", 404, "cc");
  EXPECT_EQ(failure().about, library_.address() + "/c") << "whatever comes with it";
}

}  // namespace
}  // namespace mtlhost
