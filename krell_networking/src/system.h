// The functions that depend on the system's TLS library: how a connection ended, and where trusted
// authorities are found.
#ifndef KRELL_NETWORKING_SYSTEM_H_
#define KRELL_NETWORKING_SYSTEM_H_

#include <curl/curl.h>

#include <string>

namespace Krell {
namespace Networking {

/// Whether the peer of a TLS connection that has ended announced its end (close_notify).
/// Without that, somebody between may have cut it.
bool endedByCloseNotify(CURL* easy);

/// Whether libcurl was built to find the authorities that the system trusts. Throws std::bad_alloc.
bool libcurlKnowsAuthorities();

/// The file with the certificates of the authorities that the system below `root` trusts; "" when
/// there is none, as on systems that keep them elsewhere than in files.
std::string authoritiesFile(const std::string& root);

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_SYSTEM_H_
