// What differs between the systems' TLS libraries.
#ifndef KRELL_NETWORKING_SYSTEM_H_
#define KRELL_NETWORKING_SYSTEM_H_

#include <curl/curl.h>

namespace Krell {
namespace Networking {

/// Whether the peer of a TLS connection that has ended announced its end (close_notify).
/// Without that, somebody between may have cut it.
bool endedByCloseNotify(CURL* easy);

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_SYSTEM_H_
