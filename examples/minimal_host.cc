// A minimal host on the bare contract. usage: minimal_host MODULE URL DIRECTORY
#include <dlfcn.h>
#include <mtllib/downloader_interface.h>

#include <cstdio>

using namespace Krell::Networking;

// Messages hold names that the server chose, which could give a terminal commands.
static void print(const char* text) {
  for (; *text != '\0'; ++text)
    std::printf(*text >= ' ' && *text <= '~' ? "%c" : "\\x%02X", static_cast<unsigned char>(*text));
  std::puts("");
}

struct Callback final : HostCallback {
  void setProgressRange(int) override {}
  void setProgressValue(int) override {}
  void setProgressText(const char* text) override { print(text); }
  int isAborted(ReqTokenGeneralType*, TransferProgress*, Response*) override { return 0; }
  void beginProgress() override {}
  void endProgress() override {}
  void logStage(const char*, ...) override {}
  void logTaggedError(const char*, int, const char*, ...) override {}
  void reportError(ErrorChain* chain) override {
    for (ErrorRecord* error = chain->head; error != nullptr; error = error->next)
      print(error->message);
  }
  void logWarning(const char*, ...) override {}
  void logInfo(const char*, ...) override {}
};

int main(int argc, char** argv) {
  void* module = argc == 4 ? dlopen(argv[1], RTLD_NOW) : nullptr;
  void* init = module != nullptr ? dlsym(module, INIT_DOWNLOADER_INTERFACE_NAME) : nullptr;
  if (init == nullptr) return 2;
  DownloaderInterface mtllib;
  reinterpret_cast<InitDownloaderInterfaceFunction>(init)(&mtllib);
  if (mtllib.version != DOWNLOADER_INTERFACE_VERSION) return 2;
  NetworkContext* network = mtllib.createNetworkContext();
  Callback callback;
  DownloaderSettings settings{argv[2], PROXY_MODE_SYSTEM, "", argv[3], ""};
  DownloaderImpl* downloader = mtllib.createDownloader(&callback, &settings);
  const int result = mtllib.runDownload(downloader);
  mtllib.destroyDownloader(downloader);
  mtllib.destroyNetworkContext(network);
  return result == 0 ? 0 : 1;
}
