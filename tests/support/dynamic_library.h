// A DynamicLibrary is a shared library that a test loads at run time.
#ifndef MTLLIB_TESTS_SUPPORT_DYNAMIC_LIBRARY_H_
#define MTLLIB_TESTS_SUPPORT_DYNAMIC_LIBRARY_H_

#include <string>

/// Loads a library and keeps it loaded; check `error()` first.
class DynamicLibrary {
 public:
  explicit DynamicLibrary(const std::string& name);
  ~DynamicLibrary();
  DynamicLibrary(const DynamicLibrary&) = delete;
  DynamicLibrary& operator=(const DynamicLibrary&) = delete;

  const std::string& error() const { return error_; }

  /// The exported symbol, null when there is none.
  void* symbol(const char* name) const;

 private:
  void* handle_;
  std::string error_;
};

#endif  // MTLLIB_TESTS_SUPPORT_DYNAMIC_LIBRARY_H_
