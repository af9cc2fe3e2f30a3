// Tests what clients of the server cannot do: fill its memory, keep others out, or read the library
// through a name that is not the server's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <thread>

#include "serve_fixture.h"
#include "support/regex_matchers.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t kMegabyte = 1'000'000;
const std::string kGet = "GET /a HTTP/1.1\r\nHost: localhost\r\n\r\n";

/// A connection to the server for any bytes.
class RawClient {
 public:
  explicit RawClient(const std::string& url) {
    curl_easy_setopt(curl_.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl_.get(), CURLOPT_CONNECT_ONLY, 1L);
    EXPECT_EQ(curl_easy_perform(curl_.get()), CURLE_OK);
  }

  /// False once the server takes no more.
  bool send(std::string_view bytes) {
    return transfer([&] {
      std::size_t count = 0;
      const CURLcode result = curl_easy_send(curl_.get(), bytes.data(), bytes.size(), &count);
      bytes.remove_prefix(count);
      return result == CURLE_OK && !bytes.empty() ? CURLE_AGAIN : result;
    });
  }

  /// What comes next; "" at the end.
  std::string receive() {
    std::string bytes(4096, '\0');
    std::size_t count = 0;
    transfer([&] { return curl_easy_recv(curl_.get(), bytes.data(), bytes.size(), &count); });
    return bytes.substr(0, count);
  }

