// A console has a code page and modes, which outlive the program.
#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include "platform/win32.h"
#include "process/standard_streams.h"

namespace process {

namespace {

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

}  // namespace

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

}  // namespace process
