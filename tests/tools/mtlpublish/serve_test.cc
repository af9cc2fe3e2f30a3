// Tests the server of the program, asked by a real client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "mtlpublish/whole_file.h"
#include "serve_fixture.h"
#include "support/regex_matchers.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

TEST_F(Serve, AnswersWithTheFile) {
  add("maps/oak.tx", std::string("o\0k\r\n", 5));
  start();
  const Answer answer = Client().get(url_ + "maps/oak.tx");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, std::string("o\0k\r\n", 5));
  EXPECT_EQ(answer.announced, 5);
}

TEST_F(Serve, AnswersWithAnEmptyFile) {
  add("empty", "");
  start();
  const Answer answer = Client().get(url_ + "empty");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, "");
  EXPECT_EQ(answer.announced, 0);
}

TEST_F(Serve, UnderstandsPercentEncodedNames) {
  add("a b/50%41 + #1 é木.tx", "found");
  add("what?", "found too");
  start();
  EXPECT_EQ(Client().get(url_ + "a%20b/50%2541%20%2B%20%231%20%C3%A9%E6%9C%A8.tx").body, "found");
  // Windows has no such names.
  if (fs::exists(dir_.path() / "lib" / "what?")) {
    EXPECT_EQ(Client().get(url_ + "what%3F").body, "found too");
  }
}

TEST_F(Serve, AnswersHeadWithoutABody) {
  add("a", "12345");
  start();
  const Answer answer = Client().head(url_ + "a");
  EXPECT_EQ(answer.result, CURLE_OK);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, "");
  EXPECT_EQ(answer.announced, 5);
}

TEST_F(Serve, KnowsNothingElse) {
  add("maps/oak.tx", "");
  start();
  for (const char* path :
       {"", "maps", "maps/", "nothing", "maps/oak.tx/x", "%FF", "maps/oak.tx%00"}) {
    EXPECT_EQ(Client().get(url_ + path).status, 404) << path;
  }
  EXPECT_EQ(Client().post(url_ + "maps/oak.tx", "").status, 404);
}

TEST_F(Serve, TellsCachesWhatTheLibrarySays) {
  add("library.toml", "[[cache]]\nfiles = [\"*\"]\nlife = \"10m\"\n");
  for (const char* path : {"oak.mat", "filelist.json", "filelist.json.gz"})
    add(path, "1\n");
  start();
  EXPECT_EQ(Client().get(url_ + "oak.mat").headers.at("cache-control"), "max-age=600");
  EXPECT_EQ(Client().get(url_ + "filelist.json").headers.at("cache-control"), "no-cache");
  EXPECT_EQ(Client().get(url_ + "filelist.json.gz").headers.at("cache-control"), "no-cache");
  EXPECT_EQ(Client().get(url_ + "id.txt").headers.at("cache-control"), "max-age=60");
  EXPECT_EQ(Client().get(url_ + "nothing").headers.count("cache-control"), 0U);
  const Answer unmet = Client().get(url_ + "oak.mat", {"Range: bytes=100-"});
  EXPECT_EQ(unmet.status, 416);
  EXPECT_EQ(unmet.headers.count("cache-control"), 0U);
}

TEST_F(Serve, TellsCachesToKeepMapsOfALibraryThatSaysNothing) {
  add("maps/oak.tx", "1\n");
  add("oak.mat", "1\n");
  start();
  EXPECT_EQ(Client().get(url_ + "maps/oak.tx").headers.at("cache-control"),
            "max-age=31536000, immutable");
  EXPECT_EQ(Client().get(url_ + "oak.mat").headers.at("cache-control"), "no-cache");
}

const Client::Headers kBrowser{"Accept: text/html,application/xhtml+xml,*/*;q=0.8"};

