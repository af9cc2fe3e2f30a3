// A ChildProcess is a program that a test runs as a process of its own.
#ifndef MTLLIB_TESTS_SUPPORT_CHILD_PROCESS_H_
#define MTLLIB_TESTS_SUPPORT_CHILD_PROCESS_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// How a process ended and what it printed.
struct ProcessResult {
  /// The exit status; what StopRequest says if a request ended the process; -1 when it
  /// was ended because its time was over, or could not be started (`err` then says so).
  int exitCode = -1;
  std::string out;
  std::string err;
};

/// A way to ask a program to end: a signal, or an event of the console.
struct StopRequest {
  int number;
  /// The exit status of a program that does not care for the request.
  int exitCode;
};

/// The ways that this system has, an interrupt from the keyboard first.
const std::vector<StopRequest>& stopRequests();

/// A running program, with nothing on its standard input. Killed by the destructor.
/// Used by one thread.
class ChildProcess {
 public:
  using Environment = std::map<std::string, std::string>;

  enum class Output {
    kKept,
    /// Standard output is a pipe whose other end is closed.
    kReadByNobody,
    /// Standard output takes nothing, like a full disk.
    kRefused
  };

  /// Starts the program `argv[0]`, looked for in PATH, in the test's environment with
  /// the variables of `extraEnv` added or replaced. All texts are UTF-8.
  explicit ChildProcess(const std::vector<std::string>& argv, const Environment& extraEnv = {},
                        Output output = Output::kKept);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// The most memory, in bytes, that the running program has had at once; 0 when unknown.
  std::uint64_t peakMemory() const;

  /// The next line of standard output, without its line break; what there is of it
  /// when the process ends, or the time is over, before the line break.
  std::string readLine(double timeoutSeconds = 30);

  void ask(const StopRequest& request);
  /// Asks as a user at the keyboard does.
  void interrupt() { ask(stopRequests().front()); }

  /// Waits until the process ends, and ends it when the time is over. The result holds
  /// all that it printed, the lines that readLine returned included.
  ProcessResult wait(double timeoutSeconds = 60);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Runs a program to its end.
inline ProcessResult runProcess(const std::vector<std::string>& argv,
                                const ChildProcess::Environment& extraEnv = {},
                                double timeoutSeconds = 60) {
  return ChildProcess(argv, extraEnv).wait(timeoutSeconds);
}

#endif  // MTLLIB_TESTS_SUPPORT_CHILD_PROCESS_H_
