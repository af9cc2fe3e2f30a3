// Runs programs with CreateProcessW, and a thread for each pipe.
#include "support/child_process.h"

#include "platform/win32.h"
// After the above, whose types it needs.
#include <psapi.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point deadlineIn(double seconds) {
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

std::wstring wideOf(const std::string& utf8) {
  const int size = static_cast<int>(utf8.size());
  const int needed = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), needed);
  return wide;
}

/// The argument so that a C program finds it in its command line: within quotes, and
/// backslashes doubled where a quote follows.
std::wstring quoted(const std::wstring& argument) {
  std::wstring text = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'"') text.append(backslashes + 1, L'\\');
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    text += character;
  }
  return text.append(backslashes, L'\\') + L'"';
}

std::wstring commandLine(const std::vector<std::string>& argv) {
  // The program is looked for under a name of Windows' own.
  std::wstring line =
      quoted(std::filesystem::path(wideOf(argv.front())).make_preferred().wstring());
  for (std::size_t i = 1; i < argv.size(); ++i)
    line += L' ' + quoted(wideOf(argv[i]));
  return line;
}

bool sameName(std::wstring_view a, std::wstring_view b) {
  return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                              static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

/// A block of "NAME=value", each ended by a zero, and one zero more.
std::wstring environmentWith(const ChildProcess::Environment& extra) {
  std::wstring block;
  LPWCH const own = GetEnvironmentStringsW();
  for (const wchar_t* variable = own; *variable != L'\0';) {
    const std::wstring_view text = variable;
    // Some names begin with the sign.
    const std::wstring_view name = text.substr(0, text.find(L'=', 1));
    const bool replaced = std::any_of(extra.begin(), extra.end(), [&](const auto& entry) {
      return sameName(wideOf(entry.first), name);
    });
    if (!replaced) block.append(text).push_back(L'\0');
    variable += text.size() + 1;
  }
  FreeEnvironmentStringsW(own);
  for (const auto& [name, value] : extra)
    block.append(wideOf(name) + L'=' + wideOf(value)).push_back(L'\0');
  block.push_back(L'\0');
  return block;
}

void closeHandle(HANDLE& handle) {
  if (handle != nullptr) CloseHandle(handle);
  handle = nullptr;
}

/// Something to read that has nothing, and that nothing can be written to.
HANDLE openForReading() {
  return CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                     OPEN_EXISTING, 0, nullptr);
}

struct Pipe {
  Pipe() { CreatePipe(&read, &write, nullptr, 0); }
  ~Pipe() {
    closeHandle(read);
    closeHandle(write);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  HANDLE read = nullptr;
  HANDLE write = nullptr;
};

/// Starts a process that gets these handles as its standard streams and no others.
HANDLE start(const std::vector<std::string>& argv, const ChildProcess::Environment& extraEnv,
             std::array<HANDLE, 3> streams, DWORD& id) {
  for (const HANDLE stream : streams)
    SetHandleInformation(stream, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  SIZE_T size = 0;
  InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
  std::vector<unsigned char> storage(size);
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof(startup);
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = streams[0];
  startup.StartupInfo.hStdOutput = streams[1];
  startup.StartupInfo.hStdError = streams[2];
  startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage.data());
  InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size);
  UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                            streams.data(), sizeof(streams), nullptr, nullptr);
  std::wstring line = commandLine(argv);
  std::wstring environment = environmentWith(extraEnv);
  PROCESS_INFORMATION process{};
  // With a console of its own, which can be sent events, but not seen.
  const BOOL started =
      CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                     CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT,
                     environment.data(), nullptr, &startup.StartupInfo, &process);
  DeleteProcThreadAttributeList(startup.lpAttributeList);
  if (started == 0) return nullptr;
  CloseHandle(process.hThread);
  id = process.dwProcessId;
  return process.hProcess;
}

}  // namespace

struct ChildProcess::State {
  ~State() {
    closeHandle(process);
    if (outReader.joinable()) outReader.join();
    if (errReader.joinable()) errReader.join();
  }

  /// Keeps what arrives until the other end is closed.
  void read(const Pipe& pipe, std::string& text) {
    std::array<char, 65536> buffer;
    DWORD count = 0;
    while (ReadFile(pipe.read, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) !=
           0) {
      const std::lock_guard<std::mutex> lock(mutex);
      text.append(buffer.data(), count);
      changed.notify_all();
    }
    const std::lock_guard<std::mutex> lock(mutex);
    --openPipes;
    if (&text == &result.out) outEnded = true;
    changed.notify_all();
  }

