// Signals.
#include "mtlpublish/interrupt.h"

#include <csignal>
#include <cstdlib>

namespace mtlpublish {

namespace {

void end(int /*signal*/) {
  std::_Exit(0);
}

}  // namespace

void endWhenInterrupted() {
  std::signal(SIGINT, end);
  std::signal(SIGTERM, end);
}

}  // namespace mtlpublish
