// Chooses the proxy. If the system's settings cannot be read, no proxy is used, and no error is
// reported.
#include "http/proxy_choice.h"

#include <algorithm>

#include "http/address.h"
#include "qutils/system_proxy.h"
#include "rules/wildcard_match.h"

using QUtils::CharString;

namespace {

constexpr const char* kChoiceTag = "DownloaderImpl::getHttpProxyForAddr";
constexpr int kDefaultProxyPort = 80;

// The proxies below are addresses as the user wrote them; empty for a direct connection.

CharString explicitProxy(const DownloaderSettings& settings, HostCallback& callback) {
  callback.logInfo("HTTP proxy address: \"%s\"", settings.proxyAddress.text());
  return settings.proxyAddress;
}

CharString systemProxy(const char* host, HostCallback& callback) {
  callback.logInfo("Using system proxy settings.");
  QUtils::SystemProxySettings system;
  if (QUtils::readSystemProxySettings(system, false) || system.enabled == 0) return {};
  const bool bypassed = std::any_of(system.bypassList.begin(), system.bypassList.end(),
                                    [host](const CharString& pattern) {
                                      return mtlrules::wildcardMatch(pattern.text(), host, 0) != 0;
                                    });
  if (bypassed) {
    callback.logInfo("HTTP bypassed, using direct connection.");
    return {};
  }
  callback.logInfo("System HTTP proxy address: \"%s\"", system.httpProxy.text());
  return system.httpProxy;
}

CharString chosenProxy(const DownloaderSettings& settings, const char* host,
                       HostCallback& callback) {
  const bool isExplicit = settings.proxyMode == PROXY_MODE_EXPLICIT;
  if (settings.proxyMode == PROXY_MODE_DISABLED || (isExplicit && settings.proxyAddress.empty())) {
    callback.logInfo("HTTP proxy disabled. Using direct connection.");
    return {};
  }
  return isExplicit ? explicitProxy(settings, callback) : systemProxy(host, callback);
}

}  // namespace

void getHttpProxyForAddr(const DownloaderSettings& settings, HostCallback& callback,
                         const char* host, CharString& proxyHost, int& proxyPort) {
  proxyPort = kDefaultProxyPort;
  proxyHost.release();

  const CharString text = chosenProxy(settings, host, callback);
  if (text.empty()) return;
  const Address proxy = splitAddress(text.text());
  if (proxy.kind != Address::kHttp) {
    callback.logTaggedError(
        kChoiceTag, -1,
        "Unkown addressing scheme of the http proxy address \"%s\". Using direct connection.",
        text.text());
  } else if (!proxy.path.empty()) {
    callback.logTaggedError(
        kChoiceTag, -1, "Ivalid http proxy address \"%s\". Using direct connection.", text.text());
  } else {
    proxyHost = proxy.host;
    if (proxy.port >= 0) proxyPort = proxy.port;
  }
}
