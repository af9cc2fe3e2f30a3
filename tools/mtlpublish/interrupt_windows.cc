// Events of the console.
#include "mtlpublish/interrupt.h"

#include "platform/win32.h"
#include "process/standard_streams.h"

namespace mtlpublish {

namespace {

BOOL WINAPI end(DWORD /*event*/) {
  process::StandardStreams::restore();
  TerminateProcess(GetCurrentProcess(), 0);
  return TRUE;
}

}  // namespace

void endWhenInterrupted() {
  SetConsoleCtrlHandler(end, TRUE);
}

}  // namespace mtlpublish
