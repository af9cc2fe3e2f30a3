// The host says stop: in every phase the run ends at once, through the library's own
// path.
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "system_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;
using std::chrono::milliseconds;

class Abort : public SystemTest {
 protected:
  Abort() {
    writeFile(target("id.txt"), "old");
    publish("new", R"([{"path":"a"},{"path":"b"}])");
    server_.serve("/lib/a", "a");
    server_.serve("/lib/b", "b");
    callback_.abortAnswer = [this](auto*...) { return abort_ ? 5 : 0; };
  }

  // Runs until `target` is requested and not answered, then aborts.
  void expectAbortAt(const std::string& target, std::size_t requests, const std::string& chain) {
    server_.hold(target);
    Clock::time_point aborted;
    std::thread host([&] {
      EXPECT_TRUE(server_.waitForRequests(requests));
      aborted = Clock::now();
      abort_ = true;
    });
    EXPECT_LT(run(), 0);
    const auto ended = Clock::now();
    host.join();
    EXPECT_LT(ended - aborted, milliseconds(200));
    EXPECT_EQ(callback_.errors(), Lines{chain});
    EXPECT_EQ(readFile(SystemTest::target("id.txt")), "old");
  }

  std::atomic<bool> abort_{false};
};

TEST_F(Abort, WhileTheStampIsAwaited) {
  expectAbortAt("/lib/id.txt", 1,
                "[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
                "[HttpGetter::responseProgressCb] -1: Download aborted (5)");
}

TEST_F(Abort, WhileTheListIsAwaited) {
  expectAbortAt("/lib/filelist.json", 2,
                "[DownloaderImpl::downloadListFile] -1: Could not download list file | "
                "[HttpGetter::responseProgressCb] -1: Download aborted (5)");
}

TEST_F(Abort, WhileAFileIsAwaited) {
  server_.hold("/lib/b");
  expectAbortAt("/lib/a", 4, "[HttpGetter::responseProgressCb] -1: Download aborted (5)");
}

TEST_F(Abort, WhileTheServerDoesNotAcceptTheConnection) {
  // A listener whose queue nobody empties: the handshake of TLS never gets an answer.
  const Socket silent = Socket::listenOnLoopback();
  settings_.remoteAddress = ("https://127.0.0.1:" + std::to_string(silent.port())).c_str();
  std::atomic<int> asked{0};
  callback_.abortAnswer = [&](auto*...) { return ++asked > 3 ? 1 : 0; };
  const auto begin = Clock::now();
  EXPECT_LT(run(), 0);
  EXPECT_LT(Clock::now() - begin, milliseconds(1000));
  EXPECT_EQ(callback_.errors(),
            Lines{"[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
                  "[HttpGetter::responseProgressCb] -1: Download aborted (1)"});
}

TEST_F(Abort, ReceivesTheBytesSoFar) {
  server_.serve("/lib/a", std::string(2000000, 'x'));
  std::atomic<std::int64_t> most{0};
  callback_.abortAnswer = [&](auto*, Krell::Networking::TransferProgress* progress, auto*) {
    most = std::max(most.load(), progress->receivedBytes);
    return progress->receivedBytes > 1000000 ? 7 : 0;
  };
  EXPECT_LT(run(), 0);
  EXPECT_GT(most, 1000000);
  EXPECT_LT(most, 2000000);
  EXPECT_EQ(callback_.errors(), Lines{"[HttpGetter::responseProgressCb] -1: Download aborted (7)"});
}

}  // namespace
