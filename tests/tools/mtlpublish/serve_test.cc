// The server of the program, asked by a real client.
#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "mtlpublish/replace_file.h"
#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

struct Answer {
  CURLcode result = CURLE_OK;
  long status = 0;
  std::string body;
  std::uint64_t size = 0;
  /// The length that the server announces; -1 when it does not.
  curl_off_t announced = -1;
  /// New connections that were made.
  long connects = 0;
};

/// Keeps one connection.
class Client {
 public:
  Client() { curl_easy_setopt(curl_.get(), CURLOPT_PATH_AS_IS, 1L); }

  Answer get(const std::string& url) { return request(url); }
  Answer head(const std::string& url) {
    curl_easy_setopt(curl_.get(), CURLOPT_NOBODY, 1L);
    return request(url);
  }
  Answer post(const std::string& url) {
    curl_easy_setopt(curl_.get(), CURLOPT_POSTFIELDS, "body");
    return request(url);
  }

 private:
  static std::size_t receive(const char* data, std::size_t /*one*/, std::size_t count,
                             void* context) {
    auto* answer = static_cast<Answer*>(context);
    answer->size += count;
    if (answer->size < 1'000'000) answer->body.append(data, count);
    return count;
  }

  Answer request(const std::string& url) {
    Answer answer;
    curl_easy_setopt(curl_.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_.get(), CURLOPT_TIMEOUT, 60L);
    curl_easy_setopt(curl_.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl_.get(), CURLOPT_WRITEFUNCTION, &receive);
    curl_easy_setopt(curl_.get(), CURLOPT_WRITEDATA, &answer);
    answer.result = curl_easy_perform(curl_.get());
    curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &answer.status);
    curl_easy_getinfo(curl_.get(), CURLINFO_NUM_CONNECTS, &answer.connects);
    curl_easy_getinfo(curl_.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &answer.announced);
    return answer;
  }

  struct Cleanup {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
  };
  std::unique_ptr<CURL, Cleanup> curl_{curl_easy_init()};
};

class Serve : public testing::Test {
 protected:
  Serve() { fs::create_directory(dir_.path() / "lib"); }

  void add(const std::string& path, const std::string& content) {
    writeFile(dir_ / ("lib/" + path), content);
  }

  /// Starts the server; urls begin with what it prints.
  void start(const std::string& port = "0") {
    server_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{MTLPUBLISH, "serve", dir_ / "lib", "--port", port});
    const std::string line = server_->readLine();
    const std::string prefix = "Serving " + dir_ / "lib" + " at ";
    ASSERT_THAT(line, StartsWith(prefix + "http://127.0.0.1:"));
    url_ = line.substr(prefix.size());
  }

  TempDir dir_;
  std::unique_ptr<ChildProcess> server_;
  std::string url_;
};

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
  EXPECT_EQ(Client().post(url_ + "maps/oak.tx").status, 404);
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
    start();
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
  start(port);
  EXPECT_EQ(url_, url) << "the port is free as soon as its server has ended";
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
