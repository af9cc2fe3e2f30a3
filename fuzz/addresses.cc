// Fuzz target: addresses of libraries and of explicit proxies, as far as a host may get them from
// others.
#include "http/address.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include "host.h"
#include "http/http_getter.h"
#include "http/proxy_choice.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  const Address address = splitAddress(text.c_str());
  require(address.path.empty() || address.path.text()[0] == '/');

  Host host;
  host.settings.proxyMode = PROXY_MODE_EXPLICIT;
  host.settings.proxyAddress = text.c_str();
  QUtils::CharString proxy;
  int port = 80;
  getHttpProxyForAddr(host.settings, host.callback, "host.example", proxy, port);

  // Setting up a getter connects to nothing.
  host.settings.proxyMode = PROXY_MODE_DISABLED;
  host.settings.remoteAddress = text.c_str();
  require(host.downloader.initHttpGetter() == -host.callback.errors);
  if (host.downloader.httpGetter != nullptr) destroyHttpGetter(host.downloader.httpGetter, true);
  return 0;
}
