// Parses the user's proxy settings. "ProxyServer" is one address for everything, or pairs such as
// "http=a:1;https=b:2".
#include "qutils/system_proxy.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "platform/win32.h"
#include "plugin/error_chain.h"
#include "qutils/registry.h"
#include "qutils/whole_text.h"

namespace QUtils {
namespace {

constexpr const char* kInternetSettings =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr char kSeparator = ';';
constexpr std::size_t kGrowStep = 100;

struct Cache {
  std::mutex mutex;
  bool loaded = false;
  SystemProxySettings settings;
};

// A setting that is lost with the memory is not one that was never made: without a text of its
// own the proxy would be another, or none.
void expectMemory(const ErrorChain& error) {
  if (error && errorCode(error, 0) == ERROR_NOT_ENOUGH_MEMORY) throw std::bad_alloc();
}

void append(std::vector<CharString>& list, const CharString& entry) {
  if (list.size() == list.capacity()) list.reserve(list.size() + kGrowStep);
  list.push_back(entry);
}

// Calls `use` with each piece between separators that is not empty.
template <typename Use>
void forEachToken(std::string_view text, Use use) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(kSeparator), text.size());
    if (end > 0) use(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCase) {
  return std::equal(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(),
                    [](unsigned char a, char b) { return std::tolower(a) == b; });
}

// The entry that a scheme's proxy goes to; null for schemes that have none.
CharString* entryOf(SystemProxySettings& settings, std::string_view scheme) {
  if (equalsIgnoringCase(scheme, "http")) return &settings.httpProxy;
  if (equalsIgnoringCase(scheme, "https")) return &settings.httpsProxy;
  if (equalsIgnoringCase(scheme, "ftp")) return &settings.ftpProxy;
  return nullptr;
}

// The address may bring a scheme of its own: it stays, behind this one.
CharString proxyAddress(const CharString& address) {
  return wholeText(std::string("http://") + address.text());
}

void takeServer(const CharString& server, SystemProxySettings& settings) {
  if (server.empty()) return;
  if (std::strchr(server.text(), kSeparator) == nullptr) {
    settings.httpProxy = proxyAddress(server);
    settings.httpsProxy = settings.httpProxy;
    settings.ftpProxy = settings.httpProxy;
    return;
  }
  forEachToken(server.text(), [&](std::string_view token) {
    // A token without '=' names no scheme, so it has no entry.
    const std::size_t equalSign = token.find('=');
    if (equalSign == std::string_view::npos || equalSign + 1 == token.size()) return;
    CharString* entry = entryOf(settings, token.substr(0, equalSign));
    if (entry != nullptr) *entry = proxyAddress(wholeText(token.substr(equalSign + 1)));
  });
}

void takeOverride(const CharString& text, SystemProxySettings& settings) {
  if (text.empty()) return;
  settings.bypassText = text;
  forEachToken(text.text(),
               [&](std::string_view token) { append(settings.bypassList, wholeText(token)); });
}

// Empty when there is no such text.
CharString readText(const RegistryKey& key, const char* name) {
  RegistryValue value;
  CharString text;
  const ErrorChain error = readRegistryValue(key, name, value);
  expectMemory(error);
  constexpr int kLost = 3;
  if (!error && registryValueToString(value, text) == kLost) throw std::bad_alloc();
  return text;
}

// The text of the bypass list is not cleared: the last one read stays until the next.
void clear(SystemProxySettings& settings) {
  settings.enabled = 0;
  settings.httpProxy.release();
  settings.httpsProxy.release();
  settings.ftpProxy.release();
  settings.bypassList.clear();
}

ErrorChain load(SystemProxySettings& settings) {
  clear(settings);
  RegistryKey key;
  if (ErrorChain error = key.open(RegistryKey(HKEY_CURRENT_USER), kInternetSettings, REGKEY_READ)) {
    expectMemory(error);
    return error;
  }
  RegistryValue enable;
  if (ErrorChain error = readRegistryValue(key, "ProxyEnable", enable)) {
    expectMemory(error);
    return error;
  }
  std::uint32_t number = 0;
  if (registryValueToDword(enable, number) != 0 || number == 0) return {};
  settings.enabled = 1;
  takeServer(readText(key, "ProxyServer"), settings);
  takeOverride(readText(key, "ProxyOverride"), settings);
  return {};
}

void copyInto(SystemProxySettings& out, const SystemProxySettings& settings) {
  out.enabled = settings.enabled;
  out.httpProxy = settings.httpProxy;
  out.httpsProxy = settings.httpsProxy;
  out.ftpProxy = settings.ftpProxy;
  out.bypassText = settings.bypassText;
  out.bypassList.clear();
  for (const CharString& entry : settings.bypassList)
    append(out.bypassList, entry);
}

}  // namespace

ErrorChain readSystemProxySettings(SystemProxySettings& out, bool force) {
  static Cache cache;
  const std::lock_guard<std::mutex> lock(cache.mutex);
  ErrorChain error;
  if (!cache.loaded || force) {
    // A failure is not tried again unless forced; where memory ran out, there was none.
    cache.loaded = false;
    error = load(cache.settings);
    cache.loaded = true;
  }
  copyInto(out, cache.settings);
  return error;
}

}  // namespace QUtils
