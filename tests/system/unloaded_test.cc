// Tests a host that unloads the module before it releases what it has received from it.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "fakes/recording_callback.h"
#include "fakes/silent_callback.h"
#include "library_under_test.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace {

class KeepingCallback final : public SilentCallback {
 public:
  void reportError(ErrorChain* chain) override { kept = *chain; }
  ErrorChain kept;
};

/// A downloader that was made, perhaps used, and destroyed.
void useDownloader(const DownloaderInterface& library, HostCallback& callback,
                   DownloaderSettings& settings, bool runs) {
  NetworkContext* context = library.createNetworkContext();
  DownloaderImpl* downloader = library.createDownloader(&callback, &settings);
  const std::int32_t result = runs ? library.checkForUpdate(downloader) : -1;
  EXPECT_LT(result, 0);
  library.destroyDownloader(downloader);
  library.destroyNetworkContext(context);
}

class UnloadedModule : public testing::Test {
 protected:
  UnloadedModule() { module_->fill(&library_); }

  std::unique_ptr<LibraryUnderTest> module_ = std::make_unique<LibraryUnderTest>();
  DownloaderInterface library_{};
  KeepingCallback callback_;
  DownloaderSettings settings_;
};

TEST_F(UnloadedModule, LeavesTheAddressThatItFilledIn) {
  useDownloader(library_, callback_, settings_, false);
  module_.reset();
  const QUtils::CharString shared = settings_.remoteAddress;
  settings_.remoteAddress.append("/more");
  EXPECT_EQ(std::string(settings_.remoteAddress.text()), std::string(shared.text()) + "/more");
}

TEST_F(UnloadedModule, LeavesTheErrorsThatWereKept) {
  ScriptedServer server;
  settings_.remoteAddress = server.address().c_str();
  settings_.proxyMode = PROXY_MODE_DISABLED;
  useDownloader(library_, callback_, settings_, true);
  module_.reset();
  EXPECT_EQ(chainText(callback_.kept),
            "[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
            "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)");
}

}  // namespace
