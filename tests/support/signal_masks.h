// Reads which signals a process ignores and which it catches, as Linux reports them.
#ifndef MTLLIB_TESTS_SUPPORT_SIGNAL_MASKS_H_
#define MTLLIB_TESTS_SUPPORT_SIGNAL_MASKS_H_

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/temp_dir.h"

struct SignalMasks {
  explicit SignalMasks(const std::string& process)
      : status_(readFile("/proc/" + process + "/status")) {}

  bool ignores(int signal) const { return has("SigIgn:", signal); }
  bool catches(int signal) const { return has("SigCgt:", signal); }

 private:
  bool has(const std::string& name, int signal) const {
    const std::size_t line = status_.find(name);
    if (line == status_.npos) return false;
    const std::uint64_t mask = std::stoull(status_.substr(line + name.size()), nullptr, 16);
    return (mask >> static_cast<unsigned>(signal - 1) & 1U) != 0;
  }

  std::string status_;
};

/// The command, run by a shell that prints the number of the process first, and that ignores
/// the signals ("INT TERM"), as the command then does: so shells start jobs in the background,
/// and nohup what it is given.
inline std::vector<std::string> ignoring(const std::string& signals,
                                         const std::vector<std::string>& command) {
  const std::string trap = signals.empty() ? "" : "trap '' " + signals + "; ";
  std::vector<std::string> all{"sh", "-c", trap + "echo $$; exec \"$0\" \"$@\""};
  all.insert(all.end(), command.begin(), command.end());
  return all;
}

#endif  // MTLLIB_TESTS_SUPPORT_SIGNAL_MASKS_H_
