// A host under load: many downloaders at once, or one after the other, in one process.
// usage: load_host MODULE URL DIRECTORY threads COUNT    downloader N takes URL/N
//        load_host MODULE URL DIRECTORY cycles COUNT     each takes URL
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "mtllib/downloader_interface.h"
#include "support/dynamic_library.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

class Callback final : public HostCallback {
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
  void reportError(ErrorChain* chain) override {
    for (const ErrorRecord* record = chain->head; record != nullptr; record = record->next)
      std::fprintf(stderr, "%s\n", record->message);
  }
  void logWarning(const char*, ...) override {}
  void logInfo(const char*, ...) override {}
};

struct Usage {
  long kilobytes = 0;
  long handles = 0;
  long threads = 0;
};

long entriesIn(const char* directory) {
  return static_cast<long>(std::distance(fs::directory_iterator(directory), {}));
}

Usage usage() {
  long pages = 0;
  long resident = 0;
  const std::string text = readFile("/proc/self/statm");
  if (std::sscanf(text.c_str(), "%ld %ld", &pages, &resident) != 2) std::abort();
  return {resident * 4, entriesIn("/proc/self/fd"), entriesIn("/proc/self/task")};
}

class Host {
 public:
  explicit Host(const char* moduleFile) : module_(moduleFile) {
    void* symbol = module_.symbol(INIT_DOWNLOADER_INTERFACE_NAME);
    if (symbol == nullptr) {
      std::fprintf(stderr, "%s\n", module_.error().c_str());
      std::exit(2);
    }
    reinterpret_cast<InitDownloaderInterfaceFunction>(symbol)(&library_);
    context_ = library_.createNetworkContext();
  }
  ~Host() { library_.destroyNetworkContext(context_); }

  int run(const std::string& url, const std::string& directory) const {
    Callback callback;
    DownloaderSettings settings;
    settings.remoteAddress = url.c_str();
    settings.proxyMode = PROXY_MODE_DISABLED;
    settings.targetDirectory = directory.c_str();
    DownloaderImpl* downloader = library_.createDownloader(&callback, &settings);
    const int result = library_.runDownload(downloader);
    library_.destroyDownloader(downloader);
    return result;
  }

 private:
  DynamicLibrary module_;
  DownloaderInterface library_{};
  NetworkContext* context_ = nullptr;
};

int runThreads(const Host& host, const std::string& url, const std::string& directory, int count) {
  std::vector<int> results(static_cast<std::size_t>(count), -1);
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      const std::string name = "/" + std::to_string(i);
      results[static_cast<std::size_t>(i)] = host.run(url + name, directory + name);
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  for (const int result : results) {
    if (result != 0) return 1;
  }
  return 0;
}

// What is allocated once, and what the allocator keeps, is there after some cycles.
int runCycles(const Host& host, const std::string& url, const std::string& directory, int count) {
  constexpr int kFirst = 500;
  constexpr long kTolerance = 1024;
  Usage before;
  for (int i = 0; i < count; ++i) {
    if (i == kFirst) before = usage();
    if (host.run(url, directory) != 0) return 1;
  }
  const Usage after = usage();
  std::printf("%d cycles: memory %+ld KiB, handles %+ld, threads %+ld\n", count - kFirst,
              after.kilobytes - before.kilobytes, after.handles - before.handles,
              after.threads - before.threads);
  const bool grown = after.kilobytes > before.kilobytes + kTolerance ||
                     after.handles > before.handles || after.threads > before.threads;
  return grown ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return 2;
  const Host host(argv[1]);
  const std::string kind = argv[4];
  const int count = std::atoi(argv[5]);
  return kind == "threads" ? runThreads(host, argv[2], argv[3], count)
                           : runCycles(host, argv[2], argv[3], count);
}
