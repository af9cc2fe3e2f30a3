// Tests fetching bodies: what is tried again and what is not, where a body that was cut is
// continued, and what ends it all.
#include "update/transfers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fast_timing.h"
#include "rules/address.h"
#include "support/promptly.h"
#include "support/scripted_server.h"

namespace mtlupdate {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using Kind = Failure::Kind;

/// What a test expects of a body, and what it got.
struct FileToFetch {
  std::string target;
  std::string expected{};
  bool hasSize = true;
  bool isChecked = true;
  std::optional<std::uint64_t> largest{};
  std::string part{};
  bool isDone = false;
  int begun = 0;
  bool failsToAppend = false;
  bool failsToFinish = false;
  std::function<void()> onCheck{};  ///< Before bytes are checked.
  std::string checked{};
  std::shared_ptr<std::atomic<std::size_t>> unchecked =  ///< Bytes.
      std::make_shared<std::atomic<std::size_t>>(0);
  std::size_t mostUnchecked = 0;
  std::optional<std::uint64_t> sizeAlone{};  ///< Of a body whose bytes are only counted.
  std::size_t largestPiece = 0;
};

class KeptBody : public Body {
 public:
  explicit KeptBody(FileToFetch& file) : file_(file), size_(file.part.size()) {
    file_.checked = file_.part;
  }

  std::string target(const Session& /*session*/) const override { return file_.target; }
  std::optional<std::uint64_t> size() const override {
    if (file_.sizeAlone || !file_.hasSize) return file_.sizeAlone;
    return file_.expected.size();
  }
  std::optional<std::uint64_t> largestSize() const override { return file_.largest; }
  std::uint64_t part() const override { return size_; }
  bool isChecked() const override { return file_.isChecked; }
  Outcome begin(bool anew, const std::string& /*validator*/) override {
    ++file_.begun;
    if (anew) file_.part.clear();
    if (anew) file_.checked.clear();
    if (anew) size_ = 0;
    return {};
  }
  Outcome append(std::string_view bytes) override {
    if (file_.failsToAppend) return Failure{Kind::kDisk, "disk full"};
    size_ += bytes.size();
    file_.largestPiece = std::max(file_.largestPiece, bytes.size());
    if (!file_.sizeAlone) file_.part.append(bytes);
    if (!file_.isChecked) return {};
    const std::size_t unchecked = *file_.unchecked += bytes.size();
    file_.mostUnchecked = std::max(file_.mostUnchecked, unchecked);
    return {};
  }
  void check(std::string_view bytes) override {
    EXPECT_TRUE(file_.isChecked);
    if (file_.onCheck) file_.onCheck();
    if (!file_.sizeAlone) file_.checked.append(bytes);
    *file_.unchecked -= bytes.size();
  }
  Outcome finish() override {
    if (file_.failsToFinish) return Failure{Kind::kDisk, "disk full"};
    EXPECT_EQ(*file_.unchecked, 0U);
    if (file_.sizeAlone || !file_.isChecked || file_.checked == file_.expected) return {};
    return Failure{Kind::kContent, "other content"};
  }

  FileToFetch& file_;
  std::uint64_t size_;
};

class TransfersTest : public testing::Test, protected Transfers::Client {
 protected:
  void open(long long bytesPerSecond = 0) {
    SessionOptions options;
    options.address = address_.empty() ? server_.address() + "/lib" : address_;
    options.proxy = "";
    options.bytesPerSecond = bytesPerSecond;
    const Outcome failure = Mirrors::open(options, {}, mirrors_);
    ASSERT_FALSE(failure) << failure->text;
  }

  Outcome run(Timing& timing) {
    if (mirrors_ == nullptr) open();
    for (FileToFetch& file : files_)
      left_.push_back(&file);
    Transfers transfers(*mirrors_, timing, policy_, limits_);
    transfers_ = &transfers;
    const Outcome failure = transfers.run(*this);
    received_ = transfers.receivedBytes();
    left_.clear();
    return failure;
  }
  Outcome run() { return run(timing_); }

  std::unique_ptr<Body> next() override {
    if (left_.empty()) return nullptr;
    FileToFetch& file = *left_.front();
    left_.pop_front();
    return std::make_unique<KeptBody>(file);
  }
  void done(Body& body, std::size_t /*mirror*/) override {
    if (throwsWhenDone_) throw std::bad_alloc();
    static_cast<KeptBody&>(body).file_.isDone = true;
  }
  bool shouldContinue() override { return shouldContinue_ == nullptr || shouldContinue_(); }
  void onRetry(const Failure& failure, milliseconds wait) override {
    notices_.push_back(failure.text);
    waits_.push_back(wait);
  }

