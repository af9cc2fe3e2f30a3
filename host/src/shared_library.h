// A library loaded at run time. One source file a system.
#ifndef MTLLIB_HOST_SRC_SHARED_LIBRARY_H_
#define MTLLIB_HOST_SRC_SHARED_LIBRARY_H_

#include <memory>
#include <string>

namespace mtlhost {

/// Unloaded by the destructor.
class SharedLibrary {
 public:
  /// Loads the file. Afterwards isLoaded() tells whether that worked, and if not,
  /// `problem` holds the name of the file and the system's words for why.
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

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_SHARED_LIBRARY_H_
