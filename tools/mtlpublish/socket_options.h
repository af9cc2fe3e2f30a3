// How the server's socket is set up before it takes its port.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_SOCKET_OPTIONS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_SOCKET_OPTIONS_H_

#include <httplib.h>

#include <chrono>
#include <cstddef>

namespace mtlpublish {

/// Two servers never share a port, and a port is free again as soon as its server has
/// ended.
void setSocketOptions(socket_t socket);

/// For a connection that was accepted, before the following are used.
void setUpConnection(socket_t socket);

/// Receives what comes first within the time: the number of bytes, 0 when none came, -1
/// when none will.
std::ptrdiff_t receiveWithin(std::chrono::milliseconds time, socket_t socket, char* data,
                             std::size_t size);

/// Sends what the socket takes within the time: the number of bytes, 0 when it took none,
/// -1 when it will take none.
std::ptrdiff_t sendWithin(std::chrono::milliseconds time, socket_t socket, const char* data,
                          std::size_t size);

/// The other side sees the end of what is sent, and can go on sending.
void endSending(socket_t socket);

void closeSocket(socket_t socket);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_SOCKET_OPTIONS_H_
