// Tests the program on a terminal. A console of Windows can be asked what it shows, not what it was
// given.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <map>
#include <string>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

/// The program, running on a terminal of this kind and width.
class Terminal {
 public:
  Terminal(const char* kind, int columns, const char* situation, const char* noColour = "1") {
    winsize size = sizeOf(columns);
    child_ = forkpty(&end_, nullptr, nullptr, &size);
    if (child_ == 0) {
      setenv("TERM", kind, 1);
      setenv("NO_COLOR", noColour, 1);
      // Several run at once.
      const std::string copy = "dir" + std::to_string(getpid());
      execl(MTLSYNC, MTLSYNC, "--module", MTLSYNC_FAKE_MODULE, situation, copy.c_str(), nullptr);
      _exit(127);
    }
    fcntl(end_, F_SETFD, FD_CLOEXEC);
  }
  ~Terminal() {
    close(end_);
    waitpid(child_, nullptr, 0);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void resize(int columns) const {
    const winsize size = sizeOf(columns);
    ioctl(end_, TIOCSWINSZ, &size);
  }

  void interrupt() const { kill(child_, SIGINT); }

  /// Some of what the program writes; "" once it has ended.
  std::string read() const {
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(end_, buffer.data(), buffer.size());
    return {buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
  }

  /// All that the program writes until it ends.
  std::string text() const {
    std::string text;
    for (std::string piece; !(piece = read()).empty();)
      text += piece;
    return text;
  }

 private:
  static winsize sizeOf(int columns) {
    winsize size{};
    size.ws_row = 24;
    size.ws_col = static_cast<unsigned short>(columns);
    return size;
  }

  int end_ = -1;
  pid_t child_ = -1;
};

const std::string kClear = "\r\x1b[K";

/// How often a line was drawn; none may reach the last column.
std::size_t countDraws(const std::string& text, int columns) {
  std::size_t draws = 0;
  for (std::size_t at = 0; (at = text.find(kClear, at)) != std::string::npos;) {
    at += kClear.size();
    const std::size_t end = text.find_first_of("\r\n", at);
    if (end == std::string::npos) break;
    if (end > at) ++draws;
    // The last piece is the closing line on standard output.
    if (text[end] == '\r' && text[end + 1] != '\n') {
      EXPECT_LT(end - at, static_cast<std::size_t>(columns));
    }
  }
  return draws;
}

TEST(OnTerminal, RedrawsOneLineThatFitsAndClearsIt) {
  const auto start = std::chrono::steady_clock::now();
  std::map<int, Terminal> terminals;
  for (const int columns : {20, 40, 80, 120, 200})
    terminals.try_emplace(columns, "xterm", columns, "slow");
  for (const auto& [columns, terminal] : terminals) {
    const std::string text = terminal.text();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    const std::size_t draws = countDraws(text, columns);
    EXPECT_GE(draws, 3U);
    EXPECT_LE(static_cast<double>(draws), elapsed.count() * 10 + 4);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_EQ(text.find("Updated: 2 files"), text.rfind(kClear) + kClear.size()) << text;
    if (columns < 80) continue;
    EXPECT_THAT(text, testing::ContainsRegex(".=+> *.  +[0-9]+%  [0-9]+\\.[0-9] / 20 MB  "
                                             "[0-9.]+ MB/s  0:0[0-9] left  b\\.tx"));
  }
}

TEST(OnTerminal, PrintsPlainLinesWhereThereIsNothingToRedraw) {
  const std::string dumb = Terminal("dumb", 80, "ok").text();
  EXPECT_THAT(dumb, Not(HasSubstr("\x1b")));
  EXPECT_THAT(dumb, HasSubstr("Downloading files: 50 % (10.0 of 20 MB)\r\n"));
  EXPECT_EQ(
      Terminal("xterm", 80, "refused").text(),
      "mtlsync: error: Could not fetch http://refused/id.txt: could not connect to the server: "
      "Connection refused.\r\n"
      "Check the address and its port. If this network requires a proxy, set one.\r\n");
}

TEST(OnTerminal, ColoursTheKindOfAMessageUnlessToldNotTo) {
  const std::string red = "mtlsync: \x1b[31merror:\x1b[m Could not";
  EXPECT_THAT(Terminal("xterm", 80, "refused", "").text(), HasSubstr(red));
  EXPECT_THAT(Terminal("xterm", 80, "refused", "1").text(), Not(HasSubstr("\x1b[3")));
  EXPECT_THAT(Terminal("dumb", 80, "refused", "").text(), Not(HasSubstr("\x1b")));
  EXPECT_THAT(Terminal("xterm", 80, "up-to-date", "").text(),
              EndsWith("\x1b[32mUp to date.\x1b[m\r\n"));
  EXPECT_THAT(Terminal("xterm", 80, "ok", "").text(), HasSubstr("\x1b[32mUpdated:\x1b[m 2 files"));
  EXPECT_THAT(Terminal("xterm", 80, "survived", "").text(),
              HasSubstr("mtlsync: \x1b[33mwarning:\x1b[m Ivalid"));
}

TEST(OnTerminal, FollowsTheWidthOfTheTerminal) {
  const Terminal terminal("xterm", 80, "stall");
  const auto readUntil = [&terminal](const std::string& wanted) {
    std::string text;
    while (text.find(wanted) == std::string::npos) {
      const std::string piece = terminal.read();
      if (piece.empty()) return false;
      text += piece;
    }
    return true;
  };
  EXPECT_TRUE(readUntil(kClear + "Accessing stamp  0 bytes" + kClear));
  terminal.resize(20);
  EXPECT_TRUE(readUntil(kClear + "Accessing stamp" + kClear));
  terminal.resize(10);
  EXPECT_TRUE(readUntil(kClear + "Access..." + kClear));
  terminal.resize(80);
  EXPECT_TRUE(readUntil(kClear + "Accessing stamp  0 bytes" + kClear));
  terminal.interrupt();
  EXPECT_THAT(terminal.text(), EndsWith("mtlsync: interrupted\r\n"));
}

}  // namespace