  /// Answers the requests for the target with one text after another, the last one for the rest.
  void answer(const std::string& target, std::vector<std::string> answers) {
    server_.handle(target, [answers = std::move(answers), count = std::make_shared<std::size_t>(0)](
                               const ServerRequest&, Socket& socket) {
      const std::string& text = answers[std::min((*count)++, answers.size() - 1)];
      return socket.send(text) && text.find("Connection: close") == text.npos;
    });
  }

  std::size_t requestCount() const { return server_.requests().size(); }

  static std::string bytes(std::size_t size) {
    std::minstd_rand random(7);
    std::string text(size, '\0');
    for (char& c : text)
      c = static_cast<char>(random());
    return text;
  }

  static std::string head(const std::string& rest) { return "HTTP/1.1 " + rest + "\r\n\r\n"; }

  FastTiming timing_;
  ScriptedServer server_;
  std::string address_;  ///< Of the library; "" for that of the server.
  std::unique_ptr<Mirrors> mirrors_;
  Transfers* transfers_ = nullptr;  ///< Of the run.
  std::deque<FileToFetch> files_;
  std::deque<FileToFetch*> left_;
  RetryPolicy policy_;
  TransferLimits limits_;
  std::function<bool()> shouldContinue_;
  bool throwsWhenDone_ = false;
  std::vector<std::string> notices_;
  std::vector<milliseconds> waits_;
  std::uint64_t received_ = 0;
};

TEST_F(TransfersTest, FetchesAllBodiesFiveAtATime) {
  for (int i = 0; i < 200; ++i) {
    const std::string name = "/lib/" + std::to_string(i);
    server_.serve(name, "body of " + name);
    files_.push_back({name, "body of " + name});
  }
  ASSERT_FALSE(run());
  for (const FileToFetch& file : files_) {
    EXPECT_TRUE(file.isDone);
    EXPECT_EQ(file.part, file.expected);
  }
  EXPECT_EQ(requestCount(), 200U);
  EXPECT_EQ(server_.connectionCount(), 5);
}

TEST_F(TransfersTest, FetchesNothingWhenThereIsNothing) {
  EXPECT_FALSE(run());
  EXPECT_EQ(requestCount(), 0U);
}

TEST_F(TransfersTest, TakesBodiesWithoutASizeAndEmptyOnes) {
  answer("/a", {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n"});
  server_.serve("/b", "");
  files_ = {{"/a", "abc", false}, {"/b", ""}};
  ASSERT_FALSE(run());
  EXPECT_TRUE(files_[0].isDone && files_[1].isDone);
  EXPECT_EQ(files_[1].begun, 1);
}

TEST_F(TransfersTest, FetchesAWrongContentOnceMorePastCaches) {
  answer("/a", {ScriptedServer::response(200, "old"), ScriptedServer::response(200, "new")});
  files_ = {{"/a", "new"}};
  ASSERT_FALSE(run());
  EXPECT_EQ(files_[0].part, "new");
  ASSERT_EQ(requestCount(), 2U);
  EXPECT_EQ(server_.requests()[0].header("Cache-Control"), "");
  EXPECT_EQ(server_.requests()[1].header("Cache-Control"), "no-cache");
}

TEST_F(TransfersTest, ReportsAContentThatStaysWrong) {
  server_.serve("/a", "old");
  files_ = {{"/a", "new"}};
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kContent);
  EXPECT_EQ(failure->about, server_.address() + "/a");
  EXPECT_EQ(requestCount(), 2U);
}

TEST_F(TransfersTest, TakesNoMoreThanTheSize) {
  answer("/a", {head("200 OK\r\nContent-Length: 9") + "123456789"});
  answer("/b", {head("200 OK\r\nConnection: close") + "123456789"});
  for (const char* target : {"/a", "/b"}) {
    files_ = {{target, "1234"}};
    const Outcome failure = run();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, Kind::kContent);
    EXPECT_EQ(failure->text, "it does not have the 4 bytes that the library's list announces");
    EXPECT_LE(files_[0].part.size(), 4U);
  }
  EXPECT_EQ(requestCount(), 4U);
}

TEST_F(TransfersTest, TakesNoLessThanTheSize) {
  server_.serve("/a", "123");
  files_ = {{"/a", "1234", true, false}};
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kContent);
  EXPECT_EQ(requestCount(), 2U);
}

