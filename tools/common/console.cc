// Writes messages and progress. On a terminal a status line is redrawn below the messages;
// otherwise only whole lines are written.
#include "common/console.h"

#include <algorithm>
#include <utility>

#include "common/display_width.h"

namespace common {

namespace {

constexpr const char* kClearLine = "\r\x1b[K";
constexpr const char* kPlain = "\x1b[m";

const char* sequenceOf(Tone tone) {
  switch (tone) {
    case Tone::kError:
      return "\x1b[31m";
    case Tone::kWarning:
      return "\x1b[33m";
    case Tone::kDone:
      return "\x1b[32m";
  }
  return "";
}

}  // namespace

Console::Console(std::ostream& stream, Screen screen)
    : stream_(stream), screen_(std::move(screen)) {}

Console::~Console() {
  hideStatus();
}

std::string Console::coloured(Tone tone, std::string_view text) const {
  if (!screen_.hasColours) return std::string(text);
  return sequenceOf(tone) + std::string(text) + kPlain;
}

void Console::printLine(std::string_view text) {
  std::string line = hasStatus_ ? kClearLine : "";
  hasStatus_ = false;
  line += text;
  line += '\n';
  write(line);
}

void Console::showStatus(std::string_view text) {
  if (!screen_.isTerminal) return;
  hasStatus_ = true;
  write(kClearLine + elided(text, statusWidth()));
}

void Console::hideStatus() {
  if (!hasStatus_) return;
  hasStatus_ = false;
  write(kClearLine);
}

// A line that fills the last column makes some terminals continue on the next one.
int Console::statusWidth() const {
  return screen_.isTerminal ? std::max(screen_.width() - 1, 0) : 0;
}

void Console::write(const std::string& text) {
  stream_ << text << std::flush;
}

}  // namespace common
