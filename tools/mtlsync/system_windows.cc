// The Windows side.
#include <array>
#include <atomic>
#include <filesystem>
#include <string_view>

#include "mtlsync/system.h"
#include "platform/win32.h"
#include "platform/windows/wide_text.h"
#include "process/standard_streams.h"

namespace mtlsync {

namespace {

constexpr int kDefaultWidth = 80;

std::atomic<bool> stopNoted{false};

HANDLE handleOf(OutputStream stream) {
  return GetStdHandle(stream == OutputStream::kOut ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

std::string loadProblem(const std::string& file, const std::wstring& wide, DWORD code) {
  // The same code for the file itself and for one that it imports.
  if (code == ERROR_MOD_NOT_FOUND && GetFileAttributesW(wide.c_str()) != INVALID_FILE_ATTRIBUTES) {
    return file + ": a library that it needs could not be found";
  }
  std::string text = systemErrorText(static_cast<int>(code));
  constexpr std::string_view kFileHere = "%1";
  const std::size_t at = text.find(kFileHere);
  if (at == text.npos) return file + ": " + text;
  return text.replace(at, kFileHere.size(), file);
}

// Called on a thread of its own.
BOOL WINAPI noteStop(DWORD event) {
  const bool isSecond = stopNoted.exchange(true);
  if (isSecond) {
    process::StandardStreams::restore();
    TerminateProcess(GetCurrentProcess(), STATUS_CONTROL_C_EXIT);
  }
  if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) return TRUE;
  // The window is closed or the session ends: the program has the few seconds that the
  // system waits for this function to return.
  Sleep(INFINITE);
  return TRUE;
}

}  // namespace

SharedLibrary::SharedLibrary(const std::string& file, std::string& problem) {
  const std::wstring wide = std::filesystem::path(Platform::wideOf(file)).make_preferred().wstring();
  // What it imports lies beside it or belongs to the system: other folders are not asked.
  handle_ = LoadLibraryExW(wide.c_str(), nullptr,
                           LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (handle_ == nullptr) problem = loadProblem(file, wide, GetLastError());
}

SharedLibrary::~SharedLibrary() {
  if (handle_ != nullptr) FreeLibrary(static_cast<HMODULE>(handle_));
}

void* SharedLibrary::symbol(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

std::string moduleFileName() {
  return "mtllib.dll";
}

std::string programFolder() {
  // As long as a name can be.
  std::wstring name(32768, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
  name.resize(length);
  return Platform::utf8Of(std::filesystem::path(name).parent_path().wstring());
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

std::string systemErrorText(int number) {
  std::array<wchar_t, 1024> text{};
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
      nullptr, static_cast<DWORD>(number), 0, text.data(), static_cast<DWORD>(text.size()),
      nullptr);
  std::string message = Platform::utf8Of({text.data(), length});
  // Without line breaks, the text ends in a blank.
  while (!message.empty() && message.back() == ' ')
    message.pop_back();
  return message.empty() ? "error " + std::to_string(number) : message;
}

void catchStopSignals() {
  SetConsoleCtrlHandler(noteStop, TRUE);
}

bool stopRequested() {
  return stopNoted;
}

void surviveBrokenPipes() {}

}  // namespace mtlsync