TEST_F(TransfersTest, TakesNoMoreThanTheLargestSize) {
  answer("/a", {head("200 OK\r\nConnection: close") + std::string(100000, 'x')});
  files_ = {{"/a", "", false, false, 1000}};
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kLimit);
  EXPECT_LE(files_[0].part.size(), 1000U);
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(TransfersTest, WaitsAsLongAsTheServerAsks) {
  answer("/a", {head("429 Slow down\r\nRetry-After: 100\r\nContent-Length: 0"),
                ScriptedServer::response(200, "a")});
  files_ = {{"/a", "a"}};
  const auto begun = timing_.now();
  ASSERT_FALSE(run());
  EXPECT_GE(timing_.now() - begun, seconds(100));
  EXPECT_THAT(waits_, ElementsAre(milliseconds(100000)));
  EXPECT_THAT(notices_, ElementsAre("the server answered with HTTP status 429"));
}

TEST_F(TransfersTest, AsksNothingOfAServerThatAskedToWait) {
  std::atomic<int> count{0};
  for (int i = 0; i < 20; ++i) {
    const std::string name = "/" + std::to_string(i);
    server_.handle(name, [&count](const ServerRequest&, Socket& socket) {
      if (++count <= 5) {
        return socket.send(head("503 Busy\r\nRetry-After: 60\r\nContent-Length: 0"));
      }
      return socket.send(ScriptedServer::response(200, "a"));
    });
    files_.push_back({name, "a"});
  }
  ASSERT_FALSE(run());
  EXPECT_EQ(requestCount(), 25U);
}

TEST_F(TransfersTest, DoesNotWaitForAServerThatAsksForTooMuch) {
  answer("/a", {head("503 Busy\r\nRetry-After: 3600\r\nContent-Length: 0")});
  files_ = {{"/a", "a"}};
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kNetwork);
  EXPECT_EQ(failure->text,
            "the server answered with HTTP status 503, and asks to wait for 3600 seconds");
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(TransfersTest, TriesFiveTimesWithLongerAndLongerWaits) {
  const std::string busy = ScriptedServer::response(503, "busy");
  answer("/a", {busy, busy, busy, busy, ScriptedServer::response(200, "a")});
  files_ = {{"/a", "a"}};
  ASSERT_FALSE(run());
  EXPECT_THAT(waits_, ElementsAre(milliseconds(499), milliseconds(999), milliseconds(1999),
                                  milliseconds(3999)));
}

TEST_F(TransfersTest, GivesUpAfterFiveTries) {
  server_.serveStatus("/a", 500, "broken");
  files_ = {{"/a", "a"}};
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kNetwork);
  EXPECT_EQ(failure->text, "the server answered with HTTP status 500, in 5 tries");
  EXPECT_EQ(requestCount(), 5U);
}

TEST_F(TransfersTest, DoesNotTryAgainWhatWillNotBeOtherwise) {
  for (const int status : {204, 206, 302, 304, 403, 404, 410}) {
    server_.forgetRequests();
    answer("/a", {head(std::to_string(status) + " x\r\nContent-Length: 0")});
    files_ = {{"/a", "a"}};
    const Outcome failure = run();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, Kind::kNetwork);
    EXPECT_EQ(failure->text, "the server answered with HTTP status " + std::to_string(status));
    EXPECT_EQ(failure->about, server_.address() + "/a");
    EXPECT_EQ(requestCount(), 1U);
  }
}

TEST_F(TransfersTest, ReadsAnErrorPageButNotForever) {
  server_.handle("/a", [](const ServerRequest&, Socket& socket) {
    socket.send(head("404 Not Found\r\nConnection: close"));
    const std::string page(10000, 'x');
    while (socket.send(page)) {
    }
    return false;
  });
  files_ = {{"/a", "", false, false}};
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_THAT(failure->text, HasSubstr("404"));
}

TEST_F(TransfersTest, TriesAgainAfterAReset) {
  server_.handle("/a", [count = std::make_shared<int>(0)](const ServerRequest&, Socket& socket) {
    if (++*count == 1) {
      socket.send(head("200 OK\r\nContent-Length: 6") + "abc");
      socket.resetOnClose();
      return false;
    }
    return socket.send(ScriptedServer::response(200, "abcdef"));
  });
  files_ = {{"/a", "abcdef"}};
  ASSERT_FALSE(run());
  EXPECT_EQ(files_[0].part, "abcdef");
  ASSERT_EQ(requestCount(), 2U);
  EXPECT_EQ(server_.requests()[1].header("Range"), "") << "of a small body";
}

