// A silent host for fuzz targets, with a downloader that has no network.
#ifndef MTLLIB_FUZZ_HOST_H_
#define MTLLIB_FUZZ_HOST_H_

#include <cstdlib>

#include "mtllib/host_callback.h"
#include "plugin/downloader.h"

/// What must hold for every input.
inline void require(bool holds) {
  if (!holds) std::abort();
}

class SilentCallback final : public HostCallback {
 public:
  void setProgressRange(int) override {}
  void setProgressValue(int) override {}
  void setProgressText(const char*) override {}
  /// Any other answer than 0 ends the run.
  int isAborted(Krell::Networking::ReqTokenGeneralType*, Krell::Networking::TransferProgress*,
                Krell::Networking::Response*) override {
    return ++asked_ > kPatience ? 1 : 0;
  }
  void beginProgress() override {}
  void endProgress() override {}
  void logStage(const char*, ...) override {}
  void logTaggedError(const char*, int, const char*, ...) override {}
  void reportError(ErrorChain*) override { ++errors; }
  void logWarning(const char*, ...) override { ++warnings; }
  void logInfo(const char*, ...) override {}

  int errors = 0;
  int warnings = 0;

 private:
  static constexpr int kPatience = 100;
  int asked_ = 0;
};

struct Host {
  SilentCallback callback;
  DownloaderSettings settings{};
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
};

#endif  // MTLLIB_FUZZ_HOST_H_
