// Tests a server that answers badly, in every phase of a run: the run ends soon, says why once,
// keeps the old stamp and the files that were complete, and the next run repairs all.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fault.h"
#include "support/dynamic_library.h"
#include "system/system_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;
using Files = std::map<std::string, std::string>;
using testing::HasSubstr;
using testing::StartsWith;

/// While it lives, pools that are made have short limits.
class ShortLimits {
 public:
  ShortLimits() { setLimits(kShortLimitSeconds); }
  ~ShortLimits() { setLimits(0); }
  ShortLimits(const ShortLimits&) = delete;
  ShortLimits& operator=(const ShortLimits&) = delete;

 private:
  static void setLimits(int seconds) {
    // The one that the module has loaded.
    const DynamicLibrary library(KRELL_NETWORKING);
    const auto set = reinterpret_cast<void (*)(int)>(library.symbol("setLimits"));
    ASSERT_NE(set, nullptr) << library.error();
    set(seconds);
  }
};

class FaultyServer : public SystemTest, public testing::WithParamInterface<Fault> {
 protected:
  FaultyServer() {
    if (GetParam().waitsForALimit()) limits_.emplace();
    writeFile(target("id.txt"), "old");
    publish("new", R"([{"path":"a"},{"path":"b"},{"path":"c"}])");
    for (const char* name : {"a", "b", "c"})
      server_.serve("/lib/" + std::string(name), name);
    callback_.abortAnswer = [at = GetParam().abortAt](auto*, auto* progress, auto*) {
      return at > 0 && progress->receivedBytes > at ? 1 : 0;
    };
  }

  void answerBadly(const std::string& target) { server_.handle(target, GetParam().answer); }

  int runInTime() {
    const auto begin = Clock::now();
    const int result = run();
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(kLongestRunSeconds));
    return result;
  }

  void expectFailure(const std::string& chainBegin) {
    EXPECT_EQ(runInTime(), -1);
    ASSERT_EQ(callback_.errors().size(), 1U);
    EXPECT_THAT(callback_.errors()[0], StartsWith(chainBegin));
    const Fault& fault = GetParam();
    const char* other = fault.causeOfAnEnd != nullptr ? fault.causeOfAnEnd : fault.cause;
    EXPECT_THAT(callback_.errors()[0], testing::AnyOf(HasSubstr(fault.cause), HasSubstr(other)));
  }

  void expectRepairByTheNextRun() {
    callback_.clear();
    // Answers that are good, but late on a busy machine, are not what is tried here.
    limits_.reset();
    EXPECT_EQ(runInTime(), 0);
    EXPECT_EQ(readTree(target_), (Files{{"a", "a"}, {"b", "b"}, {"c", "c"}, {"id.txt", "new"}}));
  }

 private:
  std::optional<ShortLimits> limits_;
};

using FaultyStamp = FaultyServer;
using FaultyList = FaultyServer;
using FaultyFile = FaultyServer;

TEST_P(FaultyStamp, EndsTheRun) {
  answerBadly("/lib/id.txt");
  expectFailure("[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | ");
  EXPECT_EQ(readTree(target_), (Files{{"id.txt", "old"}}));
  server_.serve("/lib/id.txt", "new");
  expectRepairByTheNextRun();
}

TEST_P(FaultyList, EndsTheRun) {
  answerBadly("/lib/filelist.json");
  expectFailure("[DownloaderImpl::downloadListFile] -1: Could not download list file | ");
  EXPECT_EQ(readTree(target_), (Files{{"id.txt", "old"}}));
  publish("new", R"([{"path":"a"},{"path":"b"},{"path":"c"}])");
  expectRepairByTheNextRun();
}

TEST_P(FaultyFile, KeepsWhatIsCompleteAndTheOldStamp) {
  answerBadly("/lib/c");
  if (*GetParam().cause == '\0') {
    EXPECT_EQ(runInTime(), 0);
    EXPECT_EQ(readTree(target_),
              (Files{{"a", "a"}, {"b", "b"}, {"c", GetParam().saved}, {"id.txt", "new"}}));
    return;
  }
  expectFailure("[");
  EXPECT_EQ(readTree(target_), (Files{{"a", "a"}, {"b", "b"}, {"id.txt", "old"}}));
  server_.serve("/lib/c", "c");
  expectRepairByTheNextRun();
}