 private:
  /// Repeats a call that has to wait.
  template <class Call>
  static bool transfer(const Call& call) {
    const auto end = steady_clock::now() + std::chrono::seconds(60);
    for (;;) {
      const CURLcode result = call();
      if (result != CURLE_AGAIN || steady_clock::now() > end) return result == CURLE_OK;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  struct Cleanup {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
  };
  std::unique_ptr<CURL, Cleanup> curl_{curl_easy_init()};
};

class ServeLimits : public Serve {
 protected:
  /// Sends 600 MB in pieces behind `begin`, for as long as the server takes them.
  void expectFlatMemory(const std::string& begin, const std::string& piece) {
    RawClient client(url_);
    ASSERT_TRUE(client.send(begin));
    for (std::size_t sent = 0; sent < 600 * kMegabyte && client.send(piece); sent += piece.size()) {
    }
    EXPECT_GT(server_->peakMemory(), 0U);
    // A build with ThreadSanitizer has 100 MB from the start.
    EXPECT_LT(server_->peakMemory(), 150 * kMegabyte) << begin;
  }

  /// Starts the server, and makes more connections than it has threads, each of which sends
  /// `bytes`.
  void crowd(std::string_view bytes) {
    start();
    for (int i = 0; i < 80; ++i) {
      crowd_.emplace_back(url_);
      ASSERT_TRUE(bytes.empty() || crowd_.back().send(bytes));
    }
  }

  /// An answer that does not take the minute for which idle clients are kept.
  void expectAnswerSoon() {
    const auto start = steady_clock::now();
    EXPECT_EQ(Client().get(url_ + "a").body, "1");
    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(40));
  }

  std::list<RawClient> crowd_;
};

TEST_F(ServeLimits, RefusesARequestWithABody) {
  add("a", "1");
  start();
  EXPECT_EQ(Client().post(url_ + "a", "body").status, 413);
  EXPECT_EQ(Client().post(url_ + "none", "body").status, 413);
  for (const char* field : {"Content-Length: 1", "Transfer-Encoding: chunked",
                            "Content-Length: 1\r\nExpect: 100-continue"}) {
    RawClient client(url_);
    client.send("GET /a HTTP/1.1\r\nHost: localhost\r\n" + std::string(field) + "\r\n\r\n" + kGet);
    std::string answer;
    for (std::string piece; !(piece = client.receive()).empty();)
      answer += piece;
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 413 ")) << field;
    EXPECT_THAT(answer, HasSubstr("\r\nConnection: close\r\n")) << field;
    EXPECT_EQ(answer.find("HTTP/1.1", 1), answer.npos) << "what follows is not a request";
  }
  EXPECT_EQ(Client().get(url_ + "a", {"Content-Length: 0"}).body, "1");
}

TEST_F(ServeLimits, HoldsNoBody) {
  start();
  const std::string piece(kMegabyte, 'x');
  const std::string post = "POST /a HTTP/1.1\r\nHost: localhost\r\n";
  expectFlatMemory(post + "Content-Length: 1000000000000\r\n\r\n", piece);
  expectFlatMemory(post + "Transfer-Encoding: chunked\r\n\r\n", "f4240\r\n" + piece + "\r\n");
  expectFlatMemory(post + "\r\n", piece);
}

TEST_F(ServeLimits, HoldsNoHeaderWithoutAnEnd) {
  start();
  expectFlatMemory("GET /", std::string(kMegabyte, 'x'));
  std::string fields;
  while (fields.size() < kMegabyte)
    fields += "Field: " + std::string(1000, 'x') + "\r\n";
  expectFlatMemory("GET /a HTTP/1.1\r\n", fields);
}

TEST_F(ServeLimits, AnswersBesideConnectionsThatSendNothing) {
  add("a", "1");
  crowd("");
  expectAnswerSoon();
}

TEST_F(ServeLimits, AnswersBesideConnectionsThatAreKeptForLater) {
  add("a", "1");
  crowd(kGet);
  expectAnswerSoon();
}

TEST_F(ServeLimits, AnswersBesideRequestsThatAreNotCompleted) {
  add("a", "1");
  crowd("GET /a HT");
  expectAnswerSoon();
}

TEST_F(ServeLimits, AnswersBesideBodiesThatAreNotCompleted) {
  add("a", "1");
  crowd("POST /a HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000\r\n\r\nx");
  expectAnswerSoon();
}

TEST_F(ServeLimits, AnswersBesideClientsThatDoNotReadTheirAnswers) {
  add("a", "1");
  add("large", "");
  fs::resize_file(dir_.path() / "lib" / "large", 100 * kMegabyte);
  crowd("GET /large HTTP/1.1\r\nHost: localhost\r\n\r\n");
  expectAnswerSoon();
}

TEST_F(ServeLimits, KeepsAnIdleConnectionWhileThereAreThreads) {
  add("a", "1");
  start();
  Client client;
  EXPECT_EQ(client.get(url_ + "a").connects, 1);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const Answer answer = client.get(url_ + "a");
  EXPECT_EQ(answer.body, "1");
  EXPECT_EQ(answer.connects, 0);
}

TEST_F(ServeLimits, AnswersRequestsThatComeInPiecesAndTogether) {
  add("a", "1");
  start();
  RawClient client(url_);
  client.send("GET /a HT");
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  client.send("TP/1.1\r\nHost: localhost\r\n\r\n" + kGet);
  std::string answers;
  const testing::Matcher<std::string> areTwo =
      MatchesPattern("HTTP/1.1 200 [^]*\r\n\r\n1HTTP/1.1 200 [^]*\r\n\r\n1");
  while (!areTwo.Matches(answers)) {
    const std::string more = client.receive();
    ASSERT_NE(more, "") << answers;
    answers += more;
  }
}

TEST_F(ServeLimits, AnswersOnlyRequestsForItsOwnHost) {
  add("a", "1");
  start({"--quiet", "--host-name", "Maps.lan", "--host-name", "other"});
  Client client;
  for (const char* host : {"127.0.0.1", "localhost:80", "maps.lan:8080", "other"})
    EXPECT_EQ(client.get(url_ + "a", {std::string("Host: ") + host}).body, "1") << host;
  for (const char* host : {"evil.example", "evil.example:80", "127.0.0.1.evil.example", "lan"}) {
    const Answer answer = client.get(url_ + "a", {std::string("Host: ") + host});
    EXPECT_EQ(answer.status, 421) << host;
    EXPECT_THAT(answer.body, HasSubstr("--host-name")) << host;
  }
  EXPECT_EQ(client.get(url_ + "a", {"Host:"}).status, 421) << "no such field";
  RawClient ambiguous(url_);
  ambiguous.send("GET /a HTTP/1.1\r\nHost: localhost\r\nHost: evil.example\r\n\r\n");
  EXPECT_THAT(ambiguous.receive(), StartsWith("HTTP/1.1 400 "));
}

}  // namespace
