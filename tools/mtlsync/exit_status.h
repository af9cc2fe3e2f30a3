// The exit statuses of the program.
#ifndef MTLLIB_TOOLS_MTLSYNC_EXIT_STATUS_H_
#define MTLLIB_TOOLS_MTLSYNC_EXIT_STATUS_H_

namespace mtlsync {

enum ExitStatus : int {
  kExitDone = 0,
  kExitFailed = 1,
  kExitWrongUsage = 2,
  kExitNetwork = 3,     ///< The network or the server: worth trying later.
  kExitDisk = 4,        ///< The local disk or folder.
  kExitContent = 5,     ///< Content that is not what was published.
  kExitAnotherRun = 6,  ///< Another run is at work on the copy.
  kExitDifferent = 7,   ///< Of --verify.
  kExitUpdateAvailable = 100,
  kExitInterrupted = 130
};

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_EXIT_STATUS_H_
