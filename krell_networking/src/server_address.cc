// Splits "host:port" and decides which host names a connection may be made to.
#include "server_address.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "net/context.h"

namespace Krell {
namespace Networking {

namespace {

constexpr int kHighestPort = 65535;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// -1 when `text` is not a port number.
int parsePort(std::string_view text) {
  if (text.empty() || text.size() > 5 || !std::all_of(text.begin(), text.end(), isDigit)) return -1;
  int port = 0;
  for (const char digit : text)
    port = port * 10 + (digit - '0');
  return port <= kHighestPort ? port : -1;
}

bool isHostByte(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return isDigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '.' ||
         c == '_' || byte >= 0x80;
}

bool isIpv6Byte(char c) {
  return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f') || c == ':' || c == '.';
}

// Whether `text` has the form of an IPv6 address; whether it is one is the resolver's verdict.
bool isIpv6Form(std::string_view text) {
  constexpr std::size_t kMostGroupDigits = 4;
  if (!std::all_of(text.begin(), text.end(), isIpv6Byte)) return false;
  if (std::count(text.begin(), text.end(), ':') < 2) return false;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::string_view group = text.substr(begin, text.find(':', begin) - begin);
    const bool dotted = group.find('.') != std::string_view::npos;
    if (group.size() > kMostGroupDigits && !dotted) return false;
    begin += group.size() + 1;
  }
  return true;
}

}  // namespace

bool isHostName(const char* host) {
  const std::string_view text(host);
  if (text.empty()) return false;
  if (text.find(':') != std::string_view::npos) return isIpv6Form(text);
  return std::all_of(text.begin(), text.end(), isHostByte);
}

bool isPort(int port) {
  return port >= 1 && port <= kHighestPort;
}

std::string hostAndPort(const char* host, int port) {
  const bool ipv6 = std::strchr(host, ':') != nullptr;
  return (ipv6 ? "[" + std::string(host) + "]" : std::string(host)) + ":" + std::to_string(port);
}

krbool parseServerWithPort(const char* begin, const char* end, QUtils::CharString& host,
                           int& port) {
  const std::string_view text(begin, static_cast<std::size_t>(end - begin));
  std::string_view name = text;
  std::string_view rest;
  if (!text.empty() && text.front() == '[' && text.find(']') != std::string_view::npos) {
    const std::size_t bracket = text.find(']');
    name = text.substr(1, bracket - 1);
    rest = text.substr(bracket + 1);
  } else if (const std::size_t colon = text.rfind(':'); colon != std::string_view::npos) {
    name = text.substr(0, colon);
    rest = text.substr(colon);
  }
  // What follows the name is nothing, a lone colon, or a colon and a port.
  const bool bracketed = name.data() != text.data();
  const bool hasPort = rest.size() > 1;
  const int number = hasPort ? parsePort(rest.substr(1)) : 0;
  const bool wellFormed = (rest.empty() || rest.front() == ':') && number >= 0 &&
                          (bracketed || name.find_first_of(":[]") == std::string_view::npos);
  if (!wellFormed) name = text;
  host.assign(name.data(), static_cast<std::int64_t>(name.size()));
  if (wellFormed && hasPort) port = number;
  return wellFormed ? 1 : 0;
}

}  // namespace Networking
}  // namespace Krell
