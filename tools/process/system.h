// What the programs need of the operating system. One source file a system.
#ifndef MTLLIB_TOOLS_PROCESS_SYSTEM_H_
#define MTLLIB_TOOLS_PROCESS_SYSTEM_H_

#include <string>

namespace process {

enum class OutputStream { kOut, kError };

/// True when a person is looking, on something that understands control sequences.
bool isTerminal(OutputStream stream);

/// Columns of the terminal; 80 when it does not tell.
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

}  // namespace process

#endif  // MTLLIB_TOOLS_PROCESS_SYSTEM_H_
