// Tests staging contents: they are checked, and continued in the next run.
#include "update/fetches.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "digest_of.h"
#include "fast_timing.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace mtlupdate {
namespace {

using testing::UnorderedElementsAre;
using Kind = Failure::Kind;

class FetchesTest : public testing::Test {
 protected:
  FetchesTest() {
    EXPECT_FALSE(folder_.open(dir_ / "copy", true));
    SessionOptions options;
    options.address = server_.address() + "/lib";
    options.proxy = "";
    EXPECT_FALSE(Mirrors::open(options, {}, mirrors_));
  }

  void add(std::string_view path, std::string_view content, bool hasDigest = true) {
    Entry entry;
    entry.path = path;
    entry.remotePath = path;
    entry.size = content.size();
    if (hasDigest) entry.sha256 = digestOf(content);
    entries_.push_back(entry);
  }

  /// One run over all entries.
  Outcome run() {
    fetched_.clear();
    Staging staging(folder_, "stamp");
    std::vector<Plan::Fetch> fetches;
    StagedContents staged(entries_.size());
    for (const Entry& entry : entries_) {
      EXPECT_FALSE(staging.find(entry, {}, staged.at(fetches.size())));
      fetches.push_back({&entry, fetches.size()});
    }
    Transfers transfers(*mirrors_, timing_, RetryPolicy{}, TransferLimits{});
    Fetches client(
        staging, fetches, staged, std::nullopt, callbacks_, [&](const Entry& entry, std::size_t) {
          const auto isOfIt = [&](const Plan::Fetch& fetch) { return fetch.entry == &entry; };
          const auto fetch = std::find_if(fetches.begin(), fetches.end(), isOfIt);
          const Staging::Found& found = staged.at(fetch->content);
          EXPECT_EQ(found.state, Staging::Found::State::kWhole);
          EXPECT_EQ(found.digest, entry.sha256 ? digestOf(content(entry)) : std::nullopt);
          EXPECT_EQ(found.identity.size, found.size);
          fetched_.emplace_back(entry.path);
        });
    Outcome failure = client.openParts();
    if (!failure) failure = transfers.run(client);
    received_ = transfers.receivedBytes();
    return failure;
  }

  /// What the stage has of the entry.
  std::string content(const Entry& entry) {
    File file;
    std::string bytes;
    if (folder_.openToRead(stagedPath(entry, "stamp"), file)) return "none";
    char piece[4096];
    std::size_t count = 0;
    while (!file.read(piece, sizeof(piece), count) && count > 0)
      bytes.append(piece, count);
    return bytes;
  }

  TempDir dir_;
  FastTiming timing_;
  ScriptedServer server_;
  Folder folder_;
  std::unique_ptr<Mirrors> mirrors_;
  FetchCallbacks callbacks_{[] { return true; }};
  std::deque<Entry> entries_;
  std::vector<std::string> fetched_;
  std::uint64_t received_ = 0;
};

TEST_F(FetchesTest, StageContentsThatAreAsListed) {
  server_.serve("/lib/a", "content a");
  server_.serve("/lib/b%20c", "content b");
  server_.serve("/lib/empty", "");
  add("a", "content a");
  add("b c", "content b", false);
  add("empty", "");
  const Outcome failure = run();
  ASSERT_FALSE(failure) << failure->text;
  EXPECT_THAT(fetched_, UnorderedElementsAre("a", "b c", "empty"));
  EXPECT_EQ(content(entries_[0]), "content a");
  EXPECT_EQ(content(entries_[1]), "content b");
  EXPECT_EQ(content(entries_[2]), "");
}

TEST_F(FetchesTest, KeepNothingThatIsNotAsListed) {
  server_.serve("/lib/a", "content x");
  add("a", "content a");
  const Outcome failure = run();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kContent);
  EXPECT_EQ(failure->text,
            "its content does not have the SHA-256 that the library's list announces");
  EXPECT_EQ(failure->about, server_.address() + "/lib/a");
  EXPECT_EQ(server_.requests().size(), 2U);
  EXPECT_EQ(content(entries_[0]), "none");
}

/// A large content of which the first run gets the beginning.
class CutFetches : public FetchesTest {
 protected:
  static constexpr std::size_t kSize = 3000000;
  static constexpr std::size_t kCutAt = 2000000;

  CutFetches() : content_(kSize, 'x') {
    for (std::size_t i = 0; i < kSize; i += 1000)
      content_[i] = static_cast<char>(i / 1000);
  }

  void runUntilTheCut() {
    server_.handle("/lib/a", [this](const ServerRequest&, Socket& socket) {
      socket.send("HTTP/1.1 200 OK\r\nETag: \"one\"\r\nContent-Length: 3000000\r\n\r\n");
      socket.send(std::string_view(content_).substr(0, kCutAt));
      char byte = 0;
      socket.receive(&byte, 1);
      return false;
    });
    callbacks_.shouldContinue = [this] { return content(entries_[0]).size() < kCutAt; };
    const Outcome failure = run();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, Kind::kCancelled);
    callbacks_.shouldContinue = [] { return true; };
    server_.forgetRequests();
  }

  void serveRanges(const std::string& tag) {
    server_.handle("/lib/a", [=](const ServerRequest& request, Socket& socket) {
      const std::string wanted = request.header("If-Range");
      const std::string range = request.header("Range");
      if (range.empty() || (!wanted.empty() && wanted != tag)) {
        return socket.send(ScriptedServer::response(200, content_));
      }
      const std::size_t first = std::stoul(range.substr(6));
      return socket.send("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " +
                         std::to_string(first) + "-2999999/3000000\r\nContent-Length: " +
                         std::to_string(kSize - first) + "\r\n\r\n" + content_.substr(first));
    });
  }

  std::string content_;
};

TEST_F(CutFetches, GoOnInTheNextRun) {
  add("a", content_);
  runUntilTheCut();
  serveRanges("\"one\"");
  const Outcome failure = run();
  ASSERT_FALSE(failure) << failure->text;
  EXPECT_TRUE(content(entries_[0]) == content_);
  EXPECT_EQ(server_.requests().at(0).header("Range"), "bytes=2000000-");
  EXPECT_EQ(received_, kSize - kCutAt);
}

TEST_F(CutFetches, GoOnWithoutADigestWhileTheServerHasTheSame) {
  add("a", content_, false);
  runUntilTheCut();
  serveRanges("\"one\"");
  ASSERT_FALSE(run());
  EXPECT_TRUE(content(entries_[0]) == content_);
  EXPECT_EQ(server_.requests().at(0).header("If-Range"), "\"one\"");
  EXPECT_EQ(received_, kSize - kCutAt);
}

TEST_F(CutFetches, BeginAnewWithoutADigestWhenTheServerHasAnother) {
  add("a", content_, false);
  runUntilTheCut();
  content_.replace(0, 100, 100, 'n');
  serveRanges("\"two\"");
  ASSERT_FALSE(run());
  EXPECT_TRUE(content(entries_[0]) == content_);
  EXPECT_EQ(received_, kSize);
}

TEST_F(CutFetches, NoticeAPartOfSomethingElse) {
  add("a", content_);
  runUntilTheCut();
  {
    Staging staging(folder_, "stamp");
    StagedFile file;
    ASSERT_FALSE(staging.open(entries_[0], true, file));
    ASSERT_FALSE(file.append(std::string(kCutAt, 'o')));
  }
  serveRanges("\"one\"");
  ASSERT_FALSE(run());
  EXPECT_TRUE(content(entries_[0]) == content_);
  EXPECT_EQ(server_.requests().size(), 2U);
}

}  // namespace
}  // namespace mtlupdate