// As it does when memory runs out.
TEST_F(TransfersTest, EndsWhatRunsWhenItsClientThrows) {
  for (const char* target : {"/a", "/b", "/c"}) {
    server_.serve(target, "abc");
    files_.push_back({target, "abc"});
  }
  for (const char* target : {"/a", "/b"})
    server_.hold(target);
  open();
  Transfers transfers(*mirrors_, timing_, policy_, limits_);
  left_ = {&files_[0], &files_[1], &files_[2]};
  throwsWhenDone_ = true;
  EXPECT_THROW(transfers.run(*this), std::bad_alloc);
  for (const char* target : {"/a", "/b"})
    server_.release(target);
  std::this_thread::sleep_for(milliseconds(100));
  EXPECT_EQ(files_[0].begun + files_[1].begun, 0) << "nobody may be there any longer";
  throwsWhenDone_ = false;
  left_ = {&files_[0], &files_[1]};
  EXPECT_FALSE(transfers.run(*this));
  EXPECT_TRUE(files_[0].isDone && files_[1].isDone);
}

TEST_F(TransfersTest, ReportsAServerThatIsNotThere) {
  const Socket closed = Socket::refuseOnLoopback();
  SessionOptions options;
  options.address = "http://127.0.0.1:" + std::to_string(closed.port());
  options.proxy = "";
  ASSERT_FALSE(Mirrors::open(options, {}, mirrors_));
  files_ = {{"/a", "a"}};
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kNetwork);
  EXPECT_THAT(failure->text, HasSubstr("could not connect to the server: "));
  EXPECT_THAT(failure->text, HasSubstr(", in 5 tries"));
  EXPECT_EQ(failure->about, options.address + "/a");
}

/// A server that cuts a large body.
class CutBody : public TransfersTest {
 protected:
  static constexpr std::size_t kSize = 3000000;
  static constexpr std::size_t kCutAt = 2000000;

  CutBody() : body_(bytes(kSize)) { files_ = {{"/a", body_}}; }

  /// The first answer is cut; `second` gives the later ones.
  void cutThen(const std::function<std::string(const ServerRequest&)>& second,
               const std::string& fields = "ETag: \"one\"\r\n") {
    server_.handle("/a", [this, second, fields, count = std::make_shared<int>(0)](
                             const ServerRequest& request, Socket& socket) {
      if (++*count > 1) return socket.send(second(request));
      socket.send(head("200 OK\r\n" + fields + "Content-Length: " + std::to_string(body_.size())) +
                  body_.substr(0, kCutAt));
      return false;
    });
  }

  static std::string range(std::size_t first, std::size_t last, const std::string& size) {
    return "206 Partial Content\r\nContent-Range: bytes " + std::to_string(first) + "-" +
           std::to_string(last) + "/" + size +
           "\r\nContent-Length: " + std::to_string(last + 1 - first);
  }
  std::string rest() const { return body_.substr(kCutAt); }

  std::string body_;
};

TEST_F(CutBody, GoesOnWhereItWasCut) {
  cutThen([this](const ServerRequest&) {
    return head(range(kCutAt, kSize - 1, std::to_string(kSize))) + rest();
  });
  ASSERT_FALSE(run());
  EXPECT_TRUE(files_[0].part == body_);
  ASSERT_EQ(requestCount(), 2U);
  EXPECT_EQ(server_.requests()[1].header("Range"), "bytes=2000000-");
  EXPECT_EQ(server_.requests()[1].header("If-Range"), "\"one\"");
  EXPECT_EQ(received_, kSize);
}

TEST_F(CutBody, GoesOnWithAnUnknownWholeSize) {
  cutThen([this](const ServerRequest&) { return head(range(kCutAt, kSize - 1, "*")) + rest(); });
  ASSERT_FALSE(run());
  EXPECT_EQ(received_, kSize);
}

TEST_F(CutBody, BeginsAnewWhenTheServerDoes) {
  cutThen([this](const ServerRequest&) { return ScriptedServer::response(200, body_); });
  ASSERT_FALSE(run());
  EXPECT_TRUE(files_[0].part == body_);
  EXPECT_EQ(requestCount(), 2U);
  EXPECT_EQ(files_[0].begun, 2);
}

