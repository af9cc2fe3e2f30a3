// libcurl on Schannel makes an error of an end that was not announced.
#include "system.h"

namespace Krell {
namespace Networking {

bool endedByCloseNotify(CURL* /*easy*/) {
  return true;
}

}  // namespace Networking
}  // namespace Krell
