// scheme "://" host [":" port] [path], every piece but the host optional.
#include "http/address.h"

#include <cctype>
#include <cstring>
#include <new>

#include "net/context.h"

using QUtils::CharString;

namespace {

Address::Kind kindOf(const CharString& scheme) {
  if (scheme == "http") return Address::kHttp;
  if (scheme == "https") return Address::kHttps;
  return Address::kUnknown;
}

}  // namespace

CharString lowerCaseCopy(const CharString& text) {
  CharString copy(text);
  copy.unshare();
  char* bytes = copy.data();
  for (std::size_t i = copy.length(); i > 0; --i) {
    bytes[i - 1] = static_cast<char>(std::tolower(static_cast<unsigned char>(bytes[i - 1])));
  }
  return copy;
}

Address splitAddress(const char* text) {
  Address address;
  const char* rest = text;
  if (const char* separator = std::strstr(text, "://")) {
    CharString scheme;
    scheme.assign(text, separator - text);
    address.kind = kindOf(lowerCaseCopy(scheme));
    rest = separator + std::strlen("://");
  }
  const char* hostEnd = rest + std::strcspn(rest, "/");
  address.path = *hostEnd != '\0' ? hostEnd : nullptr;
  // Without its path the address is that of another library.
  if (*hostEnd != '\0' && address.path.empty()) throw std::bad_alloc();
  if (hostEnd != rest) {
    Krell::Networking::parseServerWithPort(rest, hostEnd, address.host, address.port);
  }
  return address;
}
