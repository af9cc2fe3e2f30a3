// The Windows implementation of system.h. libcurl with Schannel reports an end of a connection
// that was not announced as an error, and uses the system's trusted authorities.
#include "system.h"

namespace Krell {
namespace Networking {

bool endedByCloseNotify(CURL* /*easy*/) {
  return true;
}

bool libcurlKnowsAuthorities() {
  return true;
}

std::string authoritiesFile(const std::string& /*root*/) {
  return {};
}

}  // namespace Networking
}  // namespace Krell
