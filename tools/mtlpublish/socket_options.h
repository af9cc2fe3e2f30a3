// How the server's socket is set up before it takes its port.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_SOCKET_OPTIONS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_SOCKET_OPTIONS_H_

#include <httplib.h>

namespace mtlpublish {

/// Two servers never share a port, and a port is free again as soon as its server has
/// ended.
void setSocketOptions(socket_t socket);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_SOCKET_OPTIONS_H_