TEST_F(CutBody, BeginsAnewAfterAnotherRangeThanTheOneAskedFor) {
  const std::string size = std::to_string(kSize);
  const std::vector<std::string> wrong{
      head(range(kCutAt - 1, kSize - 1, size)) + body_.substr(kCutAt - 1),
      head(range(kCutAt, kSize - 2, size)) + body_.substr(kCutAt, kSize - kCutAt - 1),
      head(range(kCutAt, kSize - 1, std::to_string(kSize + 1))) + rest(),
      head("206 Partial Content\r\nContent-Length: 1000000") + rest(),
      head("206 Partial Content\r\nContent-Range: bytes x-y/z\r\nContent-Length: 1000000") + rest(),
      head("416 Range Not Satisfiable\r\nContent-Length: 0"),
  };
  for (const std::string& answer : wrong) {
    SCOPED_TRACE(answer.substr(0, answer.find("\r\n\r\n")));
    server_.forgetRequests();
    files_ = {{"/a", body_}};
    cutThen([&](const ServerRequest& request) {
      return request.header("Range").empty() ? ScriptedServer::response(200, body_) : answer;
    });
    const Outcome failure = run();
    ASSERT_FALSE(failure) << failure->text;
    EXPECT_TRUE(files_[0].part == body_);
    EXPECT_EQ(requestCount(), 3U);
  }
}

TEST_F(CutBody, TakesNoMoreThanTheRest) {
  cutThen([this](const ServerRequest& request) {
    if (request.header("Range").empty()) return ScriptedServer::response(200, body_);
    return head(
               "206 Partial Content\r\nContent-Range: bytes 2000000-2999999/3000000\r\n"
               "Content-Length: 1000001") +
           rest() + "x";
  });
  ASSERT_FALSE(run());
  EXPECT_TRUE(files_[0].part == body_);
  EXPECT_EQ(requestCount(), 3U);
}

TEST_F(CutBody, GoesOnByDateWhereTheTagIsWeak) {
  cutThen(
      [this](const ServerRequest&) {
        return head(range(kCutAt, kSize - 1, std::to_string(kSize))) + rest();
      },
      "ETag: W/\"one\"\r\nLast-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n");
  ASSERT_FALSE(run());
  EXPECT_EQ(server_.requests().at(1).header("If-Range"), "Sun, 06 Nov 1994 08:49:37 GMT");
}

TEST_F(CutBody, BeginsAnewWhenNothingWouldShowThatItChanged) {
  files_[0].isChecked = false;
  cutThen([this](const ServerRequest&) { return ScriptedServer::response(200, body_); }, "");
  ASSERT_FALSE(run());
  EXPECT_EQ(server_.requests().at(1).header("Range"), "");
}

TEST_F(CutBody, OfAnotherReleaseIsNoticedByItsContent) {
  const std::string other(kSize - kCutAt, 'o');
  cutThen([&](const ServerRequest& request) {
    if (request.header("Range").empty()) return ScriptedServer::response(200, body_);
    return head(range(kCutAt, kSize - 1, std::to_string(kSize))) + other;
  });
  ASSERT_FALSE(run());
  EXPECT_TRUE(files_[0].part == body_);
  EXPECT_EQ(server_.requests().at(2).header("Range"), "");
  EXPECT_EQ(server_.requests().at(2).header("Cache-Control"), "no-cache");
}

TEST_F(CutBody, OfAnEarlierRunGoesOn) {
  files_[0].part = body_.substr(0, kCutAt);
  answer("/a", {head(range(kCutAt, kSize - 1, std::to_string(kSize))) + rest()});
  ASSERT_FALSE(run());
  EXPECT_TRUE(files_[0].part == body_);
  ASSERT_EQ(requestCount(), 1U);
  EXPECT_EQ(server_.requests()[0].header("Range"), "bytes=2000000-");
  EXPECT_EQ(received_, kSize - kCutAt);
}

TEST_F(TransfersTest, ALargeBodyThatIsCutTenTimesIsFetchedOnce) {
  constexpr std::size_t kSize = 200UL * 1000 * 1000;
  const auto block = std::make_shared<std::string>(1000000, 'x');
  std::minstd_rand random(11);
  std::set<std::size_t> cuts;
  while (cuts.size() < 10)
    cuts.insert(random() % kSize);
  server_.handle("/a", [cuts, block](const ServerRequest& request, Socket& socket) {
    const std::string range = request.header("Range");
    std::size_t at = range.empty() ? 0 : std::stoul(range.substr(6));
    const std::string last = std::to_string(kSize - 1) + "/" + std::to_string(kSize);
    socket.send(head((range.empty() ? "200 OK"
                                    : "206 Partial Content\r\nContent-Range: bytes " +
                                          std::to_string(at) + "-" + last) +
                     "\r\nContent-Length: " + std::to_string(kSize - at)));
    const auto cut = cuts.upper_bound(at);
    const std::size_t end = cut != cuts.end() ? *cut : kSize;
    while (at < end) {
      const std::size_t size = std::min(end - at, block->size());
      if (!socket.send(std::string_view(*block).substr(0, size))) return false;
      at += size;
    }
    return end == kSize;
  });
  files_ = {{"/a"}};
  files_[0].sizeAlone = kSize;
  const Outcome failure = run();
  ASSERT_FALSE(failure) << failure->text;
  EXPECT_TRUE(files_[0].isDone);
  EXPECT_EQ(requestCount(), 11U);
  EXPECT_LE(received_, kSize * 11 / 10);
  // It passes through in small pieces, and nothing is kept of them.
  EXPECT_LE(files_[0].largestPiece, 256U * 1024);
}

