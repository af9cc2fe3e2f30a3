// A Console is where messages and progress are written.
#ifndef MTLLIB_TOOLS_COMMON_CONSOLE_H_
#define MTLLIB_TOOLS_COMMON_CONSOLE_H_

#include <functional>
#include <ostream>
#include <string>
#include <string_view>

namespace common {

/// Colours are few: one for each kind of ending.
enum class Tone { kError, kWarning, kDone };

/// Lines of text, and on a terminal one status line below them that is drawn over and
/// over. Anywhere else lines are all there is. Used by one thread at a time.
class Console {
 public:
  struct Screen {
    bool isTerminal = false;
    /// The terminal's present number of columns; asked whenever something is drawn.
    std::function<int()> width;
    bool hasColours = false;
  };

  /// Writes to `stream`, which must outlive the console.
  Console(std::ostream& stream, Screen screen);
  /// Leaves no status line behind.
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// `text`, in the tone's colour where there are colours.
  std::string coloured(Tone tone, std::string_view text) const;

  /// Writes the text and a line break, in place of the status line if there is one.
  void printLine(std::string_view text);

  /// Draws the status line, cut to fit; does nothing unless on a terminal.
  void showStatus(std::string_view text);
  void hideStatus();

  bool isTerminal() const { return screen_.isTerminal; }

  /// Columns to draw a status line in.
  int statusWidth() const;

 private:
  void write(const std::string& text);

  std::ostream& stream_;
  Screen screen_;
  bool hasStatus_ = false;
};

}  // namespace common

#endif  // MTLLIB_TOOLS_COMMON_CONSOLE_H_
