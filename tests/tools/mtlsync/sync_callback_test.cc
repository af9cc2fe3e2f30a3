// What the program makes of each callback.
#include "mtlsync/sync_callback.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace mtlsync {
namespace {

using Krell::Networking::ReqTokenGeneralType;
using Krell::Networking::TransferProgress;

class SyncCallbackTest : public testing::Test {
 protected:
  SyncCallback callbackWith(Verbosity verbosity, const SizeLimits& limits = {}) {
    return {{messages_, &progress_, nullptr}, verbosity, limits, [this] { return stop_; }};
  }

  int receive(HostCallback& callback, int request, std::int64_t bytes) {
    TransferProgress state{0, bytes};
    return callback.isAborted(reinterpret_cast<ReqTokenGeneralType*>(&requests_[request]), &state,
                              nullptr);
  }

  bool stop_ = false;
  int requests_[2]{};
  std::ostringstream stream_;
  Console messages_{stream_, {}};
  ProgressDisplay progress_{messages_};
};

TEST_F(SyncCallbackTest, CountsFilesAndBytes) {
  SyncCallback callback = callbackWith(Verbosity::kNormal);
  callback.logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 10LL);
  callback.logStage("Saving file \"%s\"", "a.tx");
  callback.logStage("Downloading file \"%s\" (%lli bytes)", "b.tx", 20LL);
  receive(callback, 0, 10);
  receive(callback, 1, 15);
  receive(callback, 1, 20);
  EXPECT_EQ(callback.record().files, 2);
  EXPECT_EQ(callback.record().bytes, 30);
  EXPECT_FALSE(callback.record().stampsMatched);
}

TEST_F(SyncCallbackTest, NoticesThatThereWasNothingToDo) {
  SyncCallback callback = callbackWith(Verbosity::kNormal);
  callback.logStage("Local and remote stamp files match. Nothing to do.");
  EXPECT_TRUE(callback.record().stampsMatched);
}

TEST_F(SyncCallbackTest, AnswersNonZeroOnceStopped) {
  SyncCallback callback = callbackWith(Verbosity::kNormal);
  EXPECT_EQ(receive(callback, 0, 0), 0);
  stop_ = true;
  EXPECT_NE(receive(callback, 0, 0), 0);
  EXPECT_NE(callback.isAborted(nullptr, nullptr, nullptr), 0);
}

TEST_F(SyncCallbackTest, DoesNotRepeatToWhoeverStoppedItThatItWasStopped) {
  SyncCallback callback = callbackWith(Verbosity::kNormal);
  stop_ = true;
  callback.showError(
      {{"tag", -1, "Could not download list file"}, {"", -1, "Download aborted (1)"}});
  EXPECT_EQ(stream_.str(), "");
  callback.showError({{"tag", -1, "Disk full"}});
  EXPECT_EQ(stream_.str(), "mtlsync: error: Disk full\n");
}

TEST_F(SyncCallbackTest, EndsARunWithAFileThatIsTooLarge) {
  SyncCallback callback = callbackWith(Verbosity::kNormal, {1000, 0});
  EXPECT_EQ(receive(callback, 0, 1000), 0);
  EXPECT_EQ(receive(callback, 1, 1000), 0);
  EXPECT_EQ(callback.record().exceededLimit, "");
  EXPECT_NE(receive(callback, 1, 1001), 0);
  EXPECT_NE(receive(callback, 0, 1000), 0);
  EXPECT_EQ(callback.record().exceededLimit, "a file is larger than 1 kB (--max-file-size)");
}

TEST_F(SyncCallbackTest, EndsARunThatFetchesTooMuch) {
  SyncCallback callback = callbackWith(Verbosity::kNormal, {0, 1000});
  EXPECT_EQ(receive(callback, 0, 600), 0);
  EXPECT_EQ(receive(callback, 0, 0), 0);
  EXPECT_EQ(receive(callback, 0, 400), 0);
  EXPECT_NE(receive(callback, 1, 1), 0);
  EXPECT_EQ(callback.record().exceededLimit,
            "the files together are larger than 1 kB (--max-total-size)");
}

TEST_F(SyncCallbackTest, LeavesTheChainOfATooLargeFileToVerboseRuns) {
  SyncCallback callback = callbackWith(Verbosity::kNormal, {1000, 0});
  receive(callback, 0, 1001);
  callback.showError({{"tag", -1, "Download aborted (1)"}});
  EXPECT_EQ(stream_.str(), "");
  SyncCallback verbose = callbackWith(Verbosity::kVerbose, {1000, 0});
  receive(verbose, 0, 1001);
  verbose.showError({{"tag", -1, "Download aborted (1)"}});
  EXPECT_EQ(stream_.str(), "mtlsync: error: Download aborted (1) [tag, code -1]\n");
}

TEST_F(SyncCallbackTest, ExceedsNothingOnceStopped) {
  SyncCallback callback = callbackWith(Verbosity::kNormal, {1000, 0});
  stop_ = true;
  receive(callback, 0, 1001);
  EXPECT_EQ(callback.record().exceededLimit, "");
}

TEST_F(SyncCallbackTest, PrintsStagesOnlyWhenVerbose) {
  SyncCallback normal = callbackWith(Verbosity::kNormal);
  normal.logStage("Creating download directory");
  normal.logInfo("Remote address: \"%s\"", "http://a");
  EXPECT_EQ(stream_.str(), "");
  SyncCallback verbose = callbackWith(Verbosity::kVerbose);
  verbose.logStage("Creating download directory");
  verbose.logInfo("Remote address: \"%s\"", "http://a");
  EXPECT_EQ(stream_.str(), "Creating download directory\nRemote address: \"http://a\"\n");
}

TEST_F(SyncCallbackTest, PrintsWarningsUnlessQuiet) {
  SyncCallback quiet = callbackWith(Verbosity::kQuiet);
  quiet.logWarning("Incorrect size of json file list (%lli bytes)", 0LL);
  quiet.logTaggedError("A::b", -1, "Ivalid http proxy address \"%s\".", "?");
  EXPECT_EQ(stream_.str(), "");
  EXPECT_EQ(quiet.record().lastWarning, "Incorrect size of json file list (0 bytes)");
  SyncCallback normal = callbackWith(Verbosity::kNormal);
  normal.logWarning("Incorrect size of json file list (%lli bytes)", 0LL);
  normal.logTaggedError("A::b", -1, "Ivalid http proxy address \"%s\".", "?");
  EXPECT_EQ(stream_.str(),
            "mtlsync: warning: Incorrect size of json file list (0 bytes)\n"
            "mtlsync: warning: Ivalid http proxy address \"?\".\n");
}

TEST_F(SyncCallbackTest, TakesCallsOfTwoThreads) {
  SyncCallback callback = callbackWith(Verbosity::kVerbose);
  std::thread network([&] {
    for (int i = 1; i <= 1000; ++i) {
      receive(callback, 0, i);
      callback.setProgressValue(i);
    }
  });
  for (int i = 0; i < 1000; ++i)
    callback.logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 1LL);
  network.join();
  EXPECT_EQ(callback.record().files, 1000);
  EXPECT_EQ(callback.record().bytes, 1000);
}

}  // namespace
}  // namespace mtlsync
