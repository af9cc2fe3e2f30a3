// Tests threads that leave the host's signals to the host's own threads.
#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include "platform/quiet_thread.h"

namespace {

sigset_t blockedSignals() {
  sigset_t signals;
  pthread_sigmask(SIG_SETMASK, nullptr, &signals);
  return signals;
}

TEST(QuietThread, TakesNoneOfTheHostsSignals) {
  sigset_t signals;
  sigemptyset(&signals);
  Platform::startQuietThread([&] { signals = blockedSignals(); }).join();
  for (const int signal : {SIGPIPE, SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGUSR1, SIGALRM, SIGURG})
    EXPECT_EQ(sigismember(&signals, signal), 1) << signal;
}

TEST(QuietThread, LeavesItsOwnFaultsToTheHostsCrashHandler) {
  sigset_t signals;
  sigfillset(&signals);
  Platform::startQuietThread([&] { signals = blockedSignals(); }).join();
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
    EXPECT_EQ(sigismember(&signals, signal), 0) << signal;
}

TEST(QuietThread, LeavesTheSignalsOfTheThreadThatStartsItAlone) {
  sigset_t before;
  sigemptyset(&before);
  sigaddset(&before, SIGUSR2);
  sigset_t old;
  pthread_sigmask(SIG_SETMASK, &before, &old);
  Platform::startQuietThread([] {}).join();
  const sigset_t after = blockedSignals();
  pthread_sigmask(SIG_SETMASK, &old, nullptr);
  EXPECT_EQ(sigismember(&after, SIGUSR2), 1);
  EXPECT_EQ(sigismember(&after, SIGPIPE), 0);
  EXPECT_EQ(sigismember(&after, SIGTERM), 0);
}

}  // namespace
