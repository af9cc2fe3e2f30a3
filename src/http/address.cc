// Splits addresses: scheme and path by the rules in src/rules/, host and port by the networking
// library.
#include "http/address.h"

#include <new>
#include <string_view>

#include "net/context.h"
#include "qutils/whole_text.h"
#include "rules/address.h"

namespace {

Address::Kind kindOf(mtlrules::AddressParts::Scheme scheme) {
  switch (scheme) {
    case mtlrules::AddressParts::Scheme::kHttp:
      return Address::kHttp;
    case mtlrules::AddressParts::Scheme::kHttps:
      return Address::kHttps;
    case mtlrules::AddressParts::Scheme::kOther:
      break;
  }
  return Address::kUnknown;
}

// These name no host, and leave it empty.
bool beginsWithoutHost(std::string_view server) {
  return server.front() == ':' || server.substr(0, 2) == "[]";
}

}  // namespace

Address splitAddress(const char* text) {
  const mtlrules::AddressParts parts = mtlrules::splitAddress(text);
  Address address;
  address.kind = kindOf(parts.scheme);
  // Without its path the address is that of another library.
  address.path = QUtils::wholeText(parts.path);
  if (parts.server.empty()) return address;
  const char* server = parts.server.data();
  Krell::Networking::parseServerWithPort(server, server + parts.server.size(), address.host,
                                         address.port);
  // Without its host a proxy is none.
  if (address.host.empty() && !beginsWithoutHost(parts.server)) throw std::bad_alloc();
  return address;
}
