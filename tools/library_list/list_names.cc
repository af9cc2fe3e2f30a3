// Both separators count everywhere, as they do for the plug-in.
#include "library_list/list_names.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <vector>

#include "platform/file_names.h"

namespace library_list {

namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr std::string_view kSchemeEnd = "://";
constexpr const char* kListName = "filelist.json";

std::vector<std::string_view> componentsOf(std::string_view path) {
  std::vector<std::string_view> components;
  while (true) {
    path.remove_prefix(std::min(path.find_first_not_of(kSeparators), path.size()));
    if (path.empty()) return components;
    const std::size_t end = std::min(path.find_first_of(kSeparators), path.size());
    components.push_back(path.substr(0, end));
    path.remove_prefix(end);
  }
}

// Two leading separators are the lead of a network path; more count as two.
std::string leadOf(std::string_view path) {
  return std::string(std::min(path.find_first_not_of(kSeparators), std::size_t{2}), '/');
}

// With '/' as the separator. `path` is not empty and has more than separators.
std::string canonicalPath(std::string_view path) {
  std::string text = leadOf(path);
  std::vector<std::string_view> kept;
  for (const std::string_view component : componentsOf(path)) {
    // A dot stays where nothing, or a network path's lead, is in front of it.
    if (component == "." && (!kept.empty() || text == "/")) continue;
    if (component == ".." && !kept.empty() && kept.back() != "..") {
      kept.pop_back();
    } else {
      kept.push_back(component);
    }
  }
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (i > 0) text += '/';
    text += kept[i];
  }
  return text;
}

bool isKeptInUrl(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~/").find(c) != std::string_view::npos;
}

std::string percentEncoded(const std::string& path) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : path) {
    if (isKeptInUrl(c)) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
  }
  return encoded;
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  });
  return lower;
}

}  // namespace

namespace {

/// The URL of `name` in the library at `address`; `lead` stands in front of the library's
/// path, and as it was given.
std::string urlOf(std::string_view address, const std::string& lead, std::string_view name) {
  std::string scheme = "http";
  if (const std::size_t end = address.find(kSchemeEnd); end != address.npos) {
    scheme = lowerCase(address.substr(0, end));
    address.remove_prefix(end + kSchemeEnd.size());
  }
  const std::string_view host = address.substr(0, address.find('/'));
  // What would make other parts of a URL of it is no host.
  const bool isHost = !host.empty() && host.find_first_of("?#@\\") == host.npos;
  if ((scheme != "http" && scheme != "https") || !isHost) return "";
  std::string base(address.substr(host.size()));
  return scheme + std::string(kSchemeEnd) + std::string(host) + lead +
         percentEncoded(canonicalPath(base.append("/").append(name)));
}

}  // namespace

std::string listUrl(std::string_view address, const std::string& subPath) {
  return urlOf(address, subPath.empty() ? "" : "/" + subPath, kListName);
}

std::string fileUrl(std::string_view address, std::string_view name) {
  return urlOf(address, "", name);
}

std::string localName(const std::string& directory, const std::string& relative) {
  const std::string path = canonicalPath(directory + "/" + relative);
  return path.compare(0, 3, "../") == 0 || path == ".." ? "" : path;
}

bool staysBelow(std::string_view path) {
  int depth = 0;
  for (const std::string_view component : componentsOf(path)) {
    if (component == ".") continue;
    const bool up = component == "..";
    depth += up ? -1 : 1;
    if (depth < 0 || (!up && !Platform::isOrdinaryName(component))) return false;
  }
  return depth > 0;
}

std::string plainPath(std::string_view path) {
  return canonicalPath(std::string("x/").append(path)).substr(2);
}

}  // namespace library_list