TEST_F(Serve, ShowsBrowsersAPageAboutTheLibrary) {
  start();
  const Answer page = Client().get(url_, kBrowser);
  EXPECT_EQ(page.status, 200);
  EXPECT_THAT(page.body, HasSubstr("<title>lib – material library</title>"));
  EXPECT_EQ(page.headers.at("content-type"), "text/html; charset=utf-8");
  EXPECT_THAT(page.headers.at("content-security-policy"), HasSubstr("default-src 'none'"));
  const Answer head = Client().head(url_, kBrowser);
  EXPECT_EQ(head.status, 200);
  EXPECT_EQ(head.body, "");
  EXPECT_EQ(head.announced, page.announced);
  EXPECT_EQ(static_cast<std::uint64_t>(page.announced), page.size);
}

TEST_F(Serve, ShowsThePageToNobodyElse) {
  start();
  EXPECT_EQ(Client().get(url_).status, 404);
  EXPECT_EQ(Client().get(url_, {"Accept:"}).status, 404);
  EXPECT_EQ(Client().get(url_ + "nothing", kBrowser).status, 404);
  EXPECT_EQ(Client().get(url_ + "id.txt", kBrowser).body, "1\n");
  EXPECT_EQ(Client().get(url_, {kBrowser.front(), "Host: elsewhere.example"}).status, 421);
}

TEST_F(Serve, ShowsBrowsersTheLibrarysOwnIndex) {
  add("index.html", "own");
  start();
  const Answer answer = Client().get(url_, kBrowser);
  EXPECT_EQ(answer.body, "own");
  EXPECT_EQ(answer.headers.at("content-type"), "text/html");
  EXPECT_EQ(answer.headers.count("content-security-policy"), 0U);
  EXPECT_EQ(Client().get(url_).status, 404);
}

TEST_F(Serve, ShowsBrowsersAPageAboutAView) {
  add("beta/filelist.json", "[]\n");
  add("beta/id.txt", "of the view\n");
  add("maps/oak.tx", "");
  start();
  EXPECT_THAT(Client().get(url_ + "beta/", kBrowser).body, HasSubstr("<code>of the view</code>"));
  EXPECT_EQ(Client().get(url_ + "beta/").status, 404);
  EXPECT_EQ(Client().get(url_ + "maps/", kBrowser).status, 404);
  add("beta/index.html", "own");
  EXPECT_EQ(Client().get(url_ + "beta/", kBrowser).body, "own");
  EXPECT_EQ(Client().get(url_ + "beta/%2e%2e/", kBrowser).status, 404);
}

TEST_F(Serve, SaysWhyThereIsNoPage) {
  fs::remove(dir_.path() / "lib" / "id.txt");
  start();
  const Answer answer = Client().get(url_, kBrowser);
  EXPECT_EQ(answer.status, 404);
  EXPECT_THAT(answer.body, HasSubstr("run mtlpublish build first"));
}

TEST_F(Serve, ShowsTheBuildThatWasLast) {
  start();
  Client client;
  EXPECT_THAT(client.get(url_, kBrowser).body, HasSubstr("<code>1</code>"));
  add("id.txt", "2\n");
  EXPECT_THAT(client.get(url_, kBrowser).body, HasSubstr("<code>2</code>"));
}

TEST_F(Serve, NeverLeavesItsFolder) {
  writeFile(dir_ / "secret", "secret");
  std::error_code noLinksHere;
  fs::create_symlink("../secret", dir_.path() / "lib" / "link", noLinksHere);
  fs::create_directory(dir_.path() / "lib" / "a");
  start();
  for (const std::string path :
       {"../secret", "%2e%2e/secret", "..%2Fsecret", "a/../../secret", "..%5Csecret", "link"}) {
    const Answer answer = Client().get(url_ + path);
    EXPECT_EQ(answer.status, 404) << path;
    EXPECT_THAT(answer.body, testing::Not(HasSubstr("secret")));
  }
  EXPECT_EQ(Client().get(url_ + "/" + dir_ / "secret").status, 404);
}

TEST_F(Serve, ShowsAFileThatHasBeenReplaced) {
  add("id.txt", "old");
  start();
  Client client;
  EXPECT_EQ(client.get(url_ + "id.txt").body, "old");
  EXPECT_FALSE(mtlpublish::replaceFile(dir_.path() / "lib", "id.txt", "new"));
  EXPECT_EQ(client.get(url_ + "id.txt").body, "new");
}

