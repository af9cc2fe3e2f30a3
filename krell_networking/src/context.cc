// The default context: libcurl's process-wide state, counted, and the trust store as
// curl's users configure it.
#include "net/context.h"

#include <curl/curl.h>

#include <cstdlib>
#include <mutex>

#include "ssl_configuration.h"

namespace Krell {
namespace Networking {

namespace {

struct DefaultContext {
  std::mutex mutex;
  int references = 0;
  ClientSSLConfiguration ssl;
  KrellNetworkingContext published{nullptr, nullptr};
};

DefaultContext& defaultContext() {
  static DefaultContext context;
  return context;
}

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// The order of the curl program: CURL_CA_BUNDLE wins over the names that OpenSSL
// reads.
ClientSSLConfiguration sslConfigurationFromEnvironment() {
  ClientSSLConfiguration ssl;
  ssl.caFile = environment("CURL_CA_BUNDLE");
  if (!ssl.caFile.empty()) return ssl;
  ssl.caDirectory = environment("SSL_CERT_DIR");
  ssl.caFile = environment("SSL_CERT_FILE");
  return ssl;
}

}  // namespace

krbool NetworkingContextInitializerRAII::initializeDefault(const char* /*name*/,
                                                           QUtils::CharString& error) {
  if (version != kVersion) {
    error = "Unsupported interface version";
    return 0;
  }
  DefaultContext& state = defaultContext();
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (state.references == 0) {
    const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) {
      error = curl_easy_strerror(code);
      return 0;
    }
    state.ssl = sslConfigurationFromEnvironment();
    state.published.clientSsl = &state.ssl;
  }
  ++state.references;
  flags |= kInitialized;
  return 1;
}

void NetworkingContextInitializerRAII::deinitialize(krbool initialized) {
  if (initialized == 0) return;
  flags &= ~static_cast<std::uint32_t>(kInitialized);
  DefaultContext& state = defaultContext();
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (--state.references != 0) return;
  state.published.clientSsl = nullptr;
  curl_global_cleanup();
}

KrellNetworkingContext* getKrellNetworkingContext() {
  return &defaultContext().published;
}

}  // namespace Networking
}  // namespace Krell
