// Signals.
#include "mtlpublish/interrupt.h"

#include <csignal>
#include <cstdlib>

namespace mtlpublish {

namespace {

// Any thread may be the one that is interrupted. AddressSanitizer looks at its stack before a
// call that does not return, and complains when the thread is only just starting.
[[gnu::no_sanitize_address]] void end(int /*signal*/) {
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