TEST_F(Serve, KeepsAConnectionForThousandsOfRequests) {
  add("a", "1");
  start();
  Client client;
  long connects = 0;
  for (int i = 0; i < 3000; ++i) {
    const Answer answer = client.get(url_ + "a");
    ASSERT_EQ(answer.status, 200);
    connects += answer.connects;
  }
  EXPECT_EQ(connects, 1);
}

TEST_F(Serve, AnswersSeveralClientsOfFiveConnectionsAtOnce) {
  add("a", "1");
  start();
  std::vector<Client> clients(30);
  for (Client& client : clients)
    EXPECT_EQ(client.get(url_ + "a").status, 200);
}

TEST_F(Serve, SendsLargeFilesWithoutHoldingThem) {
  constexpr std::uintmax_t kSize = 268'435'456;
  add("large", "");
  fs::resize_file(dir_.path() / "lib" / "large", kSize);
  start();
  const Answer answer = Client().get(url_ + "large");
  EXPECT_EQ(answer.result, CURLE_OK);
  EXPECT_EQ(answer.size, kSize);
  EXPECT_GT(server_->peakMemory(), 0U);
  EXPECT_LT(server_->peakMemory(), kSize / 2);
}

TEST_F(Serve, EndsWellWhenItIsAskedTo) {
  for (const StopRequest& request : stopRequests()) {
    start({});
    server_->ask(request);
    const ProcessResult result = server_->wait();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
  }
}

TEST_F(Serve, EndsAtOnceThoughAConnectionIsOpen) {
  add("a", "1");
  start();
  Client client;
  EXPECT_EQ(client.get(url_ + "a").status, 200);
  server_->interrupt();
  EXPECT_EQ(server_->wait(5).exitCode, 0);
}

TEST_F(Serve, TakesThePortThatIsAskedFor) {
  add("a", "1");
  start();
  EXPECT_EQ(Client().get(url_ + "a").status, 200);
  const std::string url = url_;
  const std::string port = url.substr(17, url.size() - 18);
  server_->interrupt();
  server_->wait();
  start({"--port", port});
  EXPECT_EQ(url_, url) << "the port is free as soon as its server has ended";
}

TEST_F(Serve, SendsTheRangeThatIsAskedFor) {
  add("a", "0123456789");
  start();
  Client client;
  const auto expectPart = [&](const char* range, const char* body, const char* contentRange) {
    const Answer answer = client.get(url_ + "a", {std::string("Range: bytes=") + range});
    EXPECT_EQ(answer.result, CURLE_OK) << range;
    EXPECT_EQ(answer.status, 206) << range;
    EXPECT_EQ(answer.body, body) << range;
    EXPECT_EQ(answer.announced, static_cast<curl_off_t>(answer.body.size())) << range;
    EXPECT_EQ(answer.headers.at("content-range"), contentRange);
  };
  expectPart("0-3", "0123", "bytes 0-3/10");
  expectPart("5-", "56789", "bytes 5-9/10");
  expectPart("-3", "789", "bytes 7-9/10");
  expectPart("-30", "0123456789", "bytes 0-9/10");
  expectPart("9-9", "9", "bytes 9-9/10");
  expectPart("8-9223372036854775807", "89", "bytes 8-9/10");
}

TEST_F(Serve, RefusesARangeThatTheFileDoesNotHave) {
  add("a", "0123456789");
  add("empty", "");
  start();
  Client client;
  for (const char* range : {"10-", "20-30", "-0"}) {
    const Answer answer = client.get(url_ + "a", {std::string("Range: bytes=") + range});
    EXPECT_EQ(answer.result, CURLE_OK) << range;
    EXPECT_EQ(answer.status, 416) << range;
    EXPECT_EQ(answer.body, "") << range;
    EXPECT_EQ(answer.headers.at("content-range"), "bytes */10");
  }
  EXPECT_EQ(client.get(url_ + "empty", {"Range: bytes=0-"}).status, 416);
  EXPECT_EQ(client.get(url_ + "a", {"Range: bytes=5-2"}).status, 416);
  EXPECT_EQ(client.get(url_ + "a").body, "0123456789") << "the connection is as good as before";
}

