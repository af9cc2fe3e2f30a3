// Fuzz target: the user's proxy settings: the first line is "ProxyServer", the rest
// "ProxyOverride".
#include "qutils/system_proxy.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "host.h"
#include "http/proxy_choice.h"
#include "platform/utf.h"
#include "platform/win32.h"

namespace {

HKEY settingsKey() {
  const Platform::WideText path =
      Platform::duplicateAsWide("SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet Settings");
  HKEY key = nullptr;
  RegCreateKeyExW(HKEY_CURRENT_USER, path.get(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
  const Platform::WideText name = Platform::duplicateAsWide("ProxyEnable");
  const DWORD one = 1;
  RegSetValueExW(key, name.get(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&one), sizeof(one));
  return key;
}

void setText(HKEY key, const char* valueName, const std::string& text, DWORD type) {
  const Platform::WideText name = Platform::duplicateAsWide(valueName);
  const std::size_t units = Platform::utf8ToWide(text.c_str(), nullptr, 0);
  const Platform::WideText wide = Platform::duplicateAsWide(text.c_str());
  RegSetValueExW(key, name.get(), 0, type, reinterpret_cast<const BYTE*>(wide.get()),
                 static_cast<DWORD>(units * sizeof(WCHAR)));
}

bool isProxy(const QUtils::CharString& address) {
  return address.empty() || std::string(address.text()).compare(0, 7, "http://") == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static HKEY key = settingsKey();
  const std::string input(reinterpret_cast<const char*>(bytes), size);
  const std::size_t end = std::min(input.find('\n'), size);
  setText(key, "ProxyServer", input.substr(0, end), size % 2 == 0 ? REG_SZ : REG_EXPAND_SZ);
  setText(key, "ProxyOverride", input.substr(std::min(end + 1, size)), REG_SZ);

  QUtils::SystemProxySettings settings;
  require(!QUtils::readSystemProxySettings(settings, true));
  require(isProxy(settings.httpProxy) && isProxy(settings.httpsProxy) &&
          isProxy(settings.ftpProxy));
  for (const QUtils::CharString& pattern : settings.bypassList)
    require(!pattern.empty());

  Host host;
  host.settings.proxyMode = PROXY_MODE_SYSTEM;
  QUtils::CharString proxy;
  int port = 80;
  getHttpProxyForAddr(host.settings, host.callback, "host.example", proxy, port);
  return 0;
}
