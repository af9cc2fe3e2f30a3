// Decides which hosts and ports a connection may be made to.
#ifndef KRELL_NETWORKING_SERVER_ADDRESS_H_
#define KRELL_NETWORKING_SERVER_ADDRESS_H_

#include <string>

namespace Krell {
namespace Networking {

/// Whether `host` can stand in a URL as a name or an address without changing what the
/// rest of the URL means: no user name, no port, no path.
bool isHostName(const char* host);

bool isPort(int port);

/// "host:port" as in a URL, an IPv6 address in brackets.
std::string hostAndPort(const char* host, int port);

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_SERVER_ADDRESS_H_
