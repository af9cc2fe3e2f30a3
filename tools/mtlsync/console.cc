// A terminal has a status line, redrawn below the messages; a pipe only has lines.
#include "mtlsync/console.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace mtlsync {

namespace {

constexpr const char* kClearLine = "\r\x1b[K";
constexpr std::string_view kEllipsis = "...";

bool beginsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

}  // namespace

Console::Console(std::ostream& stream, Screen screen)
    : stream_(stream), screen_(std::move(screen)) {}

Console::~Console() {
  hideStatus();
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

// A line that fills the last column makes some terminals go on to the next one.
int Console::statusWidth() const {
  return screen_.isTerminal ? std::max(screen_.width() - 1, 0) : 0;
}

void Console::write(const std::string& text) {
  stream_ << text << std::flush;
}

std::string elided(std::string_view text, int columns) {
  const auto room = static_cast<std::size_t>(std::max(columns, 0));
  const auto characters =
      static_cast<std::size_t>(std::count_if(text.begin(), text.end(), beginsCharacter));
  if (characters <= room) return std::string(text);
  const bool marked = room > kEllipsis.size();
  std::size_t left = marked ? room - kEllipsis.size() : room;
  std::size_t end = 0;
  while (end < text.size() && (left > 0 || !beginsCharacter(text[end]))) {
    if (beginsCharacter(text[end])) --left;
    ++end;
  }
  return std::string(text.substr(0, end)) + std::string(marked ? kEllipsis : "");
}

}  // namespace mtlsync
