// A host in C++, compiled against the public headers by another compiler than the library.
// usage: cpp_host MODULE URL DIRECTORY
#include <mtllib/downloader_interface.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "host_platform.h"

namespace {

void print(const char* kind, const char* format, std::va_list arguments) {
  std::printf("%s: ", kind);
  std::vprintf(format, arguments);
  std::printf("\n");
}

class Callback final : public HostCallback {
 public:
  void setProgressRange(int end) override { range = end; }
  void setProgressValue(int permille) override { value = permille; }
  void setProgressText(const char* text) override { std::printf("text: %s\n", text); }
  int isAborted(Krell::Networking::ReqTokenGeneralType*,
                Krell::Networking::TransferProgress* progress,
                Krell::Networking::Response*) override {
    if (progress->receivedBytes > mostBytes) mostBytes = progress->receivedBytes;
    return 0;
  }
  void beginProgress() override { ++begun; }
  void endProgress() override { ++ended; }
  void logStage(const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    print("stage", format, arguments);
    va_end(arguments);
  }
  void logTaggedError(const char* tag, int code, const char* format, ...) override {
    std::printf("[%s] %d ", tag, code);
    std::va_list arguments;
    va_start(arguments, format);
    print("tagged", format, arguments);
    va_end(arguments);
  }
  void reportError(ErrorChain* chain) override { error = *chain; }
  void logWarning(const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    print("warning", format, arguments);
    va_end(arguments);
  }
  void logInfo(const char* format, ...) override {
    std::va_list arguments;
    va_start(arguments, format);
    print("info", format, arguments);
    va_end(arguments);
  }

  std::atomic<int> range{0};
  std::atomic<int> value{0};
  std::atomic<std::int64_t> mostBytes{0};
  int begun = 0;
  int ended = 0;
  ErrorChain error;
};

}  // namespace

int main(int argc, char** argv) {
  printBytesAsTheyAre();
  Export symbol = argc == 4 ? findExport(argv[1], INIT_DOWNLOADER_INTERFACE_NAME) : nullptr;
  if (symbol == nullptr) return 2;
  DownloaderInterface library;
  reinterpret_cast<InitDownloaderInterfaceFunction>(symbol)(&library);
  if (library.version != DOWNLOADER_INTERFACE_VERSION) return 3;

  NetworkContext* network = library.createNetworkContext();
  char status[64];
  if (library.getKrellNetworkingStatus(network, sizeof(status), status) != 0) return 4;
  std::printf("network: %s\n", status);

  Callback callback;
  DownloaderSettings settings;
  settings.remoteAddress = argv[2];
  settings.proxyMode = PROXY_MODE_DISABLED;
  settings.targetDirectory = argv[3];
  DownloaderImpl* downloader = library.createDownloader(&callback, &settings);
  std::printf("check: %d\n", library.checkForUpdate(downloader));
  const int result = library.runDownload(downloader);
  library.destroyDownloader(downloader);
  library.destroyNetworkContext(network);

  std::printf("progress: %d of %d, %d bytes, begun %d, ended %d\n", callback.value.load(),
              callback.range.load(), static_cast<int>(callback.mostBytes), callback.begun,
              callback.ended);
  for (const ErrorRecord* record = callback.error.head; record != nullptr; record = record->next) {
    std::printf("error: [%s] %d: %s\n", record->tag, record->code, record->message);
  }
  std::printf("result: %d\n", result);
  return result == 0 ? 0 : 1;
}
