// What the kit itself needs of the operating system: loading libraries at run time and identifying
// the process. Each system has one source file.
#ifndef MTLLIB_HOST_SRC_SYSTEM_CALLS_H_
#define MTLLIB_HOST_SRC_SYSTEM_CALLS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <system_error>

namespace mtlhost {

/// Unloaded by the destructor.
class SharedLibrary {
 public:
  /// Loads the file, which the system searches for when its name has no folder: in its own
  /// folders and those of the program, never in the current one. Afterwards isLoaded() says
  /// whether that worked; if not, `problem` holds the name of the file and the system's reason.
  SharedLibrary(const std::string& file, std::string& problem);

  bool isLoaded() const { return handle_ != nullptr; }

  /// The address of an exported symbol; null when there is none. Only when loaded.
  void* symbol(const char* name) const;

 private:
  struct Unload {
    void operator()(void* handle) const;
  };
  std::unique_ptr<void, Unload> handle_;
};

/// The code that Windows has for the error; its own there.
int windowsCode(const std::error_code& error);

/// The number of this process, which another one has after a fork.
std::int64_t processId();

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_SYSTEM_CALLS_H_
