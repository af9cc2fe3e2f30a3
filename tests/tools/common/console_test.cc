// Tests messages and the status line, on a terminal and in a pipe.
#include "common/console.h"

#include <gtest/gtest.h>

#include <sstream>

namespace common {
namespace {

class TerminalConsole : public testing::Test {
 protected:
  std::string written() {
    std::string text = stream_.str();
    stream_.str("");
    return text;
  }

  int width_ = 20;
  std::ostringstream stream_;
  Console console_{stream_, {true, [this] { return width_; }}};
};

TEST(PipeConsole, PrintsLinesAndNothingElse) {
  std::ostringstream stream;
  {
    Console console(stream, {});
    console.showStatus("45%");
    console.printLine("one");
    console.showStatus("50%");
    console.hideStatus();
    console.printLine("two");
    console.showStatus("55%");
  }
  EXPECT_EQ(stream.str(), "one\ntwo\n");
}

TEST_F(TerminalConsole, DrawsTheStatusLineOverItself) {
  console_.showStatus("45%");
  console_.showStatus("50%");
  EXPECT_EQ(written(), "\r\x1b[K45%\r\x1b[K50%");
}

TEST_F(TerminalConsole, ClearsTheStatusLineBeforeALine) {
  console_.showStatus("45%");
  written();
  console_.printLine("message");
  console_.printLine("another");
  EXPECT_EQ(written(), "\r\x1b[Kmessage\nanother\n");
}

TEST_F(TerminalConsole, HidesTheStatusLineOnce) {
  console_.hideStatus();
  EXPECT_EQ(written(), "");
  console_.showStatus("45%");
  written();
  console_.hideStatus();
  console_.hideStatus();
  EXPECT_EQ(written(), "\r\x1b[K");
}

TEST_F(TerminalConsole, LeavesNoStatusLineBehind) {
  {
    Console console(stream_, {true, [] { return 20; }});
    console.showStatus("45%");
    written();
  }
  EXPECT_EQ(written(), "\r\x1b[K");
}

TEST_F(TerminalConsole, CutsTheStatusLineToTheWidthOfTheMoment) {
  console_.showStatus("0123456789012345678");
  EXPECT_EQ(written(), "\r\x1b[K0123456789012345678");
  width_ = 11;
  console_.showStatus("0123456789012345678");
  EXPECT_EQ(written(), "\r\x1b[K0123456...");
}

TEST_F(TerminalConsole, SurvivesATerminalWithoutColumns) {
  width_ = 0;
  console_.showStatus("45%");
  EXPECT_EQ(written(), "\r\x1b[K");
}

TEST(ConsoleColours, AreThereOnlyWhereWanted) {
  std::ostringstream stream;
  const Console plain(stream, {true, [] { return 80; }});
  EXPECT_EQ(plain.coloured(Tone::kError, "error:"), "error:");
  const Console colourful(stream, {true, [] { return 80; }, true});
  EXPECT_EQ(colourful.coloured(Tone::kError, "error:"), "\x1b[31merror:\x1b[m");
  EXPECT_EQ(colourful.coloured(Tone::kWarning, "warning:"), "\x1b[33mwarning:\x1b[m");
  EXPECT_EQ(colourful.coloured(Tone::kDone, "Updated:"), "\x1b[32mUpdated:\x1b[m");
}

}  // namespace
}  // namespace common