std::string nameOf(const testing::TestParamInfo<Fault>& info) {
  return info.param.name;
}

// Faults that end a run whatever is being fetched. Those that only waiting for the limit
// shows are distinguished by one test only, to save time.
std::vector<Fault> faultsInEveryPhase() {
  std::vector<Fault> some = faults();
  some.erase(std::remove_if(some.begin(), some.end(),
                            [](const Fault& fault) {
                              return *fault.cause == '\0' ||
                                     (fault.waitsForALimit() &&
                                      std::strcmp(fault.name, "NeverAnswers") != 0);
                            }),
             some.end());
  return some;
}

INSTANTIATE_TEST_SUITE_P(, FaultyStamp, testing::ValuesIn(faultsInEveryPhase()), nameOf);
INSTANTIATE_TEST_SUITE_P(, FaultyList, testing::ValuesIn(faultsInEveryPhase()), nameOf);
INSTANTIATE_TEST_SUITE_P(, FaultyFile, testing::ValuesIn(faults()), nameOf);

class FaultyAnswers : public SystemTest {
 protected:
  FaultyAnswers() { writeFile(target("id.txt"), "old"); }
};

TEST_F(FaultyAnswers, SwappedLengthsAreNoticed) {
  const ShortLimits limits;
  publish("new", R"([{"path":"a"},{"path":"b"}])");
  const auto announce = [](const std::string& length, const std::string& body) {
    return [=](const ServerRequest&, Socket& socket) {
      return socket.send("HTTP/1.1 200 OK\r\nContent-Length: " + length + "\r\n\r\n" + body);
    };
  };
  server_.handle("/lib/a", announce("12", "short"));
  server_.handle("/lib/b", announce("5", "not so short"));
  EXPECT_EQ(run(), -1);
  EXPECT_THAT(callback_.errors(), testing::ElementsAre(HasSubstr("reason=8 ")));
  EXPECT_EQ(readTree(target_), (Files{{"id.txt", "old"}}));
}

TEST_F(FaultyAnswers, IdleConnectionsMayBeClosedBetweenRequests) {
  std::string list = "[";
  for (int i = 0; i < 50; ++i) {
    const std::string name = "f" + std::to_string(i);
    list += (i > 0 ? "," : "") + (R"({"path":")" + name) + R"("})";
    server_.handle("/lib/" + name, [](const ServerRequest&, Socket& socket) {
      socket.send(ScriptedServer::response(200, "content"));
      return false;
    });
  }
  publish("new", list + "]");
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(callback_.errors().empty());
  EXPECT_EQ(readTree(target_).size(), 51U);
  EXPECT_GE(server_.connectionCount(), 50);
}

TEST_F(FaultyAnswers, ATlsServerThatTalksGarbageIsRefused) {
  Socket listener = Socket::listenOnLoopback();
  settings_.remoteAddress = ("https://127.0.0.1:" + std::to_string(listener.port())).c_str();
  std::thread server([&listener] {
    const Socket socket = listener.accept();
    socket.send("220 mail.example ESMTP ready\r\n");
  });
  EXPECT_EQ(run(), -1);
  server.join();
  EXPECT_THAT(callback_.errors(),
              testing::ElementsAre(HasSubstr("Connection error: reason=3 extraF=0 ")));
  EXPECT_EQ(readTree(target_), (Files{{"id.txt", "old"}}));
}

TEST_F(FaultyAnswers, ATlsServerThatNeverAnswersIsGivenUp) {
  const ShortLimits limits;
  const Socket silent = Socket::listenOnLoopback();
  settings_.remoteAddress = ("https://127.0.0.1:" + std::to_string(silent.port())).c_str();
  const auto begin = Clock::now();
  EXPECT_EQ(run(), -1);
  EXPECT_LT(Clock::now() - begin, std::chrono::seconds(kLongestRunSeconds));
  EXPECT_THAT(callback_.errors(),
              testing::ElementsAre(HasSubstr("Connection error: reason=8 extraF=0 underlying=28")));
}

}  // namespace
