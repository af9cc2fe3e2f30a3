// What the program ends with.
#ifndef MTLLIB_TOOLS_MTLSYNC_EXIT_STATUS_H_
#define MTLLIB_TOOLS_MTLSYNC_EXIT_STATUS_H_

namespace mtlsync {

enum ExitStatus : int {
  kExitDone = 0,
  kExitFailed = 1,
  kExitWrongUsage = 2,
  kExitUpdateAvailable = 100,
  kExitInterrupted = 130
};

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_EXIT_STATUS_H_
