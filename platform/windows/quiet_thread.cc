// Windows has no signals to keep away, but unloads a library without asking its threads.
#include "platform/quiet_thread.h"

#include <utility>

#include "platform/stay_loaded.h"

namespace Platform {

std::thread startQuietThread(std::function<void()> body) {
  // A thread that libcurl has left behind in the system's resolver may still return into the
  // library after the host freed it.
  stayLoaded();
  return std::thread(std::move(body));
}

}  // namespace Platform
