// The POSIX implementation of system_calls.h.
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "mtlhost/system.h"
#include "platform/posix/errors.h"
#include "system_calls.h"

namespace mtlhost {

SharedLibrary::SharedLibrary(const std::string& file, std::string& problem)
    : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ != nullptr) return;
  const char* text = dlerror();
  problem = text != nullptr ? text : "unknown reason";
}

void SharedLibrary::Unload::operator()(void* handle) const {
  dlclose(handle);
}

void* SharedLibrary::symbol(const char* name) const {
  return dlsym(handle_.get(), name);
}

std::string ownFolder() {
  std::error_code error;
  Dl_info info{};
  link_map* map = nullptr;
  if (dladdr1(reinterpret_cast<void*>(ownFolder), &info, reinterpret_cast<void**>(&map),
              RTLD_DL_LINKMAP) == 0) {
    return "";
  }
  // The program itself has no name here.
  const bool isProgram = *map->l_name == '\0';
  const std::filesystem::path file = isProgram
                                         ? std::filesystem::read_symlink("/proc/self/exe", error)
                                         : std::filesystem::absolute(map->l_name, error);
  return file.parent_path().string();
}

int windowsCode(const std::error_code& error) {
  return static_cast<int>(posix::errorFromErrno(error.value()));
}

std::int64_t processId() {
  return getpid();
}

}  // namespace mtlhost
