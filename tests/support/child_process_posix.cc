// Runs programs with posix_spawn, pipes and poll.
#include "support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point deadlineIn(double seconds) {
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

std::vector<std::string> environmentWith(const ChildProcess::Environment& extra) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (extra.count(text.substr(0, text.find('='))) == 0) variables.push_back(text);
  }
  for (const auto& [name, value] : extra)
    variables.emplace_back(name).append("=").append(value);
  return variables;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (std::string& text : texts)
    result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

void closeEnd(int& end) {
  if (end >= 0) close(end);
  end = -1;
}

void drain(int& end, std::string& text) {
  std::array<char, 65536> buffer;
  const ssize_t count = read(end, buffer.data(), buffer.size());
  if (count > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  } else if (count == 0 || errno != EINTR) {
    closeEnd(end);
  }
}

}  // namespace

struct ChildProcess::State {
  /// Waits for output and keeps it; false when the time is over.
  bool collect(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    // A negative descriptor is left out by poll.
    std::array<pollfd, 2> ends{{{out, POLLIN, 0}, {err, POLLIN, 0}}};
    const int ready =
        poll(ends.data(), ends.size(), static_cast<int>(std::max<std::int64_t>(left, 0)));
    if (ready == 0) return false;
    if (ready < 0) return errno == EINTR;
    if (ends[0].revents != 0) drain(out, result.out);
    if (ends[1].revents != 0) drain(err, result.err);
    return true;
  }

  pid_t pid = -1;  // -1 once the process has ended.
  int out = -1;
  int err = -1;
  std::size_t lineStart = 0;
  ProcessResult result;
};

const std::vector<StopRequest>& stopRequests() {
  static const std::vector<StopRequest> kRequests{{SIGINT, 128 + SIGINT}, {SIGTERM, 128 + SIGTERM}};
  return kRequests;
}

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const Environment& extraEnv,
                           Output output)
    : state_(std::make_unique<State>()) {
  std::array<int, 2> outPipe{};
  std::array<int, 2> errPipe{};
  if (pipe2(outPipe.data(), O_CLOEXEC) != 0) {
    state_->result.err = "no pipe";
    return;
  }
  if (pipe2(errPipe.data(), O_CLOEXEC) != 0) {
    close(outPipe[0]);
    close(outPipe[1]);
    state_->result.err = "no pipe";
    return;
  }
  state_->out = outPipe[0];
  state_->err = errPipe[0];
  if (output == Output::kReadByNobody) closeEnd(state_->out);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (output == Output::kRefused) {
    // Not for writing.
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_RDONLY, 0);
  } else {
    posix_spawn_file_actions_adddup2(&actions, outPipe[1], STDOUT_FILENO);
  }
  posix_spawn_file_actions_adddup2(&actions, errPipe[1], STDERR_FILENO);
  std::vector<std::string> arguments = argv;
  std::vector<std::string> variables = environmentWith(extraEnv);
  const int error = posix_spawnp(&state_->pid, argv.front().c_str(), &actions, nullptr,
                                 pointers(arguments).data(), pointers(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  close(outPipe[1]);
  close(errPipe[1]);
  if (error != 0) {
    state_->pid = -1;
    state_->result.err = argv.front() + ": " + std::strerror(error);
  }
}

ChildProcess::~ChildProcess() {
  if (state_->pid > 0) {
    kill(state_->pid, SIGKILL);
    waitpid(state_->pid, nullptr, 0);
  }
  closeEnd(state_->out);
  closeEnd(state_->err);
}

std::uint64_t ChildProcess::peakMemory() const {
  constexpr const char* kPeak = "VmHWM:";
  std::ifstream file("/proc/" + std::to_string(state_->pid) + "/status");
  const std::string status{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::size_t peak = status.find(kPeak);
  if (peak == std::string::npos) return 0;
  return std::strtoull(status.c_str() + peak + std::strlen(kPeak), nullptr, 10) * 1024;
}

std::string ChildProcess::readLine(double timeoutSeconds) {
  const auto deadline = deadlineIn(timeoutSeconds);
  const std::string& out = state_->result.out;
  std::size_t& start = state_->lineStart;
  std::size_t end = 0;
  while ((end = out.find('\n', start)) == std::string::npos && state_->out >= 0 &&
         state_->collect(deadline)) {
  }
  std::string line = out.substr(start, end - start);
  start = end == std::string::npos ? out.size() : end + 1;
  return line;
}

void ChildProcess::ask(const StopRequest& request) {
  if (state_->pid > 0) kill(state_->pid, request.number);
}

ProcessResult ChildProcess::wait(double timeoutSeconds) {
  const auto deadline = deadlineIn(timeoutSeconds);
  ProcessResult& result = state_->result;
  pid_t& pid = state_->pid;
  while ((state_->out >= 0 || state_->err >= 0) && state_->collect(deadline)) {
  }
  if (pid <= 0) return result;
  int status = 0;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (Clock::now() >= deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      pid = -1;
      result.err += "[ended: out of time]";
      return result;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  pid = -1;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}
