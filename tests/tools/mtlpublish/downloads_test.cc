// Tests downloading many files at once, over plain HTTP.
#include "mtlpublish/downloads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "support/scripted_server.h"

namespace mtlpublish {
namespace {

using testing::ElementsAre;

class DownloadsTest : public testing::Test {
 protected:
  struct Result {
    std::string body{};
    std::string problem{"never ended"};
    std::int64_t announcedSize = 0;
  };

  DownloadsTest() {
    mtlupdate::SessionOptions options;
    options.address = server_.address();
    // Past whatever proxy the environment names.
    options.proxy = "";
    options.userAgent = "tester/1.2";
    EXPECT_FALSE(mtlupdate::Session::open(options, session_));
  }

  /// In the order of the targets.
  std::vector<Result> run(const std::vector<std::string>& targets) {
    std::vector<Result> results(targets.size());
    std::size_t next = 0;
    runDownloads(
        *session_,
        [&]() -> std::optional<Download> {
          if (next == targets.size()) return std::nullopt;
          Result& result = results[next];
          return Download{targets[next++], headOnly_, largestSize_,
                          [&result](std::string_view bytes) { result.body += bytes; },
                          [&result](const DownloadEnd& end) {
                            result.problem = end.problem;
                            result.announcedSize = end.announcedSize;
                          }};
        },
        [this] { ++calls_; });
    return results;
  }

  ScriptedServer server_;
  std::unique_ptr<mtlupdate::Session> session_;
  bool headOnly_ = false;
  std::int64_t largestSize_ = 1000;
  int calls_ = 0;
};

TEST_F(DownloadsTest, GivesEveryBodyOverAtMostFiveConnections) {
  std::vector<std::string> targets;
  for (int i = 0; i < 40; ++i) {
    targets.push_back("/" + std::to_string(i));
    server_.serve(targets.back(), std::string("b\0", 2) + std::to_string(i));
  }
  const auto results = run(targets);
  for (std::size_t i = 0; i < results.size(); ++i) {
    EXPECT_EQ(results[i].problem, "");
    EXPECT_EQ(results[i].body, std::string("b\0", 2) + std::to_string(i));
    EXPECT_EQ(results[i].announcedSize, static_cast<std::int64_t>(results[i].body.size()));
  }
  EXPECT_LE(server_.connectionCount(), 5);
  EXPECT_EQ(server_.requests().size(), 40U);
  EXPECT_EQ(server_.requests()[0].header("User-Agent"), "tester/1.2");
  EXPECT_GT(calls_, 0);
}

TEST_F(DownloadsTest, RunsFiveAtATime) {
  std::atomic<int> open{0};
  // None is answered before five have arrived.
  for (const char* target : {"/0", "/1", "/2", "/3", "/4"}) {
    server_.handle(target, [this, &open](const ServerRequest&, ::Socket& socket) {
      ++open;
      return server_.waitForRequests(5) && socket.send(ScriptedServer::response(200, "x"));
    });
  }
  for (const Result& result : run({"/0", "/1", "/2", "/3", "/4"}))
    EXPECT_EQ(result.body, "x");
  EXPECT_EQ(open, 5);
}

TEST_F(DownloadsTest, GoesOnAfterAFailure) {
  server_.serve("/good", "good");
  server_.serveStatus("/gone", 404, std::string(2000, 'x'));
  server_.serveStatus("/page", 404, std::string(1000000, 'x'));
  server_.serve("/large", std::string(1001, 'x'));
  server_.handle("/cut", [](const ServerRequest&, ::Socket& socket) {
    socket.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc");
    return false;
  });
  server_.handle("/moved", [](const ServerRequest&, ::Socket& socket) {
    socket.send("HTTP/1.1 302 Found\r\nLocation: /good\r\nContent-Length: 0\r\n\r\n");
    return true;
  });
  std::vector<std::string> problems;
  for (const Result& result : run({"/gone", "/page", "/large", "/cut", "/moved", "/good", "/good"}))
    problems.push_back(result.problem);
  EXPECT_THAT(problems, ElementsAre("unexpected HTTP status 404", "unexpected HTTP status 404",
                                    "it is larger than 1000 bytes", "only part of the file arrived",
                                    "unexpected HTTP status 302", "", ""));
}

TEST_F(DownloadsTest, SaysWhyNothingCanBeFetched) {
  mtlupdate::SessionOptions options;
  options.address = "http://127.0.0.1:1";
  options.proxy = "";
  ASSERT_FALSE(mtlupdate::Session::open(options, session_));
  for (const Result& result : run({"/a", "/b", "/c", "/d", "/e", "/f"}))
    EXPECT_THAT(result.problem, testing::StartsWith("could not connect to the server: "));
}

TEST_F(DownloadsTest, AsksForTheHeaderAlone) {
  headOnly_ = true;
  server_.handle("/sized", [](const ServerRequest&, ::Socket& socket) {
    socket.send("HTTP/1.1 200 OK\r\nContent-Length: 12345678901\r\n\r\n");
    return true;
  });
  server_.handle("/unsized", [](const ServerRequest&, ::Socket& socket) {
    socket.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
    return true;
  });
  const auto results = run({"/sized", "/unsized"});
  EXPECT_EQ(results[0].problem, "");
  EXPECT_EQ(results[0].announcedSize, 12345678901);
  EXPECT_EQ(results[1].problem, "");
  EXPECT_LT(results[1].announcedSize, 0);
  EXPECT_EQ(server_.requests()[0].method, "HEAD");
}

TEST_F(DownloadsTest, LooksOnceMoreWhenTheLastEndsDuringALook) {
  std::promise<void> look;
  std::promise<void> end;
  std::future<void> isEnded = end.get_future();
  server_.handle("/x", [&look](const ServerRequest&, ::Socket& socket) {
    look.get_future().wait();
    return socket.send(ScriptedServer::response(200, "x"));
  });
  std::optional<Download> download{{"/x", false, largestSize_, [](std::string_view) {},
                                    [&end](const DownloadEnd&) { end.set_value(); }}};
  bool isFirstLook = true;
  bool wasEndedAtLastLook = false;
  runDownloads(
      *session_, [&] { return std::exchange(download, std::nullopt); },
      [&] {
        wasEndedAtLastLook = isEnded.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        if (!std::exchange(isFirstLook, false)) return;
        look.set_value();
        isEnded.wait();
      });
  EXPECT_TRUE(wasEndedAtLastLook);
}

TEST_F(DownloadsTest, EndsAtOnceWithoutADownload) {
  EXPECT_TRUE(run({}).empty());
  EXPECT_EQ(server_.connectionCount(), 0);
}

}  // namespace
}  // namespace mtlpublish
