// What the programs need of the operating system: arguments, standard streams, the environment and
// signals. Each system has one source file.
#ifndef MTLLIB_TOOLS_COMMON_SYSTEM_H_
#define MTLLIB_TOOLS_COMMON_SYSTEM_H_

#include <string>
#include <vector>

namespace common {

/// The arguments of the program in UTF-8, its own name first. Patterns are as they were
/// typed where the system leaves them to the program.
class Arguments {
 public:
  /// Takes what main() was given.
  Arguments(int count, const char* const* values) : texts_(textsOf(count, values)) {
    for (const std::string& text : texts_)
      pointers_.push_back(text.c_str());
  }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  int count() const { return static_cast<int>(pointers_.size()); }
  const char* const* values() const { return pointers_.data(); }

 private:
  static std::vector<std::string> textsOf(int count, const char* const* values);

  std::vector<std::string> texts_;
  std::vector<const char*> pointers_;
};

/// While it lives, what is written to the standard streams arrives byte by byte as it
/// was, and a console takes it for UTF-8 with control sequences if it can. Made by main()
/// before anything is written.
class StandardStreams {
 public:
  StandardStreams();
  /// Leaves a console to the next program as it was.
  ~StandardStreams() { restore(); }
  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;

  /// The same, for a program that ends without the destructor. Any thread may call.
  static void restore();
};

enum class OutputStream { kOut, kError };

/// True when a person is looking, on something that understands control sequences.
bool isTerminal(OutputStream stream);

/// Columns of the terminal; 80 if that is unknown.
int terminalWidth(OutputStream stream);

/// The value of a variable of the environment, in UTF-8; "" when there is none.
std::string environmentVariable(const std::string& name);

/// From now on the first interrupt or request to terminate is only noted, and the second
/// one ends the program. Those that were ignored stay ignored, and a system that ends the
/// program anyway after some time still does.
void catchStopSignals();

/// True once such a request was noted. May be called by any thread.
bool stopRequested();

/// Makes writing to a pipe that nobody reads an ordinary failure.
void surviveBrokenPipes();

}  // namespace common

#endif  // MTLLIB_TOOLS_COMMON_SYSTEM_H_
