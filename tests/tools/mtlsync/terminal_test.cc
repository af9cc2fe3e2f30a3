// The program on a terminal. A console of Windows can be asked what it shows, not what it
// was given.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <list>
#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;

/// The program, running on a terminal of this kind and width.
class Terminal {
 public:
  Terminal(const char* kind, int columns, const char* situation) : columns_(columns) {
    winsize size{};
    size.ws_row = 24;
    size.ws_col = static_cast<unsigned short>(columns);
    child_ = forkpty(&end_, nullptr, nullptr, &size);
    if (child_ == 0) {
      setenv("TERM", kind, 1);
      execl(MTLSYNC, MTLSYNC, "--module", MTLSYNC_FAKE_MODULE, situation, "dir", nullptr);
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

  int columns() const { return columns_; }

  /// All that the program writes until it ends.
  std::string text() const {
    std::string text;
    std::array<char, 4096> buffer;
    for (ssize_t count = 0; (count = read(end_, buffer.data(), buffer.size())) > 0;)
      text.append(buffer.data(), static_cast<std::size_t>(count));
    return text;
  }

 private:
  int columns_;
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
  std::list<Terminal> terminals;
  for (const int columns : {20, 40, 80, 200})
    terminals.emplace_back("xterm", columns, "slow");
  for (const Terminal& terminal : terminals) {
    const std::string text = terminal.text();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    const std::size_t draws = countDraws(text, terminal.columns());
    EXPECT_GE(draws, 3U);
    EXPECT_LE(static_cast<double>(draws), elapsed.count() * 10 + 4);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_EQ(text.find("Updated: 2 files"), text.rfind(kClear) + kClear.size()) << text;
    if (terminal.columns() < 80) continue;
    EXPECT_THAT(text,
                testing::ContainsRegex("Downloading files  .=+> *.  +[0-9]+%  [0-9]+\\.[0-9] / "
                                       "20 MB  [0-9.]+ MB/s  0:0[0-9] left"));
  }
}

TEST(OnTerminal, PrintsPlainLinesWhereThereIsNothingToRedraw) {
  const std::string dumb = Terminal("dumb", 80, "ok").text();
  EXPECT_THAT(dumb, Not(HasSubstr("\x1b")));
  EXPECT_THAT(dumb, HasSubstr("Downloading files: 50 % (10.0 of 20 MB)\r\n"));
  EXPECT_EQ(Terminal("xterm", 80, "refused").text(),
            "mtlsync: error: Could not download remote stamp file\r\n"
            "  because: Connection error: reason=2 extraF=1000 underlying=111 (no connection to "
            "the server: Connection refused)\r\n");
}

}  // namespace
