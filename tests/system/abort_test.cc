// Tests that a host can abort a run: in every phase the run ends at once, in the library's own
// orderly way.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "support/promptly.h"
#include "system_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

class Abort : public SystemTest {
 protected:
  Abort() {
    writeFile(target("id.txt"), "old");
    publishFiles(2);
  }

  /// Runs until the server is asked for `path`, which it does not answer, and aborts then; as
  /// often as that takes too long. The transcript is of the last run.
  void expectPromptAbort(const std::string& path) {
    server_.hold(path);
    callback_.abortAnswer = [this](auto*...) { return abort_ ? 5 : 0; };
    expectPromptly([&] {
      abort_ = false;
      beginTranscript();
      Clock::time_point aborted;
      transcript_.after("GET " + path + " ", [&] {
        aborted = Clock::now();
        abort_ = true;
      });
      EXPECT_EQ(run(), -1);
      EXPECT_TRUE(abort_);
      return Clock::now() - aborted;
    });
  }

  std::atomic<bool> abort_{false};
};

TEST_F(Abort, WhileTheStampIsAwaited) {
  expectPromptAbort("/lib/id.txt");
  expectTranscript(R"--(
      on disk: target/id.txt "old"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      reportError("DownloaderImpl::readRemoteIdFile", -1, "Could not download remote stamp file")
      over("HttpGetter::responseProgressCb", -1, "Download aborted (5)")
      returned -1
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Abort, WhileTheListIsAwaited) {
  expectPromptAbort("/lib/filelist.json");
  expectTranscript(R"--(
      on disk: target/id.txt "old"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Local and remote stamp files are different.")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      reportError("DownloaderImpl::downloadListFile", -1, "Could not download list file")
      over("HttpGetter::responseProgressCb", -1, "Download aborted (5)")
      returned -1
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Abort, WhileFilesAreAwaited) {
  server_.hold("/lib/f0");
  expectPromptAbort("/lib/f1");
  expectTranscript(R"--(
      on disk: target/id.txt "old"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Local and remote stamp files are different.")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      setProgressText("Downloading files (0MB / 0MB)")
      setProgressRange(1000)
      setProgressValue(0)
      beginProgress()
      logStage("Downloading file \"%s\" (%lli bytes)", "f0", 10)
      GET /lib/f0 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f1", 10)
      GET /lib/f1 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      reportError("HttpGetter::responseProgressCb", -1, "Download aborted (5)")
      endProgress()
      returned -1
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Abort, OfOneFileEndsTheRunAndDropsTheOther) {
  // Only the first piece of a body is answered so, and nothing of it counts.
  answer("/lib/f0", "GET /lib/f1 ");
  server_.hold("/lib/f1");
  callback_.abortAnswer = [this](auto*, Krell::Networking::TransferProgress* progress, auto*) {
    if (progress->receivedBytes != 10 || abort_.exchange(true)) return 0;
    server_.release("/lib/f1");
    return -7;
  };
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Local and remote stamp files are different.")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      setProgressText("Downloading files (0MB / 0MB)")
      setProgressRange(1000)
      setProgressValue(0)
      beginProgress()
      logStage("Downloading file \"%s\" (%lli bytes)", "f0", 10)
      GET /lib/f0 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f1", 10)
      GET /lib/f1 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(500)
      reportError("HttpGetter::responseProgressCb", -1, "Download aborted (-7)")
      endProgress()
      returned -1
      on disk: target/id.txt "old"
  )--");
}

// isAborted() is not part of the transcripts, so its arguments are recorded here.
TEST_F(Abort, IsAskedForEveryPieceOfEveryRequest) {
  std::vector<std::int64_t> bytes;
  std::vector<void*> requests;
  callback_.abortAnswer = [&](auto* request, Krell::Networking::TransferProgress* progress,
                              auto* response) {
    EXPECT_NE(request, nullptr);
    EXPECT_NE(response, nullptr);
    if (progress->receivedBytes == 0) return 0;  // Asked while nothing arrives.
    bytes.push_back(progress->receivedBytes);
    requests.push_back(request);
    return 0;
  };
  EXPECT_EQ(run(), 0);
  // The stamp, the list and two files, each small enough for one piece.
  EXPECT_EQ(bytes, (std::vector<std::int64_t>{3, 50, 10, 10}));
  // Files run on clients of their own.
  ASSERT_EQ(requests.size(), 4U);
  EXPECT_NE(requests[2], requests[3]);
}

TEST_F(Abort, WhileTheServerDoesNotAcceptTheConnection) {
  // A listener whose queue nobody empties: the handshake of TLS never gets an answer.
  const Socket silent = Socket::listenOnLoopback();
  settings_.remoteAddress = ("https://127.0.0.1:" + std::to_string(silent.port())).c_str();
  expectPromptly([&] {
    int asked = 0;
    Clock::time_point begin;
    callback_.abortAnswer = [&](auto*...) {
      // Between the first two, the authorities that are trusted are read, however long that takes.
      if (++asked == 2) begin = Clock::now();
      return asked > 4 ? 1 : 0;
    };
    callback_.clear();
    EXPECT_LT(run(), 0);
    const auto taken = Clock::now() - begin;
    EXPECT_EQ(callback_.errors(),
              Lines{"[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
                    "[HttpGetter::responseProgressCb] -1: Download aborted (1)"});
    return taken;
  });
}

TEST_F(Abort, ReceivesTheBytesSoFar) {
  server_.serve("/lib/f0", std::string(2000000, 'x'));
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
