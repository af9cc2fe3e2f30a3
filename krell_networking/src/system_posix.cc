// libcurl on OpenSSL reports either end of a connection alike, so OpenSSL itself is asked:
// the one that libcurl brought, if it did. The other TLS libraries make an error of an end
// that was not announced.
#include "system.h"

extern "C" {
struct ssl_st;
__attribute__((weak)) int SSL_get_shutdown(const ssl_st* ssl);
}

namespace Krell {
namespace Networking {

namespace {

constexpr int kReceivedShutdown = 2;  // OpenSSL's SSL_RECEIVED_SHUTDOWN.

}  // namespace

bool endedByCloseNotify(CURL* easy) {
  curl_tlssessioninfo* session = nullptr;
  if (curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK) return false;
  if (session->backend != CURLSSLBACKEND_OPENSSL) return true;
  if (session->internals == nullptr || SSL_get_shutdown == nullptr) return false;
  const auto* ssl = static_cast<const ssl_st*>(session->internals);
  return (SSL_get_shutdown(ssl) & kReceivedShutdown) != 0;
}

}  // namespace Networking
}  // namespace Krell