TEST_F(TransfersTest, EndsWhenTheDiskFails) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{1000000}}) {
    for (const bool atTheEnd : {false, true}) {
      const std::string body = bytes(size);
      server_.forgetRequests();
      server_.serve("/a", body);
      files_ = {{"/a", body}};
      files_[0].failsToAppend = !atTheEnd;
      files_[0].failsToFinish = atTheEnd;
      const Outcome failure = run();
      ASSERT_TRUE(failure);
      EXPECT_EQ(failure->kind, Kind::kDisk);
      EXPECT_EQ(failure->text, "disk full");
      EXPECT_EQ(failure->about, server_.address() + "/a");
      EXPECT_EQ(requestCount(), 1U);
      EXPECT_FALSE(files_[0].isDone);
    }
  }
}

TEST_F(TransfersTest, CheckAllOfABodyInItsOrderWhateverItsSize) {
  const std::size_t room = 256UL * 1024;
  for (const std::size_t bound : {std::size_t{1}, std::size_t{kWorthHandingOver}, room, 2 * room,
                                  kMostUnchecked, 3 * kMostUnchecked}) {
    for (const std::size_t size : {bound - 1, bound, bound + 1}) {
      const std::string name = "/" + std::to_string(size);
      const std::string body = bytes(size);
      server_.serve(name, body);
      for (const bool hasSize : {true, false})
        files_.push_back({name, body, hasSize});
    }
  }
  const Outcome failure = run();
  ASSERT_FALSE(failure) << failure->text;
  for (const FileToFetch& file : files_) {
    EXPECT_TRUE(file.isDone && file.part == file.expected && file.checked == file.expected)
        << file.target;
  }
}

TEST_F(TransfersTest, FetchALargeBodyOfOtherContentOnceMorePastCaches) {
  const std::string body = bytes(1000000);
  const std::string other(body.size(), 'o');
  answer("/a", {ScriptedServer::response(200, other), ScriptedServer::response(200, body)});
  files_ = {{"/a", body}};
  ASSERT_FALSE(run());
  EXPECT_TRUE(files_[0].part == body);
  ASSERT_EQ(requestCount(), 2U);
  EXPECT_EQ(server_.requests()[1].header("Cache-Control"), "no-cache");
}

// What waits to be checked takes memory: beside what is in the queue, a piece that is being checked
// and one that is being received.
TEST_F(TransfersTest, ReceivesNoFasterThanBodiesAreChecked) {
  const std::string body(32UL * 1024 * 1024, 'x');
  server_.serve("/a", body);
  files_ = {{"/a", body}};
  files_[0].onCheck = [] { std::this_thread::sleep_for(milliseconds(2)); };
  ASSERT_FALSE(run());
  EXPECT_LE(files_[0].mostUnchecked, kMostUnchecked + 3UL * 256 * 1024);
}

TEST_F(TransfersTest, GoesOnWhenManyBodiesEndWhileMuchWaitsToBeChecked) {
  const std::string body(300UL * 1024, 'x');
  server_.serve("/a", body);
  for (int i = 0; i < 200; ++i) {
    files_.push_back({"/a", body});
    files_.back().onCheck = [] { std::this_thread::sleep_for(std::chrono::microseconds(300)); };
  }
  ASSERT_FALSE(run());
  for (const FileToFetch& file : files_)
    EXPECT_TRUE(file.isDone && file.checked == body);
}

