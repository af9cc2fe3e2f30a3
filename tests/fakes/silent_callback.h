// A SilentCallback is the callback object of a host that ignores every call and allocates nothing.
#ifndef MTLLIB_TESTS_FAKES_SILENT_CALLBACK_H_
#define MTLLIB_TESTS_FAKES_SILENT_CALLBACK_H_

#include "mtllib/host_callback.h"

/// Ignores everything, and never aborts.
class SilentCallback : public HostCallback {
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

#endif  // MTLLIB_TESTS_FAKES_SILENT_CALLBACK_H_
