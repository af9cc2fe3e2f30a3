// Starts threads on Windows, which has no signals to block but can unload a library while its
// threads run.
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
