// The POSIX implementation of system.h. libcurl with OpenSSL reports an announced end of a
// connection and a cut alike, so OpenSSL itself is asked, if libcurl was built with it. With the
// other TLS libraries an end that was not announced is an error.
#include "system.h"

#include <fstream>
#include <memory>
#include <new>

extern "C" {
struct ssl_st;
__attribute__((weak)) int SSL_get_shutdown(const ssl_st* ssl);
}

namespace Krell {
namespace Networking {

namespace {

constexpr int kReceivedShutdown = 2;  // OpenSSL's SSL_RECEIVED_SHUTDOWN.

// The files that systems keep for programs, which look nowhere else. The first that is there
// counts.
constexpr const char* kAuthorities[] = {
    "/etc/ssl/certs/ca-certificates.crt",                 // Debian, Alpine, Arch
    "/etc/pki/tls/certs/ca-bundle.crt",                   // Fedora, Red Hat
    "/etc/pki/ca-trust/extracted/pem/tls-ca-bundle.pem",  // the same, without the link to it
    "/etc/ssl/ca-bundle.pem",                             // SUSE
    "/etc/ssl/cert.pem",                                  // small systems, and the BSDs
};

bool canBeRead(const std::string& file) {
  return std::ifstream(file).peek() != std::ifstream::traits_type::eof();
}

}  // namespace

bool endedByCloseNotify(CURL* easy) {
  curl_tlssessioninfo* session = nullptr;
  if (curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK) return false;
  if (session->backend != CURLSSLBACKEND_OPENSSL) return true;
  if (session->internals == nullptr || SSL_get_shutdown == nullptr) return false;
  const auto* ssl = static_cast<const ssl_st*>(session->internals);
  return (SSL_get_shutdown(ssl) & kReceivedShutdown) != 0;
}

bool libcurlKnowsAuthorities() {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(),
                                                                 curl_easy_cleanup);
  if (easy == nullptr) throw std::bad_alloc();
  const char* file = nullptr;
  const char* folder = nullptr;
  curl_easy_getinfo(easy.get(), CURLINFO_CAINFO, &file);
  curl_easy_getinfo(easy.get(), CURLINFO_CAPATH, &folder);
  return file != nullptr || folder != nullptr;
}

std::string authoritiesFile(const std::string& root) {
  for (const char* name : kAuthorities) {
    std::string file = root + name;
    if (canBeRead(file)) return file;
  }
  return {};
}

}  // namespace Networking
}  // namespace Krell
