// A host that links the module: nothing is looked up at run time.
#include <mtllib/downloader_interface.h>

#include <cstdio>

struct Callback final : HostCallback {
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
  void reportError(ErrorChain* chain) override {
    for (ErrorRecord* error = chain->head; error; error = error->next)
      std::puts(error->message);
  }
  void logWarning(const char*, ...) override {}
  void logInfo(const char*, ...) override {}
};

int main(int argc, char** argv) {  // URL DIRECTORY
  if (argc != 3) return 2;
  DownloaderInterface mtllib;
  initDownloaderInterface(&mtllib);
  NetworkContext* network = mtllib.createNetworkContext();
  Callback callback;
  DownloaderSettings settings;
  settings.remoteAddress = argv[1];
  settings.targetDirectory = argv[2];
  DownloaderImpl* downloader = mtllib.createDownloader(&callback, &settings);
  const int result = mtllib.runDownload(downloader);
  mtllib.destroyDownloader(downloader);
  mtllib.destroyNetworkContext(network);
  return result == 0 ? 0 : 1;
}
