// Splits an address: scheme "://" server path, where everything but the server is optional.
#include "rules/address.h"

#include <algorithm>
#include <cstddef>

#include "rules/ascii.h"
#include "rules/path.h"

namespace mtlrules {

namespace {

constexpr std::string_view kSchemeEnd = "://";

AddressParts::Scheme schemeNamed(std::string_view name) {
  if (equalsIgnoringCase(name, "http")) return AddressParts::Scheme::kHttp;
  if (equalsIgnoringCase(name, "https")) return AddressParts::Scheme::kHttps;
  return AddressParts::Scheme::kOther;
}

// Up to the path; "" when the address has no scheme of http or no host.
std::string urlOfServer(const AddressParts& address) {
  // What would make other parts of a URL of it is not a host.
  const bool isHost =
      !address.server.empty() && address.server.find_first_of("?#@\\") == std::string_view::npos;
  if (address.scheme == AddressParts::Scheme::kOther || !isHost) return {};
  std::string url = address.scheme == AddressParts::Scheme::kHttps ? "https" : "http";
  return url.append(kSchemeEnd).append(address.server);
}

}  // namespace

const char* defaultAddress() {
  return "http://" MTLLIB_DEFAULT_HOST "/mtllib";
}

AddressParts splitAddress(std::string_view address) {
  AddressParts parts;
  if (const std::size_t end = address.find(kSchemeEnd); end != address.npos) {
    parts.scheme = schemeNamed(address.substr(0, end));
    address.remove_prefix(end + kSchemeEnd.size());
  }
  parts.server = address.substr(0, address.find('/'));
  parts.path = address.substr(parts.server.size());
  return parts;
}

std::string withoutTrailingSlashes(std::string_view address) {
  const std::size_t scheme = address.find(kSchemeEnd);
  const std::size_t begin = scheme == address.npos ? 0 : scheme + kSchemeEnd.size();
  const std::size_t last = address.find_last_not_of('/');
  if (last == address.npos) return std::string(address);
  return std::string(address.substr(0, last < begin ? begin : last + 1));
}

bool hasUserName(std::string_view address) {
  const std::string_view server = splitAddress(address).server;
  return server.substr(0, server.find_first_of("?#")).find('@') != server.npos;
}

bool isMirrorAddress(std::string_view address) {
  constexpr std::size_t kLongest = 2048;
  const bool isPlain =
      std::all_of(address.begin(), address.end(), [](char c) { return c > ' ' && c < '\x7F'; });
  const bool isAlone = address.find_first_of("?#@\\") == address.npos;
  return isPlain && isAlone && address.size() <= kLongest &&
         address.find(kSchemeEnd) != address.npos && !urlOfServer(splitAddress(address)).empty();
}

std::string withoutUserName(std::string_view address) {
  const std::string_view server = splitAddress(address).server;
  const auto begin = static_cast<std::size_t>(server.data() - address.data());
  // A slash in a password ends the server too early, and what precedes it is not a port.
  const std::size_t colon = server.rfind(':');
  const bool hasPort =
      colon == server.npos || server.find_first_not_of("0123456789]", colon + 1) == server.npos;
  const std::string_view rest = address.substr(begin);
  const std::size_t at = hasPort || hasUserName(address) ? server.rfind('@') : rest.rfind('@');
  if (at == rest.npos) return std::string(address);
  return std::string(address.substr(0, begin)).append(rest.substr(at + 1));
}

std::string urlPath(std::string_view base, std::string_view relative) {
  return percentEncoded(joinedPath(base, relative));
}

std::string listUrlPath(std::string_view base, std::string_view subPath, std::string_view name) {
  std::string path = urlPath(base, name);
  if (!subPath.empty()) path.insert(0, std::string("/").append(subPath));
  return path;
}

std::string fileUrl(std::string_view address, std::string_view relative) {
  const AddressParts parts = splitAddress(address);
  const std::string server = urlOfServer(parts);
  return server.empty() ? server : server + urlPath(parts.path, relative);
}

std::string listUrl(std::string_view address, std::string_view subPath) {
  const AddressParts parts = splitAddress(address);
  const std::string server = urlOfServer(parts);
  return server.empty() ? server : server + listUrlPath(parts.path, subPath);
}

}  // namespace mtlrules
