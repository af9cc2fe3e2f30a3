// Windows has no signals to keep away, but unloads a library without asking its threads.
#include "platform/quiet_thread.h"

#include <utility>

#include "platform/win32.h"

namespace Platform {

namespace {

// From here on this module stays in memory until the process ends: a thread that
// libcurl has left behind in the system's resolver may still return into it after the
// host freed the library.
void pinModule() {
  static const int anchor = 0;
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<LPCWSTR>(&anchor), &module);
}

}  // namespace

std::thread startQuietThread(std::function<void()> body) {
  pinModule();
  return std::thread(std::move(body));
}

}  // namespace Platform
