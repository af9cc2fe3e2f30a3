// Synchronises a library with the least a host needs.
#include <dlfcn.h>
#include <mtllib/downloader_interface.h>

#include <cstdio>

struct Callback final : HostCallback {
  void setProgressRange(int) override {}
  void setProgressValue(int permille) override {
    std::printf("%d.%d %%\n", permille / 10, permille % 10);
  }
  void setProgressText(const char* text) override { std::puts(text); }
  int isAborted(Krell::Networking::ReqTokenGeneralType*, Krell::Networking::TransferProgress*,
                Krell::Networking::Response*) override {
    return 0;
  }
  void beginProgress() override {}
  void endProgress() override {}
  void logStage(const char*, ...) override {}
  void logTaggedError(const char*, int, const char* format, ...) override { std::puts(format); }
  void reportError(ErrorChain* chain) override {
    for (const ErrorRecord* e = chain->head; e; e = e->next)
      std::puts(e->message);
  }
  void logWarning(const char* format, ...) override { std::puts(format); }
  void logInfo(const char*, ...) override {}
};

int main(int argc, char** argv) {
  void* module = argc == 4 ? dlopen(argv[1], RTLD_NOW) : nullptr;
  void* symbol = module ? dlsym(module, INIT_DOWNLOADER_INTERFACE_NAME) : nullptr;
  if (!symbol) return std::puts("usage: minimal_host MODULE URL DIRECTORY"), 2;
  DownloaderInterface mtllib;
  reinterpret_cast<InitDownloaderInterfaceFunction>(symbol)(&mtllib);
  if (mtllib.version != DOWNLOADER_INTERFACE_VERSION) return 1;
  NetworkContext* network = mtllib.createNetworkContext();
  Callback callback;
  DownloaderSettings settings;
  settings.remoteAddress = argv[2];
  settings.targetDirectory = argv[3];
  DownloaderImpl* downloader = mtllib.createDownloader(&callback, &settings);
  const int result = mtllib.runDownload(downloader);
  mtllib.destroyDownloader(downloader);
  mtllib.destroyNetworkContext(network);
  return result == 0 ? 0 : 1;
}
