// Starts threads that receive no signals. A new thread inherits the signal mask, so the mask is
// set around the start.
#include "platform/quiet_thread.h"

#include <csignal>
#include <utility>

namespace Platform {

namespace {

class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t signals;
    sigfillset(&signals);
    // A fault of the thread itself must still reach the host's crash handler.
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
      sigdelset(&signals, fault);
    }
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

std::thread startQuietThread(std::function<void()> body) {
  const BlockedSignals blocked;
  return std::thread(std::move(body));
}

}  // namespace Platform
