// A host process: the loaded module, a scripted server, a directory, and a record of
// everything the library says.
#ifndef MTLLIB_TESTS_SYSTEM_SYSTEM_FIXTURE_H_
#define MTLLIB_TESTS_SYSTEM_SYSTEM_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "fakes/recording_callback.h"
#include "mtllib/downloader_interface.h"
#include "support/dynamic_library.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

class SystemTest : public testing::Test {
 protected:
  SystemTest() : module_(MTLLIB_MODULE) {
    void* symbol = module_.symbol(INIT_DOWNLOADER_INTERFACE_NAME);
    if (symbol == nullptr) {
      ADD_FAILURE() << module_.error();
      std::abort();
    }
    reinterpret_cast<InitDownloaderInterfaceFunction>(symbol)(&library_);
    context_ = library_.createNetworkContext();
    target_ = directory_ / "target";
    settings_.remoteAddress = (server_.address() + "/lib").c_str();
    settings_.proxyMode = PROXY_MODE_DISABLED;
    settings_.targetDirectory = target_.c_str();
  }
  ~SystemTest() override {
    library_.destroyDownloader(downloader_);
    library_.destroyNetworkContext(context_);
  }

  DownloaderImpl* downloader() {
    if (downloader_ == nullptr) downloader_ = library_.createDownloader(&callback_, &settings_);
    return downloader_;
  }

  int run() { return library_.runDownload(downloader()); }
  int check() { return library_.checkForUpdate(downloader()); }

  /// Publishes a stamp and a list, to which the newline that it must end with is added.
  void publish(const std::string& stamp, const std::string& list) {
    server_.serve("/lib/id.txt", stamp);
    server_.serve("/lib/filelist.json", list + "\n");
  }

  std::string target(const std::string& name) const { return target_ + "/" + name; }

  DynamicLibrary module_;
  DownloaderInterface library_{};
  TempDir directory_;
  std::string target_;
  ScriptedServer server_;
  RecordingCallback callback_;
  DownloaderSettings settings_;

 private:
  NetworkContext* context_ = nullptr;
  DownloaderImpl* downloader_ = nullptr;
};

#endif  // MTLLIB_TESTS_SYSTEM_SYSTEM_FIXTURE_H_
