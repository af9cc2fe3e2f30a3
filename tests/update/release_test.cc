// Tests fetching stamps and lists.
#include "update/release.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fast_timing.h"
#include "support/scripted_server.h"

namespace mtlupdate {
namespace {

using testing::ElementsAre;
using Kind = Failure::Kind;

class ReleaseTest : public testing::Test {
 protected:
  ReleaseTest() {
    SessionOptions options;
    options.address = server_.address() + "/lib";
    options.proxy = "";
    EXPECT_FALSE(Mirrors::open(options, {}, mirrors_));
    transfers_ = std::make_unique<Transfers>(*mirrors_, timing_, RetryPolicy{}, TransferLimits{});
  }

  static Document document(const char* name) {
    return {[name](const Session& session) { return session.fileTarget(name); }};
  }
  Outcome stamp(bool pastCaches = false) {
    std::size_t mirror = 0;
    Document wanted = document("id.txt");
    wanted.pastCaches = pastCaches;
    return fetchStamp(*transfers_, wanted, callbacks_, {}, stamp_, mirror);
  }
  Outcome list(const ListKeeper& keep = {}) {
    ListIntake intake({}, keep, listing_);
    return fetchList(*transfers_, document("filelist.json"), callbacks_, intake);
  }

  std::vector<std::string> paths() const {
    std::vector<std::string> paths;
    for (const Entry& entry : listing_)
      paths.emplace_back(entry.path);
    return paths;
  }

  FastTiming timing_;
  ScriptedServer server_;
  std::unique_ptr<Mirrors> mirrors_;
  std::unique_ptr<Transfers> transfers_;
  FetchCallbacks callbacks_{[] { return true; }};
  std::string stamp_;
  Listing listing_;
};

TEST_F(ReleaseTest, AStampIsWhateverBytesTheServerHas) {
  const std::string bytes("one\0two\n", 8);
  server_.serve("/lib/id.txt", bytes);
  ASSERT_FALSE(stamp());
  EXPECT_EQ(stamp_, bytes);
}

TEST_F(ReleaseTest, AStampIsNotEmpty) {
  server_.serve("/lib/id.txt", "");
  const Outcome failure = stamp();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kContent);
  EXPECT_EQ(failure->text, "the library's stamp is empty");
  EXPECT_EQ(failure->about, server_.address() + "/lib/id.txt");
}

TEST_F(ReleaseTest, AStampHasAMebibyteAtMost) {
  server_.serve("/lib/id.txt", std::string(1048576, 'x'));
  EXPECT_FALSE(stamp());
  server_.serve("/lib/id.txt", std::string(1048577, 'x'));
  const Outcome failure = stamp();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kLimit);
}

TEST_F(ReleaseTest, CachesCanBePassedFromTheBeginning) {
  server_.serve("/lib/id.txt", "one");
  ASSERT_FALSE(stamp(true));
  EXPECT_EQ(server_.requests().at(0).header("Cache-Control"), "no-cache");
}

TEST_F(ReleaseTest, AListIsReadAndKeptAsItArrives) {
  const std::string text = "[{\"path\": \"a.tx\"}, {\"path\": \"b/c.mtl\"}]\n";
  server_.serve("/lib/filelist.json", text);
  std::string kept;
  ASSERT_FALSE(list([&](bool anew, std::string_view bytes) {
    if (anew) kept.clear();
    kept.append(bytes);
    return Outcome();
  }));
  EXPECT_THAT(paths(), ElementsAre("a.tx", "b/c.mtl"));
  EXPECT_EQ(kept, text);
}

TEST_F(ReleaseTest, AListThatIsCutIsReadFromItsBeginning) {
  const std::string text = "[{\"path\": \"a\"}, {\"path\": \"b\"}]\n";
  const auto count = std::make_shared<int>(0);
  server_.handle("/lib/filelist.json", [=](const ServerRequest&, Socket& socket) {
    const std::string answer = ScriptedServer::response(200, text);
    if (++*count > 1) return socket.send(answer);
    socket.send(answer.substr(0, answer.size() - 5));
    return false;
  });
  std::string kept;
  ASSERT_FALSE(list([&](bool anew, std::string_view bytes) {
    if (anew) kept.clear();
    kept.append(bytes);
    return Outcome();
  }));
  EXPECT_THAT(paths(), ElementsAre("a", "b"));
  EXPECT_EQ(kept, text);
}

TEST_F(ReleaseTest, APageThatIsNotAListIsFetchedOnceMorePastCaches) {
  server_.serve("/lib/filelist.json", "<html>Please log in.</html>\n");
  const Outcome failure = list();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kContent);
  EXPECT_EQ(failure->about, server_.address() + "/lib/filelist.json");
  ASSERT_EQ(server_.requests().size(), 2U);
  EXPECT_EQ(server_.requests()[1].header("Cache-Control"), "no-cache");
}

TEST_F(ReleaseTest, AListThatCannotBeKeptIsAFailureOfTheDisk) {
  server_.serve("/lib/filelist.json", "[]\n");
  const Outcome failure = list([](bool, std::string_view bytes) {
    return bytes.empty() ? Outcome() : Failure{Kind::kDisk, "full"};
  });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kDisk);
  EXPECT_EQ(server_.requests().size(), 1U);
}

TEST_F(ReleaseTest, RetriesAreReported) {
  const auto count = std::make_shared<int>(0);
  server_.handle("/lib/id.txt", [=](const ServerRequest&, Socket& socket) {
    return socket.send(ScriptedServer::response(++*count > 1 ? 200 : 502, "one"));
  });
  std::vector<std::string> texts;
  callbacks_.onRetry = [&](const Failure& failure, std::chrono::milliseconds) {
    texts.push_back(failure.about + ": " + failure.text);
  };
  ASSERT_FALSE(stamp());
  EXPECT_THAT(texts, ElementsAre(server_.address() +
                                 "/lib/id.txt: the server answered with HTTP status 502"));
}

TEST_F(ReleaseTest, EndsWhenItIsAskedTo) {
  server_.serve("/lib/id.txt", "one");
  server_.hold("/lib/id.txt");
  callbacks_.shouldContinue = [] { return false; };
  const Outcome failure = stamp();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kCancelled);
}

}  // namespace
}  // namespace mtlupdate
