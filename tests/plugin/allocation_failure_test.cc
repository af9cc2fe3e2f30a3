// A run in which an allocation fails: everything is released, and the next run works.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "fakes/failing_allocation.h"
#include "fakes/fake_networking.h"
#include "mtllib/downloader_interface.h"
#include "plugin/entry_points.h"
#include "support/temp_dir.h"

namespace {

/// A host that allocates nothing.
class SilentCallback final : public HostCallback {
 public:
  void setProgressRange(int) override {}
  void setProgressValue(int) override {}
  void setProgressText(const char*) override {}
  int isAborted(Krell::Networking::ReqTokenGeneralType*, Krell::Networking::TransferProgress*,
                Krell::Networking::Response*) override {
    return 0;
  }
  void beginProgress() override {}
  void endProgress() override {}
  void logStage(const char*, ...) override {}
  void logTaggedError(const char*, int, const char*, ...) override {}
  void reportError(ErrorChain*) override {}
  void logWarning(const char*, ...) override {}
  void logInfo(const char*, ...) override {}
};

// Runs `download` with each allocation in turn failing, until none is left to fail, and
// expects a full copy after every failed run.
TEST(AllocationFailure, PassesThroughARunThatCanBeRepeated) {
  FakeNetwork network;
  std::string list = "[";
  for (int i = 0; i < 8; ++i) {
    const std::string name = "f" + std::to_string(i);
    list += "{\"path\":\"" + name + "\",\"size\":4},";
    network.respond("/lib/" + name, "body");
  }
  list += "{}]\n";
  network.respond("/lib/filelist.json", list);
  network.respond("/lib/id.txt", "stamp");
  DownloaderInterface table{};
  fillDownloaderInterface(&table);
  SilentCallback callback;

  int failures = 0;
  bool complete = false;
  for (long long good = 0; !complete; ++good) {
    ASSERT_LT(good, 100000) << "runs make no progress";
    const TempDir directory;
    DownloaderSettings settings;
    settings.remoteAddress = "http://h/lib";
    settings.proxyMode = PROXY_MODE_DISABLED;
    settings.targetDirectory = directory.path().generic_u8string().c_str();
    DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
    FailingAllocation::countdown = good;
    try {
      EXPECT_EQ(table.runDownload(downloader), 0) << good;
      complete = FailingAllocation::countdown >= 0;
      FailingAllocation::countdown = -1;
      EXPECT_TRUE(complete) << good;
    } catch (const std::bad_alloc&) {
      FailingAllocation::countdown = -1;
      ++failures;
      EXPECT_EQ(readFile(directory / "id.txt"), "") << good;
      EXPECT_EQ(table.runDownload(downloader), 0) << good;
    }
    EXPECT_EQ(readFile(directory / "id.txt"), "stamp") << good;
    EXPECT_EQ(readFile(directory / "f7"), "body") << good;
    table.destroyDownloader(downloader);
  }
  EXPECT_GT(failures, 10);
}

// A getter that was stored before it was complete would be taken for a complete one.
TEST(AllocationFailure, LeavesNoGetterHalfConfigured) {
  SilentCallback callback;
  DownloaderInterface table{};
  fillDownloaderInterface(&table);
  bool complete = false;
  for (long long good = 0; !complete; ++good) {
    ASSERT_LT(good, 1000) << "set-ups make no progress";
    FakeNetwork network;
    network.respond("/lib/id.txt", "stamp");
    const TempDir directory;
    DownloaderSettings settings;
    settings.remoteAddress = "http://h/lib";
    settings.proxyMode = PROXY_MODE_DISABLED;
    settings.targetDirectory = directory.path().generic_u8string().c_str();
    DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
    FailingAllocation::countdown = good;
    try {
      EXPECT_EQ(table.checkForUpdate(downloader), 1);
      complete = true;
    } catch (const std::bad_alloc&) {
    }
    FailingAllocation::countdown = -1;
    EXPECT_EQ(table.checkForUpdate(downloader), 1) << good;
    EXPECT_THAT(network.log(), testing::Contains("setHeaders(\"User-Agent: mtldownloader\", 0)"))
        << good;
    table.destroyDownloader(downloader);
  }
}

}  // namespace