TEST_F(TransfersTest, ReceivesALargeBodyWhileTheClientIsBusy) {
  const std::string body(32UL * 1024 * 1024, 'x');
  server_.serve("/a", body);
  files_ = {{"/a", body}};
  bool isLate = false;
  shouldContinue_ = [&] {
    const auto end = std::chrono::steady_clock::now() + seconds(60);
    while (transfers_->receivedBytes() < body.size() && !isLate) {
      isLate = std::chrono::steady_clock::now() > end;
      std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
  };
  ASSERT_FALSE(run());
  EXPECT_FALSE(isLate);
  EXPECT_TRUE(files_[0].checked == body);
}

// The first body is wrong, as shows when its connection has the sixth one already.
TEST_F(TransfersTest, LooksNowAndThenWhileABodyWaitsForAConnection) {
  const std::string body = bytes(2 * kWorthHandingOver);
  answer("/a", {ScriptedServer::response(200, std::string(body.size(), 'o')),
                ScriptedServer::response(200, body)});
  files_ = {{"/a", body}};
  for (const char* name : {"/b", "/c", "/d", "/e", "/f"}) {
    server_.serve(name, "held");
    server_.hold(name);
    files_.push_back({name, "held"});
  }
  Timing timing;
  constexpr int kLooks = 20;
  int looks = 0;
  Timing::TimePoint begun{};
  Timing::TimePoint ended{};
  shouldContinue_ = [&] {
    if (requestCount() < 6 || ++looks > kLooks) return true;
    if (looks == 1) begun = timing.now();
    if (looks < kLooks) return true;
    ended = timing.now();
    for (const char* name : {"/b", "/c", "/d", "/e", "/f"})
      server_.release(name);
    return true;
  };
  ASSERT_FALSE(run(timing));
  EXPECT_GE(looks, kLooks);
  EXPECT_GE(ended - begun, milliseconds(500));
  EXPECT_EQ(requestCount(), 7U);
}

TEST_F(TransfersTest, KeepsToTheBytesInAll) {
  limits_.totalBytes = 25;
  for (const char* name : {"/a", "/b", "/c"}) {
    server_.serve(name, "0123456789");
    files_.push_back({name, "0123456789"});
  }
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kLimit);
  limits_.totalBytes = 30;
  EXPECT_FALSE(run());
}

TEST_F(TransfersTest, KeepsToTheTime) {
  server_.serve("/a", "a");
  server_.hold("/a");
  files_ = {{"/a", "a"}};
  limits_.end = timing_.now() + seconds(30);
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kLimit);
  EXPECT_EQ(failure->text, "the time limit is over");
}

TEST_F(TransfersTest, KeepsToTheRate) {
  open(1000000);
  const std::string body(400000, 'x');
  server_.serve("/a", body);
  files_ = {{"/a", body}};
  Timing timing;
  const auto begun = timing.now();
  ASSERT_FALSE(run(timing));
  EXPECT_GE(timing.now() - begun, milliseconds(250));
}

TEST_F(TransfersTest, CanBeUsedAgainAfterAFailure) {
  server_.serve("/a", "a");
  files_ = {{"/missing", "a"}};
  EXPECT_TRUE(run());
  files_ = {{"/a", "a"}};
  EXPECT_FALSE(run());
  EXPECT_TRUE(files_[0].isDone);
}

/// Cancels while a body is in some state, and looks how long that takes.
class Cancelled : public TransfersTest {
 protected:
  /// The median of five, so that a machine that is busy with something else does not matter.
  void expectAnEndAtOnce(const std::function<bool()>& isThere,
                         const std::function<void()>& onCheck = {}) {
    Timing timing;
    std::vector<Timing::TimePoint::duration> times;
    for (int i = 0; i < 5; ++i) {
      // Each begins anew: without the waits that a server asked for before.
      open();
      for (FileToFetch& file : files_)
        file = {file.target, file.expected, file.hasSize, file.isChecked};
      for (FileToFetch& file : files_)
        file.onCheck = onCheck;
      Timing::TimePoint asked{};
      isAsked_ = false;
      shouldContinue_ = [&] {
        if (!isThere()) return true;
        if (!isAsked_.exchange(true)) asked = timing.now();
        return false;
      };
      const Outcome failure = run(timing);
      times.push_back(timing.now() - asked);
      ASSERT_TRUE(failure);
      EXPECT_EQ(failure->kind, Kind::kCancelled);
      server_.forgetRequests();
    }
    std::sort(times.begin(), times.end());
    EXPECT_LT(times[2], kPromptly);
  }

  std::atomic<bool> isAsked_{false};  ///< To end. Nothing more arrives then.
};

TEST_F(Cancelled, BeforeTheAnswer) {
  server_.serve("/a", "a");
  server_.hold("/a");
  files_ = {{"/a", "a"}};
  expectAnEndAtOnce([this] { return requestCount() > 0; });
}

TEST_F(Cancelled, WithinTheBody) {
  const auto isSent = std::make_shared<std::atomic<bool>>(false);
  server_.handle("/a", [isSent](const ServerRequest&, Socket& socket) {
    socket.send(head("200 OK\r\nContent-Length: 1000000") + "abc");
    *isSent = true;
    char byte = 0;
    socket.receive(&byte, 1);
    return false;
  });
  files_ = {{"/a", std::string(1000000, 'x')}};
  expectAnEndAtOnce([&] { return isSent->exchange(false); });
}