TEST_F(Serve, SendsTheWholeFileForSeveralRanges) {
  add("a", "0123456789");
  start();
  const Answer answer = Client().get(url_ + "a", {"Range: bytes=0-1,4-5"});
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, "0123456789");
}

TEST_F(Serve, KnowsWhatTheClientHasAlready) {
  add("a", "12345");
  start();
  Client client;
  const Answer first = client.get(url_ + "a");
  const std::string tag = first.headers.at("etag");
  const std::string time = first.headers.at("last-modified");
  EXPECT_EQ(first.headers.at("accept-ranges"), "bytes");
  EXPECT_THAT(first.headers.at("date"), testing::EndsWith(" GMT"));
  for (const std::string& header :
       {"If-None-Match: " + tag, "If-None-Match: W/" + tag, "If-Modified-Since: " + time}) {
    Answer answer = client.get(url_ + "a", {header});
    EXPECT_EQ(answer.status, 304) << header;
    EXPECT_EQ(answer.body, "");
    EXPECT_EQ(answer.headers.at("etag"), tag);
    EXPECT_EQ(answer.headers.count("content-length"), 0U);
    answer = client.head(url_ + "a", {header});
    EXPECT_EQ(answer.status, 304) << header;
  }
  EXPECT_EQ(client.get(url_ + "a", {"If-None-Match: \"other\"", "If-Modified-Since: " + time}).body,
            "12345");

  EXPECT_EQ(client.get(url_ + "a", {"Range: bytes=1-2", "If-Range: " + tag}).body, "23");
  EXPECT_EQ(client.get(url_ + "a", {"Range: bytes=1-2", "If-Range: \"other\""}).body, "12345");

  EXPECT_FALSE(mtlpublish::replaceFile(dir_.path() / "lib", "a", "54321"));
  const Answer changed = client.get(url_ + "a", {"If-None-Match: " + tag});
  EXPECT_EQ(changed.status, 200);
  EXPECT_EQ(changed.body, "54321");
}

TEST_F(Serve, AnswersHeadAsItWouldGet) {
  add("a", "12345");
  start();
  Client client;
  const Answer head = client.head(url_ + "a", {"Range: bytes=1-2"});
  EXPECT_EQ(head.status, 200);
  EXPECT_EQ(head.announced, 5);
  const Answer get = client.get(url_ + "a");
  for (const char* name : {"accept-ranges", "content-type", "etag", "last-modified"})
    EXPECT_EQ(head.headers.at(name), get.headers.at(name));
}

TEST_F(Serve, KeepsToItselfWhatBuildingLeaves) {
  for (const char* name : {".mtlpublish-cache", ".mtlpublish-signed", ".mtlpublish-12.tmp"}) {
    add(name, "1");
    add(std::string("a/") + name, "2");
  }
  start();
  for (const std::string name : {".mtlpublish-cache", ".mtlpublish-signed", ".mtlpublish-12.tmp"}) {
    EXPECT_EQ(Client().get(url_ + name).status, 404);
    EXPECT_EQ(Client().get(url_ + "a/../" + name).status, 404);
    EXPECT_EQ(Client().get(url_ + "a/" + name).body, "2") << "a file like any other";
  }
}

TEST_F(Serve, LogsEachRequestInALine) {
  add("a b", "12345");
  start({});
  Client client;
  client.get(url_ + "a%20b");
  client.head(url_ + "a%20b");
  client.get(url_ + "a%20b", {"Range: bytes=1-2"});
  client.get(url_ + "none");
  client.getTarget(url_, "/a\x1B[2J");
  // Before it takes the next request, it has told of the last one.
  client.get(url_ + "none");
  server_->interrupt();
  EXPECT_THAT(server_->wait().err, MatchesPattern("GET /a%20b 200 5 bytes [0-9]+ ms\n"
                                                  "HEAD /a%20b 200 0 bytes [0-9]+ ms\n"
                                                  "GET /a%20b 206 2 bytes [0-9]+ ms\n"
                                                  "GET /none 404 0 bytes [0-9]+ ms\n"
                                                  "GET /a.x1B.2J 404 0 bytes [0-9]+ ms\n"
                                                  "(GET /none 404 0 bytes [0-9]+ ms\n)?"));
}

