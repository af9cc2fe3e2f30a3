// The Windows side.
#include <atomic>

#include "platform/win32.h"
#include "platform/windows/wide_text.h"
#include "process/standard_streams.h"
#include "process/system.h"

namespace process {

namespace {

constexpr int kDefaultWidth = 80;

std::atomic<bool> stopNoted{false};

HANDLE handleOf(OutputStream stream) {
  return GetStdHandle(stream == OutputStream::kOut ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

// Called on a thread of its own.
BOOL WINAPI noteStop(DWORD event) {
  const bool isSecond = stopNoted.exchange(true);
  if (isSecond) {
    StandardStreams::restore();
    TerminateProcess(GetCurrentProcess(), STATUS_CONTROL_C_EXIT);
  }
  if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) return TRUE;
  // The window is closed or the session ends: the program has the few seconds that the
  // system waits for this function to return.
  Sleep(INFINITE);
  return TRUE;
}

}  // namespace

bool isTerminal(OutputStream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handleOf(stream), &mode) != 0 &&
         (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

int terminalWidth(OutputStream stream) {
  CONSOLE_SCREEN_BUFFER_INFO screen;
  if (GetConsoleScreenBufferInfo(handleOf(stream), &screen) == 0) return kDefaultWidth;
  return screen.srWindow.Right - screen.srWindow.Left + 1;
}

std::string environmentVariable(const std::string& name) {
  const std::wstring wide = Platform::wideOf(name);
  std::wstring value(GetEnvironmentVariableW(wide.c_str(), nullptr, 0), L'\0');
  const DWORD length =
      GetEnvironmentVariableW(wide.c_str(), value.data(), static_cast<DWORD>(value.size()));
  value.resize(length < value.size() ? length : 0);
  return Platform::utf8Of(value);
}

void catchStopSignals() {
  SetConsoleCtrlHandler(noteStop, TRUE);
}

bool stopRequested() {
  return stopNoted;
}

void surviveBrokenPipes() {}

}  // namespace process
