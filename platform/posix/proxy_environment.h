// Reads the proxy variables of the environment, in the form of the registry's Internet settings.
#ifndef MTLLIB_PLATFORM_POSIX_PROXY_ENVIRONMENT_H_
#define MTLLIB_PLATFORM_POSIX_PROXY_ENVIRONMENT_H_

#include <functional>
#include <string>

#include "platform/win32.h"

namespace posix {

/// The values of the Internet settings key, in UTF-8.
struct InternetSettings {
  DWORD proxyEnable = 0;      ///< 1 when a proxy is set for anything.
  std::string proxyServer;    ///< "http=host:port;https=host:port;"; empty without a proxy.
  std::string proxyOverride;  ///< Patterns separated by ';'.
};

/// Returns the value of an environment variable; null when it is not set.
using EnvironmentLookup = std::function<const char*(const char* name)>;

/// Translates http_proxy, https_proxy, all_proxy and no_proxy. docs/proxy.md describes the
/// rules to users.
InternetSettings internetSettingsFromEnvironment(const EnvironmentLookup& environment);

}  // namespace posix

#endif  // MTLLIB_PLATFORM_POSIX_PROXY_ENVIRONMENT_H_
