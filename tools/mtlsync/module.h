// The plug-in: found, loaded, and what it hands out, each released in time.
#ifndef MTLLIB_TOOLS_MTLSYNC_MODULE_H_
#define MTLLIB_TOOLS_MTLSYNC_MODULE_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "mtllib/downloader_interface.h"
#include "mtlsync/error_text.h"
#include "mtlsync/system.h"

namespace mtlsync {

/// Where a program in `programFolder` looks for the module, in this order.
std::vector<std::string> moduleCandidates(const std::string& programFolder);

/// A loaded module of the right version.
class Module {
 public:
  /// Loads `file`, or without one the first of `candidates` that exists. Null, with the
  /// reason in `problem`, when there is none or it cannot be used.
  static std::unique_ptr<Module> load(const std::string& file,
                                      const std::vector<std::string>& candidates,
                                      ErrorEntries& problem);

  const DownloaderInterface& table() const { return table_; }

 private:
  explicit Module(std::unique_ptr<SharedLibrary> library) : library_(std::move(library)) {}

  std::unique_ptr<SharedLibrary> library_;
  DownloaderInterface table_{};
};

/// A started networking library. The module must outlive it.
class StartedNetwork {
 public:
  explicit StartedNetwork(const Module& module)
      : table_(module.table()), context_(table_.createNetworkContext()) {}
  ~StartedNetwork() { table_.destroyNetworkContext(context_); }
  StartedNetwork(const StartedNetwork&) = delete;
  StartedNetwork& operator=(const StartedNetwork&) = delete;

  /// False, with the reason in `problem`, when no downloader should be used.
  bool isUsable(ErrorEntries& problem) const;

 private:
  const DownloaderInterface& table_;
  NetworkContext* context_;
};

/// A downloader. The module, the callback and the settings must outlive it.
class Downloader {
 public:
  Downloader(const Module& module, HostCallback& callback, DownloaderSettings& settings)
      : table_(module.table()), downloader_(table_.createDownloader(&callback, &settings)) {}
  ~Downloader() { table_.destroyDownloader(downloader_); }
  Downloader(const Downloader&) = delete;
  Downloader& operator=(const Downloader&) = delete;

  bool isMade() const { return downloader_ != nullptr; }

  /// The module's own results: negative when failed; above 0 from a check that found an
  /// update.
  int run() { return table_.runDownload(downloader_); }
  int check() { return table_.checkForUpdate(downloader_); }

 private:
  const DownloaderInterface& table_;
  DownloaderImpl* downloader_;
};

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_MODULE_H_
