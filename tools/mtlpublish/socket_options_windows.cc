// Other programs may join a port otherwise.
#include "mtlpublish/socket_options.h"

namespace mtlpublish {

void setSocketOptions(socket_t socket) {
  const BOOL yes = TRUE;
  setsockopt(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&yes),
             sizeof(yes));
}

}  // namespace mtlpublish
