// Loads the module on Windows. The networking library is searched for in the module's folder, and
// nowhere that another program could put one; for this the system needs the absolute path.
#include <windows.h>

#include "load_module.h"

InitDownloaderInterfaceFunction loadModule(const char* file) {
  char path[MAX_PATH];
  const DWORD length = GetFullPathNameA(file, MAX_PATH, path, nullptr);
  if (length == 0 || length >= MAX_PATH) return nullptr;
  HMODULE module = LoadLibraryExA(
      path, nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  if (module == nullptr) return nullptr;
  return reinterpret_cast<InitDownloaderInterfaceFunction>(
      reinterpret_cast<void*>(GetProcAddress(module, INIT_DOWNLOADER_INTERFACE_NAME)));
}
