// Translates the proxy variables of the environment. A value that the registry's form cannot
// express is written so that the proxy choice reports and refuses it, and never so that it means
// something else.
#include "platform/posix/proxy_environment.h"

#include <algorithm>
#include <string_view>

namespace posix {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view valueOf(const EnvironmentLookup& environment, const char* name) {
  const char* value = environment(name);
  return value != nullptr ? trimmed(value) : std::string_view();
}

// The lower-case form wins; an empty one counts as not set.
std::string_view valueOf(const EnvironmentLookup& environment, const char* lowerCaseName,
                         const char* upperCaseName) {
  const std::string_view value = valueOf(environment, lowerCaseName);
  return !value.empty() ? value : valueOf(environment, upperCaseName);
}

std::string_view httpValue(const EnvironmentLookup& environment) {
  // A CGI program finds the header "Proxy" of whoever asks in HTTP_PROXY.
  const bool isCgi = environment("REQUEST_METHOD") != nullptr;
  return isCgi ? valueOf(environment, "http_proxy")
               : valueOf(environment, "http_proxy", "HTTP_PROXY");
}

bool isBetween(char c, char first, char last) {
  return c >= first && c <= last;
}

bool isSchemeCharacter(char c) {
  return isBetween(c, 'a', 'z') || isBetween(c, 'A', 'Z') || isBetween(c, '0', '9') || c == '+' ||
         c == '-' || c == '.';
}

// The scheme with its "://"; empty when there is none.
std::string_view schemeOf(std::string_view value) {
  const std::size_t separator = value.find("://");
  if (separator == std::string_view::npos) return {};
  const std::string_view name = value.substr(0, separator);
  const bool isName = std::all_of(name.begin(), name.end(), isSchemeCharacter);
  return isName ? value.substr(0, separator + 3) : std::string_view();
}

bool isHttp(std::string_view scheme) {
  constexpr std::string_view kHttp = "http://";
  return std::equal(
      scheme.begin(), scheme.end(), kHttp.begin(), kHttp.end(), [](char c, char expected) {
        return (isBetween(c, 'A', 'Z') ? static_cast<char>(c - 'A' + 'a') : c) == expected;
      });
}

// A proxy variable's value as an entry of "ProxyServer" holds it.
std::string proxyAddress(std::string_view value) {
  std::string_view scheme = schemeOf(value);
  std::string_view address = value.substr(scheme.size());
  // A user name and password end here: they must get neither to the network nor into the
  // host's log. A password may hold an '@' or a '/' itself.
  address.remove_prefix(address.rfind('@') + 1);
  // The reader puts "http://" in front. Before any other scheme that makes an address with
  // a path, which the proxy choice refuses.
  if (isHttp(scheme)) scheme = {};
  if (scheme.empty() && !address.empty() && address.back() == '/') address.remove_suffix(1);
  std::string result(scheme);
  result += address;
  // A ';' would end the entry and begin another. No address has one; as a '/' it is refused.
  std::replace(result.begin(), result.end(), ';', '/');
  return result;
}

bool isWildcard(char c) {
  return c == '[' || c == ']' || c == '\\' || c == '?';
}

// A pattern for the text itself, in which only '*' has a meaning.
std::string escaped(std::string_view text) {
  std::string pattern;
  for (const char c : text) {
    if (isWildcard(c)) pattern += '\\';
    pattern += c;
  }
  return pattern;
}

// The host that an entry of no_proxy names: without brackets, port and leading dots.
std::string_view bypassedHost(std::string_view entry) {
  if (const std::size_t bracket = entry.find(']');
      entry.front() == '[' && bracket != std::string_view::npos) {
    return entry.substr(1, bracket - 1);
  }
  // With more colons than one it is an IPv6 address.
  const std::size_t colon = entry.find(':');
  if (colon != std::string_view::npos && entry.find(':', colon + 1) == std::string_view::npos) {
    entry = entry.substr(0, colon);
  }
  return entry.substr(std::min(entry.find_first_not_of('.'), entry.size()));
}

std::string bypassPatterns(std::string_view entry) {
  const std::string_view host = bypassedHost(entry);
  // No host has a ';', and a pattern cannot hold one.
  if (host.empty() || host.find(';') != std::string_view::npos) return {};
  const std::string pattern = escaped(host);
  // Nothing is below an address, and a pattern is used as it was given.
  const bool isPatternOrIpv6 = host.find_first_of("*:") != std::string_view::npos;
  const bool isIpv4 = host.find_first_not_of("0123456789.") == std::string_view::npos;
  return isPatternOrIpv6 || isIpv4 ? pattern + ";" : pattern + ";*." + pattern + ";";
}

std::string bypassList(std::string_view value) {
  constexpr std::string_view kSeparators = ", \t\r\n";
  std::string list;
  std::size_t first = value.find_first_not_of(kSeparators);
  while (first != std::string_view::npos) {
    const std::size_t end = std::min(value.find_first_of(kSeparators, first), value.size());
    list += bypassPatterns(value.substr(first, end - first));
    first = value.find_first_not_of(kSeparators, end);
  }
  if (!list.empty()) list.pop_back();
  return list;
}

}  // namespace

InternetSettings internetSettingsFromEnvironment(const EnvironmentLookup& environment) {
  const std::string all = proxyAddress(valueOf(environment, "all_proxy", "ALL_PROXY"));
  std::string http = proxyAddress(httpValue(environment));
  std::string https = proxyAddress(valueOf(environment, "https_proxy", "HTTPS_PROXY"));
  if (http.empty()) http = all;
  if (https.empty()) https = all;

  InternetSettings settings;
  settings.proxyEnable = http.empty() && https.empty() ? 0 : 1;
  // Each entry ends in a ';': without any, the reader takes the text for one address.
  if (!http.empty()) settings.proxyServer += "http=" + http + ";";
  if (!https.empty()) settings.proxyServer += "https=" + https + ";";
  settings.proxyOverride = bypassList(valueOf(environment, "no_proxy", "NO_PROXY"));
  return settings;
}

}  // namespace posix
