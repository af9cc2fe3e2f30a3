// The POSIX implementation of system.h.
#include "mtlpublish/system.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace mtlpublish {

namespace fs = std::filesystem;

namespace {

/// Unsigned, since a file system may hold times that do not fit.
std::int64_t nanosecondsOf(const timespec& time) {
  constexpr std::uint64_t kPerSecond = 1'000'000'000;
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.tv_sec) * kPerSecond +
                                   static_cast<std::uint64_t>(time.tv_nsec));
}

/// Waits until the file, or the names in the folder, are on the disk.
std::error_code flush(const fs::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return {errno, std::generic_category()};
  std::error_code error;
  if (fsync(descriptor) != 0) error = {errno, std::generic_category()};
  close(descriptor);
  return error;
}

std::error_code writeAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = write(descriptor, content.data(), content.size());
    if (count < 0 && errno != EINTR) return {errno, std::generic_category()};
    content.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  return {};
}

volatile std::sig_atomic_t notedSignal = 0;

void noteSignal(int signal) {
  notedSignal = signal;
}

/// Has signals that would end or stop the program noted while it lives. What waits is woken.
class NotedSignals {
 public:
  NotedSignals() {
    notedSignal = 0;
    struct sigaction note {};
    note.sa_handler = noteSignal;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      sigaction(kSignals[i], nullptr, &before_[i]);
      if (before_[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &note, nullptr);
    }
  }
  ~NotedSignals() {
    for (std::size_t i = 0; i < kSignals.size(); ++i)
      sigaction(kSignals[i], &before_[i], nullptr);
  }
  NotedSignals(const NotedSignals&) = delete;
  NotedSignals& operator=(const NotedSignals&) = delete;

 private:
  static constexpr std::array<int, 5> kSignals{SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP};
  std::array<struct sigaction, kSignals.size()> before_{};
};

/// Up to the end of a line, of the input, or until a signal was noted.
std::string readLine(int descriptor) {
  std::string line;
  char character = 0;
  while (notedSignal == 0) {
    const ssize_t count = read(descriptor, &character, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || character == '\n') break;
    line += character;
  }
  return line;
}

// Any thread may be the one that is interrupted. AddressSanitizer looks at its stack before a
// call that does not return, and complains when the thread is only just starting.
[[gnu::no_sanitize_address]] void end(int /*signal*/) {
  std::_Exit(0);
}

void endAt(int signal) {
  struct sigaction action {};
  if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = end;
  sigaction(signal, &action, nullptr);
}

int numberOf(Socket socket) {
  return static_cast<int>(socket);
}

bool isReady(Socket socket, short event, std::chrono::milliseconds time) {
  pollfd wait{numberOf(socket), event, 0};
  return poll(&wait, 1, static_cast<int>(time.count())) > 0;
}

/// Whether a call has failed for this moment only.
bool isToBeRepeated() {
  return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

}  // namespace

std::error_code readFileState(const fs::path& file, FileState& state) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return {errno, std::generic_category()};
  state = {static_cast<std::uint64_t>(status.st_size), nanosecondsOf(status.st_mtim),
           nanosecondsOf(status.st_ctim), static_cast<std::uint64_t>(status.st_ino)};
  return {};
}

bool isLink(const fs::directory_entry& entry) {
  std::error_code error;
  return entry.is_symlink(error);
}

fs::path canonicalPath(const fs::path& path, std::error_code& error) {
  return fs::canonical(path, error);
}

// Readers keep the old file. A system may put names on the disk before contents, and one name
// before another that was made earlier. Without the first flush, a power loss could leave an empty
// list; without the second, the new id beside the old list.
std::error_code renameOver(const fs::path& file, const fs::path& target) {
  std::error_code error = flush(file);
  if (!error) fs::rename(file, target, error);
  // Some file systems cannot do that to a folder; the new name is there all the same.
  if (!error) static_cast<void>(flush(target.parent_path()));
  return error;
}

std::error_code createFile(const fs::path& file, std::string_view content, bool onlyForUser) {
  const int descriptor =
      open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, onlyForUser ? 0600 : 0666);
  if (descriptor < 0) return {errno, std::generic_category()};
  std::error_code error = writeAll(descriptor, content);
  if (!error && fsync(descriptor) != 0) error = {errno, std::generic_category()};
  close(descriptor);
  if (error) unlink(file.c_str());
  return error;
}

std::optional<std::string> askPassword(const std::string& prompt) {
  const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios shown{};
  if (terminal < 0 || tcgetattr(terminal, &shown) != 0) {
    if (terminal >= 0) close(terminal);
    return std::nullopt;
  }
  std::string line;
  {
    const NotedSignals signals;
    termios hidden = shown;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    hidden.c_lflag |= ECHONL;
    tcsetattr(terminal, TCSAFLUSH, &hidden);
    static_cast<void>(writeAll(terminal, prompt));
    line = readLine(terminal);
    tcsetattr(terminal, TCSAFLUSH, &shown);
  }
  close(terminal);
  if (notedSignal == 0) return line;
  // It now does what it would have done. After a stop, somebody continued.
  raise(notedSignal);
  return askPassword(prompt);
}

void endWhenInterrupted() {
  endAt(SIGINT);
  endAt(SIGTERM);
}

// Connections that linger keep a port otherwise.
void setSocketOptions(Socket socket) {
  const int yes = 1;
  setsockopt(numberOf(socket), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
}

void setUpConnection(Socket socket) {
  fcntl(numberOf(socket), F_SETFL, fcntl(numberOf(socket), F_GETFL) | O_NONBLOCK);
}

std::ptrdiff_t receiveWithin(std::chrono::milliseconds time, Socket socket, char* data,
                             std::size_t size) {
  if (!isReady(socket, POLLIN, time)) return 0;
  const ssize_t count = recv(numberOf(socket), data, size, 0);
  if (count > 0) return count;
  return count < 0 && isToBeRepeated() ? 0 : -1;
}

std::ptrdiff_t sendWithin(std::chrono::milliseconds time, Socket socket, const char* data,
                          std::size_t size) {
  const ssize_t count = send(numberOf(socket), data, size, MSG_NOSIGNAL);
  if (count >= 0) return count;
  if (!isToBeRepeated()) return -1;
  // Asked only now: the socket mostly has room.
  isReady(socket, POLLOUT, time);
  return 0;
}

void endSending(Socket socket) {
  shutdown(numberOf(socket), SHUT_WR);
}

void closeSocket(Socket socket) {
  close(numberOf(socket));
}

}  // namespace mtlpublish
