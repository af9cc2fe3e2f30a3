// Programs run by a test as processes of their own.
#ifndef MTLLIB_TESTS_SUPPORT_CHILD_PROCESS_H_
#define MTLLIB_TESTS_SUPPORT_CHILD_PROCESS_H_

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
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

/// How a process ended and what it printed.
struct ProcessResult {
  /// The exit status; 128 + N when signal N ended the process; -1 when it was ended
  /// because its time was over, or could not be started (`err` then says so).
  int exitCode = -1;
  std::string out;
  std::string err;
};

/// A running program, with nothing on its standard input. Killed by the destructor.
/// Used by one thread.
class ChildProcess {
 public:
  using Environment = std::map<std::string, std::string>;

  /// Starts the program `argv[0]`, looked for in PATH, in the test's environment with
  /// the variables of `extraEnv` added or replaced.
  explicit ChildProcess(const std::vector<std::string>& argv, const Environment& extraEnv = {}) {
    std::array<int, 2> outPipe{};
    std::array<int, 2> errPipe{};
    if (pipe2(outPipe.data(), O_CLOEXEC) != 0) {
      result_.err = "no pipe";
      return;
    }
    if (pipe2(errPipe.data(), O_CLOEXEC) != 0) {
      close(outPipe[0]);
      close(outPipe[1]);
      result_.err = "no pipe";
      return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errPipe[1], STDERR_FILENO);
    std::vector<std::string> arguments = argv;
    std::vector<std::string> variables = environmentWith(extraEnv);
    const int error = posix_spawnp(&pid_, argv.front().c_str(), &actions, nullptr,
                                   pointers(arguments).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    close(outPipe[1]);
    close(errPipe[1]);
    out_ = outPipe[0];
    err_ = errPipe[0];
    if (error != 0) {
      pid_ = -1;
      result_.err = argv.front() + ": " + std::strerror(error);
    }
  }
  ~ChildProcess() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    closeEnd(out_);
    closeEnd(err_);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// -1 once the process has ended.
  pid_t pid() const { return pid_; }

  /// The next line of standard output, without its line break; what there is of it
  /// when the process ends, or the time is over, before the line break.
  std::string readLine(double timeoutSeconds = 30) {
    const auto deadline = deadlineIn(timeoutSeconds);
    std::size_t end = 0;
    while ((end = result_.out.find('\n', lineStart_)) == std::string::npos && out_ >= 0 &&
           collect(deadline)) {
    }
    std::string line = result_.out.substr(lineStart_, end - lineStart_);
    lineStart_ = end == std::string::npos ? result_.out.size() : end + 1;
    return line;
  }

  void kill(int signalNumber) {
    if (pid_ > 0) ::kill(pid_, signalNumber);
  }

  /// Waits until the process ends, and ends it when the time is over. The result holds
  /// all that it printed, the lines that readLine returned included.
  ProcessResult wait(double timeoutSeconds = 60) {
    const auto deadline = deadlineIn(timeoutSeconds);
    while ((out_ >= 0 || err_ >= 0) && collect(deadline)) {
    }
    if (pid_ <= 0) return result_;
    int status = 0;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (Clock::now() >= deadline) {
        ::kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        pid_ = -1;
        result_.err += "[ended: out of time]";
        return result_;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    pid_ = -1;
    result_.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result_;
  }

 private:
  using Clock = std::chrono::steady_clock;

  static Clock::time_point deadlineIn(double seconds) {
    return Clock::now() +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  }

  static std::vector<std::string> environmentWith(const Environment& extra) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
      const std::string text = *variable;
      if (extra.count(text.substr(0, text.find('='))) == 0) variables.push_back(text);
    }
    for (const auto& [name, value] : extra)
      variables.emplace_back(name).append("=").append(value);
    return variables;
  }

  static std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts)
      result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  }

  static void closeEnd(int& end) {
    if (end >= 0) close(end);
    end = -1;
  }

  static void drain(int& end, std::string& text) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(end, buffer.data(), buffer.size());
    if (count > 0) {
      text.append(buffer.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      closeEnd(end);
    }
  }

  /// Waits for output and keeps it; false when the time is over.
  bool collect(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    // A negative descriptor is left out by poll.
    std::array<pollfd, 2> ends{{{out_, POLLIN, 0}, {err_, POLLIN, 0}}};
    const int ready =
        poll(ends.data(), ends.size(), static_cast<int>(std::max<std::int64_t>(left, 0)));
    if (ready == 0) return false;
    if (ready < 0) return errno == EINTR;
    if (ends[0].revents != 0) drain(out_, result_.out);
    if (ends[1].revents != 0) drain(err_, result_.err);
    return true;
  }

  pid_t pid_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::size_t lineStart_ = 0;
  ProcessResult result_;
};

/// Runs a program to its end.
inline ProcessResult runProcess(const std::vector<std::string>& argv,
                                const ChildProcess::Environment& extraEnv = {},
                                double timeoutSeconds = 60) {
  return ChildProcess(argv, extraEnv).wait(timeoutSeconds);
}

#endif  // MTLLIB_TESTS_SUPPORT_CHILD_PROCESS_H_
