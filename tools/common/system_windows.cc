// The Windows implementation of system.h. A console has a code page and modes, which outlive the
// program and are restored.
#include "common/system.h"

#include "platform/win32.h"
// After the above, whose types it needs.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <atomic>
#include <cstdio>
#include <memory>

#include "platform/windows/wide_text.h"

namespace common {

namespace {

constexpr int kDefaultWidth = 80;

struct FreeLocal {
  void operator()(LPWSTR* block) const { LocalFree(block); }
};

struct Screen {
  DWORD stream;
  bool changed;
  DWORD mode;  // Before the change.
};

// Both may be the same console: what was changed first is put back last.
Screen outScreen{STD_OUTPUT_HANDLE, false, 0};
Screen errorScreen{STD_ERROR_HANDLE, false, 0};
// The console's before the change; 0 when there is no console.
UINT codePage = 0;

/// No line break is made two characters, and no character is written in parts: C++
/// flushes what it writes to standard error.
void keepBytes(std::FILE* stream) {
  _setmode(_fileno(stream), _O_BINARY);
  std::setvbuf(stream, nullptr, _IOFBF, BUFSIZ);
}

/// Lets a console obey control sequences.
void prepare(Screen& screen) {
  const HANDLE console = GetStdHandle(screen.stream);
  constexpr DWORD kWanted = ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING;
  screen.changed = GetConsoleMode(console, &screen.mode) != 0 &&
                   SetConsoleMode(console, screen.mode | kWanted) != 0;
}

void putBack(const Screen& screen) {
  if (screen.changed) SetConsoleMode(GetStdHandle(screen.stream), screen.mode);
}

// Asked last of all, before the system ends the program.
BOOL WINAPI restoreAtEnd(DWORD /*event*/) {
  StandardStreams::restore();
  return FALSE;
}

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

// main() gets the arguments in the code page, which lacks most letters, and with patterns
// replaced by the files that match. The command line itself has all.
std::vector<std::string> Arguments::textsOf(int count, const char* const* values) {
  int wideCount = 0;
  const std::unique_ptr<LPWSTR[], FreeLocal> wide(
      CommandLineToArgvW(GetCommandLineW(), &wideCount));
  if (!wide) return {values, values + count};
  std::vector<std::string> texts;
  for (int i = 0; i < wideCount; ++i)
    texts.push_back(Platform::utf8Of(wide[static_cast<std::size_t>(i)]));
  return texts;
}

StandardStreams::StandardStreams() {
  keepBytes(stdout);
  keepBytes(stderr);
  codePage = GetConsoleOutputCP();
  if (codePage != 0) SetConsoleOutputCP(CP_UTF8);
  prepare(outScreen);
  prepare(errorScreen);
  SetConsoleCtrlHandler(restoreAtEnd, TRUE);
}

void StandardStreams::restore() {
  std::fflush(stdout);
  putBack(errorScreen);
  putBack(outScreen);
  if (codePage != 0) SetConsoleOutputCP(codePage);
}

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

}  // namespace common