  Pipe out;
  Pipe err;
  HANDLE process = nullptr;  // Null once the process has ended.
  DWORD id = 0;
  std::size_t lineStart = 0;

  std::mutex mutex;
  std::condition_variable changed;
  ProcessResult result;
  int openPipes = 0;
  bool outEnded = false;
  std::thread outReader;
  std::thread errReader;
};

const std::vector<StopRequest>& stopRequests() {
  static const std::vector<StopRequest> kRequests{
      {CTRL_C_EVENT, static_cast<int>(STATUS_CONTROL_C_EXIT)}};
  return kRequests;
}

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const Environment& extraEnv,
                           Output output)
    : state_(std::make_unique<State>()) {
  State& state = *state_;
  HANDLE in = openForReading();
  if (output == Output::kReadByNobody) closeHandle(state.out.read);
  if (output == Output::kRefused) {
    closeHandle(state.out.write);
    state.out.write = openForReading();
  }
  state.process = start(argv, extraEnv, {in, state.out.write, state.err.write}, state.id);
  const DWORD error = GetLastError();
  closeHandle(in);
  closeHandle(state.out.write);
  closeHandle(state.err.write);
  if (state.process == nullptr) {
    state.outEnded = true;
    state.result.err =
        argv.front() + ": " + std::system_category().message(static_cast<int>(error));
    return;
  }
  state.openPipes = 2;
  state.outReader = std::thread([&state] { state.read(state.out, state.result.out); });
  state.errReader = std::thread([&state] { state.read(state.err, state.result.err); });
}

ChildProcess::~ChildProcess() {
  if (state_->process == nullptr) return;
  TerminateProcess(state_->process, 1);
  WaitForSingleObject(state_->process, INFINITE);
}

std::uint64_t ChildProcess::peakMemory() const {
  PROCESS_MEMORY_COUNTERS counters{};
  if (GetProcessMemoryInfo(state_->process, &counters, sizeof(counters)) == 0) return 0;
  return counters.PeakWorkingSetSize;
}

std::string ChildProcess::readLine(double timeoutSeconds) {
  const std::string& out = state_->result.out;
  std::size_t& start = state_->lineStart;
  std::unique_lock<std::mutex> lock(state_->mutex);
  state_->changed.wait_until(lock, deadlineIn(timeoutSeconds), [&] {
    return state_->outEnded || out.find('\n', start) != std::string::npos;
  });
  const std::size_t end = out.find('\n', start);
  std::string line = out.substr(start, end - start);
  start = end == std::string::npos ? out.size() : end + 1;
  return line;
}

void ChildProcess::ask(const StopRequest& request) {
  if (state_->process == nullptr) return;
  // An event goes to all processes of the sender's console: the test joins its child's
  // for that, and survives the event.
  static const BOOL kSurvives =
      SetConsoleCtrlHandler([](DWORD /*event*/) -> BOOL { return TRUE; }, TRUE);
  FreeConsole();
  if (kSurvives != 0 && AttachConsole(state_->id) != 0) {
    GenerateConsoleCtrlEvent(static_cast<DWORD>(request.number), 0);
    FreeConsole();
  }
  AttachConsole(ATTACH_PARENT_PROCESS);
}

ProcessResult ChildProcess::wait(double timeoutSeconds) {
  State& state = *state_;
  const auto deadline = deadlineIn(timeoutSeconds);
  std::unique_lock<std::mutex> lock(state.mutex);
  state.changed.wait_until(lock, deadline, [&] { return state.openPipes == 0; });
  if (state.process == nullptr) return state.result;
  lock.unlock();
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  const DWORD milliseconds = static_cast<DWORD>(std::max<std::int64_t>(left, 0));
  const bool ended = WaitForSingleObject(state.process, milliseconds) == WAIT_OBJECT_0;
  if (!ended) {
    TerminateProcess(state.process, 1);
    WaitForSingleObject(state.process, INFINITE);
  }
  DWORD exitCode = 0;
  GetExitCodeProcess(state.process, &exitCode);
  closeHandle(state.process);
  lock.lock();
  if (ended) {
    state.result.exitCode = static_cast<int>(exitCode);
  } else {
    state.result.err += "[ended: out of time]";
  }
  return state.result;
}
