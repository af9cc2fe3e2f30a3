// The configuration of TLS: where the certificates of trusted authorities come from.
#ifndef KRELL_NETWORKING_SSL_CONFIGURATION_H_
#define KRELL_NETWORKING_SSL_CONFIGURATION_H_

#include <string>

namespace Krell {
namespace Networking {

/// The trust store of TLS clients. An empty name means the system's own.
struct ClientSSLConfiguration {
  std::string caFile;
  std::string caDirectory;
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_SSL_CONFIGURATION_H_
