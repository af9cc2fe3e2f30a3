// Connections that linger keep a port otherwise.
#include "mtlpublish/socket_options.h"

namespace mtlpublish {

void setSocketOptions(socket_t socket) {
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
}

}  // namespace mtlpublish
