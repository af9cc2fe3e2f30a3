// Which proxy, if any, the pool connects through.
#include "http/address.h"
#include "plugin/downloader.h"

using QUtils::CharString;

namespace {

constexpr const char* kTag = "DownloaderImpl::getHttpProxyForAddr";
constexpr int kDefaultProxyPort = 80;

}  // namespace

void DownloaderImpl::getHttpProxyForAddr(const char* /*host*/, CharString& proxyHost,
                                         int& proxyPort) {
  proxyPort = kDefaultProxyPort;
  proxyHost.release();

  const bool isExplicit = settings->proxyMode == PROXY_MODE_EXPLICIT;
  if (settings->proxyMode == PROXY_MODE_DISABLED ||
      (isExplicit && settings->proxyAddress.empty())) {
    callback->logInfo("HTTP proxy disabled. Using direct connection.");
    return;
  }
  if (!isExplicit) {
    callback->logInfo("Using system proxy settings.");
    return;
  }
  const CharString text = settings->proxyAddress;
  callback->logInfo("HTTP proxy address: \"%s\"", text.text());

  const Address proxy = splitAddress(text.text());
  if (proxy.kind != Address::kHttp) {
    callback->logTaggedError(
        kTag, -1,
        "Unkown addressing scheme of the http proxy address \"%s\". Using direct connection.",
        text.text());
  } else if (!proxy.path.empty()) {
    callback->logTaggedError(kTag, -1, "Ivalid http proxy address \"%s\". Using direct connection.",
                             text.text());
  } else {
    proxyHost = proxy.host;
    if (proxy.port >= 0) proxyPort = proxy.port;
  }
}
