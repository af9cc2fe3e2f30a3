// Loads shared libraries with LoadLibrary.
#include <filesystem>

#include "platform/win32.h"
#include "support/dynamic_library.h"

namespace {

HMODULE module(void* handle) {
  return static_cast<HMODULE>(handle);
}

}  // namespace

// The libraries that it needs itself are looked for beside it.
DynamicLibrary::DynamicLibrary(const std::string& name)
    : handle_(LoadLibraryExW(
          std::filesystem::absolute(std::filesystem::u8path(name)).make_preferred().c_str(),
          nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)) {
  if (handle_ == nullptr) error_ = name + ": error " + std::to_string(GetLastError());
}

DynamicLibrary::~DynamicLibrary() {
  if (handle_ != nullptr) FreeLibrary(module(handle_));
}

void* DynamicLibrary::symbol(const char* name) const {
  return handle_ != nullptr ? reinterpret_cast<void*>(GetProcAddress(module(handle_), name))
                            : nullptr;
}
