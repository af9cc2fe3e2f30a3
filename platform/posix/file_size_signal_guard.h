// A FileSizeSignalGuard makes a write beyond the limit on file sizes fail with an error. Without
// it the thread is sent SIGXFSZ, which ends a host that does not expect it.
#ifndef MTLLIB_PLATFORM_POSIX_FILE_SIZE_SIGNAL_GUARD_H_
#define MTLLIB_PLATFORM_POSIX_FILE_SIZE_SIGNAL_GUARD_H_

#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace posix {

/// Stands around the writes of one thread. Where there is a limit, the signal is held back, and
/// taken away if it came; one that the host holds back itself stays.
class FileSizeSignalGuard {
 public:
  FileSizeSignalGuard() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return;
    sigset_t pending;
    sigpending(&pending);
    if (sigismember(&pending, SIGXFSZ) != 0) return;  // The host holds back its own.
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGXFSZ);
    active_ = pthread_sigmask(SIG_BLOCK, &signals_, &before_) == 0;
  }
  ~FileSizeSignalGuard() {
    if (!active_) return;
    const timespec now = {};
    while (sigtimedwait(&signals_, nullptr, &now) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  FileSizeSignalGuard(const FileSizeSignalGuard&) = delete;
  FileSizeSignalGuard& operator=(const FileSizeSignalGuard&) = delete;

 private:
  sigset_t signals_;
  sigset_t before_;
  bool active_ = false;
};

}  // namespace posix

#endif  // MTLLIB_PLATFORM_POSIX_FILE_SIZE_SIGNAL_GUARD_H_
