// Loads the module on POSIX systems.
#include <dlfcn.h>

#include "load_module.h"

InitDownloaderInterfaceFunction loadModule(const char* file) {
  void* module = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return nullptr;
  return reinterpret_cast<InitDownloaderInterfaceFunction>(
      dlsym(module, INIT_DOWNLOADER_INTERFACE_NAME));
}
