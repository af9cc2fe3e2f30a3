// The program on a terminal. Windows offers no way to read what a console was given that
// Wine has too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;

/// All that the program writes to a terminal of this kind and width.
std::string onTerminal(const char* kind, int columns, const char* situation) {
  winsize size{};
  size.ws_row = 24;
  size.ws_col = static_cast<unsigned short>(columns);
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    setenv("TERM", kind, 1);
    execl(MTLSYNC, MTLSYNC, "--module", MTLSYNC_FAKE_MODULE, situation, "dir", nullptr);
    _exit(127);
  }
  std::string text;
  std::array<char, 4096> buffer;
  for (ssize_t count = 0; (count = read(terminal, buffer.data(), buffer.size())) > 0;)
    text.append(buffer.data(), static_cast<std::size_t>(count));
  close(terminal);
  waitpid(child, nullptr, 0);
  return text;
}

TEST(OnTerminal, RedrawsOneLineThatFitsAndClearsIt) {
  constexpr const char* kClear = "\r\x1b[K";
  for (const int columns : {20, 40, 80, 200}) {
    const auto start = std::chrono::steady_clock::now();
    const std::string text = onTerminal("xterm", columns, "slow");
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    std::size_t draws = 0;
    for (std::size_t at = 0; (at = text.find(kClear, at)) != std::string::npos;) {
      at += std::string(kClear).size();
      const std::size_t end = text.find_first_of("\r\n", at);
      ASSERT_NE(end, std::string::npos);
      if (end > at) ++draws;
      // The last piece is the closing line on standard output.
      if (text[end] == '\r' && text[end + 1] != '\n') {
        EXPECT_LT(end - at, static_cast<std::size_t>(columns));
      }
    }
    EXPECT_GE(draws, 3U);
    EXPECT_LE(static_cast<double>(draws), elapsed.count() * 10 + 4);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    const std::size_t closing = text.rfind(kClear);
    ASSERT_NE(closing, std::string::npos);
    EXPECT_EQ(text.find("Updated: 2 files"), closing + std::string(kClear).size()) << text;
  }
}

TEST(OnTerminal, ShowsABarWithPerCentMegabytesRateAndTime) {
  const std::string text = onTerminal("xterm", 100, "slow");
  EXPECT_THAT(text, testing::ContainsRegex("Downloading files  .=+> *.  +[0-9]+%  "
                                           "[0-9]+\\.[0-9] / 20 MB  [0-9.]+ MB/s  0:0[0-9] left"));
}

TEST(OnTerminal, PrintsPlainLinesWhereLinesCannotBeRedrawn) {
  const std::string text = onTerminal("dumb", 80, "ok");
  EXPECT_THAT(text, Not(HasSubstr("\x1b")));
  EXPECT_THAT(text, HasSubstr("Downloading files: 50 % (10.0 of 20 MB)\r\n"));
}

TEST(OnTerminal, ClearsTheLineBeforeAnError) {
  EXPECT_EQ(onTerminal("xterm", 80, "refused"),
            "mtlsync: error: Could not download remote stamp file\r\n"
            "  because: Connection error: reason=2 extraF=1000 underlying=111 (no connection to "
            "the server: Connection refused)\r\n");
}

}  // namespace
