// Pins the library by the address of something in it, since its file may have any name.
#include "platform/stay_loaded.h"

#include "platform/win32.h"

namespace Platform {

void stayLoaded() {
  static const int anchor = 0;
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<LPCWSTR>(&anchor), &module);
}

}  // namespace Platform