TEST_F(Cancelled, WhileMuchWaitsToBeChecked) {
  const std::string body(32UL * 1024 * 1024, 'x');
  server_.serve("/a", body);
  files_ = {{"/a", body}};
  // The first piece takes until much more has arrived, and it is time to ask.
  const auto waitForMore = [this] {
    if (!files_[0].checked.empty()) return;
    const auto end = std::chrono::steady_clock::now() + seconds(60);
    while (*files_[0].unchecked < kMostUnchecked / 2 && !isAsked_ &&
           std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(milliseconds(1));
    }
    std::this_thread::sleep_for(milliseconds(100));
  };
  expectAnEndAtOnce([this] { return *files_[0].unchecked > kMostUnchecked / 4; }, waitForMore);
}

TEST_F(Cancelled, WhileItWaitsForTheNextTry) {
  answer("/a", {head("503 Busy\r\nRetry-After: 100\r\nContent-Length: 0")});
  files_ = {{"/a", "a"}};
  expectAnEndAtOnce([this] { return !std::exchange(notices_, {}).empty(); });
}

TEST_F(Cancelled, WhileItWaitsForAServerThatAskedForItInAnEarlierRun) {
  answer("/a", {head("503 Busy\r\nRetry-After: 100\r\nContent-Length: 0")});
  files_ = {{"/a", "a"}};
  shouldContinue_ = [this] { return notices_.empty(); };
  Timing timing;
  ASSERT_TRUE(run(timing));
  const auto begun = timing.now();
  int looks = 0;
  shouldContinue_ = [&] { return ++looks < 3; };
  const Outcome failure = run(timing);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kCancelled);
  EXPECT_LT(timing.now() - begun, seconds(50));
  EXPECT_EQ(requestCount(), 1U);
}

TEST_F(Cancelled, WhileItConnects) {
  // Accepts nothing: connections stand, but nobody answers the handshake.
  const Socket silent = Socket::listenOnLoopback();
  address_ = "https://127.0.0.1:" + std::to_string(silent.port());
  files_ = {{"/a", "a"}};
  Timing timing;
  auto begun = timing.now();
  expectAnEndAtOnce([&] { return timing.now() - begun > milliseconds(100); });
}

TEST(SessionOpen, RefusesWhatIsNotALibrarysAddress) {
  for (const char* address : {"", "ftp://host/", "http://", "http://user@host/", "http://ho st/"}) {
    SessionOptions options;
    options.address = address;
    options.proxy = "";
    std::unique_ptr<Session> session;
    const Outcome failure = Session::open(options, session);
    ASSERT_TRUE(failure) << address;
    EXPECT_EQ(failure->kind, Kind::kUsage);
    EXPECT_EQ(failure->about, mtlrules::withoutUserName(address));
  }
}

TEST(SessionOpen, RefusesAProxyThatIsNone) {
  for (const char* proxy : {"https://proxy:1", "socks5://proxy:1", "http://proxy/path"}) {
    SessionOptions options;
    options.address = "http://127.0.0.1:1";
    options.proxy = proxy;
    std::unique_ptr<Session> session;
    const Outcome failure = Session::open(options, session);
    ASSERT_TRUE(failure) << proxy;
    EXPECT_EQ(failure->kind, Kind::kUsage);
    EXPECT_EQ(failure->about, proxy);
  }
}

TEST(SessionTargets, LieBelowTheLibrarysPath) {
  SessionOptions options;
  options.address = "http://127.0.0.1:81/my library//";
  options.proxy = "";
  std::unique_ptr<Session> session;
  ASSERT_FALSE(Session::open(options, session));
  EXPECT_EQ(session->fileTarget("a b/c.tx"), "/my%20library/a%20b/c.tx");
  EXPECT_EQ(session->listTarget(""), "/my%20library/filelist.json");
  EXPECT_EQ(session->url("/x"), "http://127.0.0.1:81/x");
}

TEST_F(TransfersTest, GoesThroughTheProxyThatItIsGiven) {
  SessionOptions options;
  options.address = "http://library.invalid/lib";
  options.proxy = server_.address().substr(std::string("http://").size());
  ASSERT_FALSE(Mirrors::open(options, {}, mirrors_));
  server_.serve("http://library.invalid:80/a", "a");
  files_ = {{"/a", "a"}};
  const Outcome failure = run();
  ASSERT_FALSE(failure) << failure->text;
}

}  // namespace
}  // namespace mtlupdate
