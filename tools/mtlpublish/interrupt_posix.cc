// Signals.
#include "mtlpublish/interrupt.h"

#include <csignal>
#include <cstdlib>

namespace mtlpublish {

namespace {

void end(int /*signal*/) {
  std::_Exit(0);
}

void endAt(int signal) {
  struct sigaction action {};
  if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = end;
  sigaction(signal, &action, nullptr);
}

}  // namespace

void endWhenInterrupted() {
  endAt(SIGINT);
  endAt(SIGTERM);
}

}  // namespace mtlpublish
