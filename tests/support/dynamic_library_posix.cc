// Loads shared libraries with dlopen.
#include <dlfcn.h>

#include "support/dynamic_library.h"

DynamicLibrary::DynamicLibrary(const std::string& name)
    : handle_(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) error_ = dlerror();
}

DynamicLibrary::~DynamicLibrary() {
  if (handle_ != nullptr) dlclose(handle_);
}

void* DynamicLibrary::symbol(const char* name) const {
  return handle_ != nullptr ? dlsym(handle_, name) : nullptr;
}
