// What mtlsync needs of the operating system. One source file a system.
#ifndef MTLLIB_TOOLS_MTLSYNC_SYSTEM_H_
#define MTLLIB_TOOLS_MTLSYNC_SYSTEM_H_

#include <string>

namespace mtlsync {

/// A dynamic library, unloaded by the destructor.
class SharedLibrary {
 public:
  /// Loads the file. Afterwards isLoaded() tells whether that worked, and if not,
  /// `problem` holds the name of the file and the system's words for why.
  SharedLibrary(const std::string& file, std::string& problem);
  ~SharedLibrary();
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  bool isLoaded() const { return handle_ != nullptr; }

  /// The address of an exported symbol; null when there is none. Only when loaded.
  void* symbol(const char* name) const;

 private:
  void* handle_;
};

/// The file name that the plug-in has on this system.
std::string moduleFileName();

/// The folder of the running program, without a separator at the end; "" when unknown.
std::string programFolder();

enum class OutputStream { kOut, kError };

/// True when a person is looking, on something that understands control sequences.
bool isTerminal(OutputStream stream);

/// Columns of the terminal; 80 when it does not tell.
int terminalWidth(OutputStream stream);

/// The value of a variable of the environment, in UTF-8; "" when there is none.
std::string environmentVariable(const std::string& name);

/// The system's words for one of its error numbers.
std::string systemErrorText(int number);

/// From now on the first interrupt or request to terminate is only noted, and the second
/// one ends the program. Those that were ignored stay ignored, and a system that ends the
/// program anyway after some time still does.
void catchStopSignals();

/// True once such a request was noted. May be called by any thread.
bool stopRequested();

/// Makes writing to a pipe that nobody reads an ordinary failure.
void surviveBrokenPipes();

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_SYSTEM_H_
