// The default context: counts the users of libcurl's process-wide state, and finds the trust store
// where users of curl configure it.
#include "net/context.h"

#include <curl/curl.h>

#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "platform/utf.h"
#include "platform/win32.h"
#include "ssl_configuration.h"
#include "system.h"

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

// As UTF-8 on every system, which libcurl expects; empty when there is no such variable. Throws
// std::bad_alloc when memory runs out: without its name another trust store would be used.
std::string environment(const std::string& name) {
  const std::string reference = "%" + name + "%";
  const Platform::WideText wide = Platform::duplicateAsWide(reference.c_str());
  const DWORD size = wide != nullptr ? ExpandEnvironmentStringsW(wide.get(), nullptr, 0) : 0;
  std::vector<WCHAR> value(size + 1);
  const DWORD needed =
      size > 0 ? ExpandEnvironmentStringsW(wide.get(), value.data(), size) : DWORD{0};
  if (needed < 1) throw std::bad_alloc();
  if (needed > size) return {};
  std::string text = Platform::wideToCharString(value.data()).text();
  if (text.empty() && value.front() != 0) throw std::bad_alloc();
  return text != reference ? text : std::string();
}

// The order of the curl program: CURL_CA_BUNDLE wins over the names that OpenSSL
// reads.
ClientSSLConfiguration sslConfigurationFromEnvironment() {
  ClientSSLConfiguration ssl;
  ssl.caFile = environment("CURL_CA_BUNDLE");
  if (!ssl.caFile.empty()) return ssl;
  ssl.caDirectory = environment("SSL_CERT_DIR");
  ssl.caFile = environment("SSL_CERT_FILE");
  if (ssl.caFile.empty() && !libcurlKnowsAuthorities()) ssl.caFile = authoritiesFile("");
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
    try {
      state.ssl = sslConfigurationFromEnvironment();
    } catch (const std::bad_alloc&) {
      curl_global_cleanup();
      error = "Out of memory";
      return 0;
    }
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
  ClientSSLConfiguration none;
  std::swap(state.ssl, none);  // An assignment would keep the texts' memory.
  curl_global_cleanup();
}

KrellNetworkingContext* getKrellNetworkingContext() {
  return &defaultContext().published;
}

}  // namespace Networking
}  // namespace Krell