TEST_F(Serve, LogsNoBytesOfTheRequestBeforeOneThatIsRefusedAtOnce) {
  add("a", "12345");
  start({});
  Client client;
  client.get(url_ + "a");
  client.get(url_ + "a", {"Range: bytes=5-2"});
  // Before it takes the next request, it has told of the last one.
  client.get(url_ + "a");
  server_->interrupt();
  EXPECT_THAT(server_->wait().err, MatchesPattern("GET /a 200 5 bytes [0-9]+ ms\n"
                                                  "GET /a 416 0 bytes 0 ms\n"
                                                  "(GET /a 200 5 bytes [0-9]+ ms\n)?"));
}

TEST_F(Serve, LogsNothingWhenQuiet) {
  add("a", "1");
  start();
  EXPECT_EQ(Client().get(url_ + "a").status, 200);
  server_->interrupt();
  EXPECT_EQ(server_->wait().err, "");
}

TEST_F(Serve, WaitsBeforeEveryAnswer) {
  add("a", "1");
  start({"--quiet", "--delay", "300"});
  Client client;
  for (const char* path : {"a", "none"}) {
    const auto start = std::chrono::steady_clock::now();
    client.get(url_ + path);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
  }
}

TEST_F(Serve, EndsAtOnceThoughAnAnswerWaits) {
  add("a", "1");
  start({"--delay", "3600000"});
  auto answer = std::async(std::launch::async, [this] { return Client().get(url_ + "a"); });
  // Nobody can see that the request has arrived; whether it has makes no difference.
  answer.wait_for(std::chrono::milliseconds(100));
  server_->interrupt();
  EXPECT_EQ(server_->wait().exitCode, 0);
  EXPECT_NE(answer.get().result, CURLE_OK);
}

TEST_F(Serve, FailsWhereItIsToldTo) {
  for (const char* path : {"a.tx", "maps/b.tx", "maps/é"})
    add(path, "1");
  start({"--quiet", "--fail", "maps/*", "--fail", "id.txt", "--fail", "x*"});
  Client client;
  EXPECT_EQ(client.get(url_ + "a.tx").status, 200);
  EXPECT_EQ(client.get(url_ + "filelist.json").status, 200);
  EXPECT_EQ(client.get(url_ + "maps/b.tx").status, 503);
  EXPECT_EQ(client.get(url_ + "maps/%C3%A9").status, 503);
  EXPECT_EQ(client.head(url_ + "id.txt").status, 503);
  EXPECT_EQ(client.get(url_ + "maps/b.tx", {"Range: bytes=0-0"}).status, 503);
  EXPECT_EQ(client.get(url_ + "xyz").status, 503) << "there or not";
  EXPECT_EQ(client.get(url_ + "maps/%FF").status, 404);
}

TEST_F(Serve, WarnsOfAFolderThatIsNoLibraryYet) {
  fs::remove(dir_ / "lib/id.txt");
  const auto warning = [this](const std::string& name) {
    return "mtlpublish: warning: " + dir_ / "lib" + " has no " + name +
           "; run mtlpublish build first\n";
  };
  start({});
  server_->interrupt();
  EXPECT_EQ(server_->wait().err, warning("id.txt"));
  fs::remove(dir_ / "lib/filelist.json");
  start({});
  server_->interrupt();
  EXPECT_EQ(server_->wait().err, warning("filelist.json"));
}

TEST_F(Serve, RefusesAPortThatIsInUse) {
  start();
  const std::string port = url_.substr(17, url_.size() - 18);
  const ProcessResult result = runProcess({MTLPUBLISH, "serve", dir_ / "lib", "--port", port});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "mtlpublish: cannot listen on port " + port +
                            ": it is in use, or not for you to use\n");
}

}  // namespace
