// The POSIX implementation of system.h. Arguments and streams need no preparation.
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "common/system.h"

namespace common {

namespace {

constexpr int kDefaultWidth = 80;
constexpr std::array<int, 2> kStopSignals{SIGINT, SIGTERM};

std::atomic<bool> stopNoted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal handler");

int descriptorOf(OutputStream stream) {
  return stream == OutputStream::kOut ? STDOUT_FILENO : STDERR_FILENO;
}

// Whichever of those that are caught comes next is the second.
void noteStop(int /*signal*/) {
  for (const int signal : kStopSignals) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == noteStop) {
      std::signal(signal, SIG_DFL);
    }
  }
  stopNoted = true;
}

}  // namespace

std::vector<std::string> Arguments::textsOf(int count, const char* const* values) {
  return {values, values + count};
}

StandardStreams::StandardStreams() = default;

void StandardStreams::restore() {}

bool isTerminal(OutputStream stream) {
  if (isatty(descriptorOf(stream)) == 0) return false;
  const char* kind = std::getenv("TERM");
  return kind != nullptr && std::string_view(kind) != "dumb";
}

int terminalWidth(OutputStream stream) {
  winsize size{};
  if (ioctl(descriptorOf(stream), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
    return kDefaultWidth;
  }
  return size.ws_col;
}

std::string environmentVariable(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  return value != nullptr ? value : "";
}

void catchStopSignals() {
  for (const int signal : kStopSignals) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = noteStop;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigaction(signal, &action, nullptr);
  }
}

bool stopRequested() {
  return stopNoted;
}

void surviveBrokenPipes() {
  std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace common
