// Resolves paths one component at a time.
#include "rules/path.h"

#include <algorithm>
#include <cstddef>

#include "rules/windows_names.h"

namespace mtlrules {

namespace {

bool isSeparator(char c) {
  return c == '/' || c == '\\';
}

// Calls `take` with each name in order.
template <typename Take>
void forEachName(std::string_view path, Take take) {
  const auto* next = path.begin();
  while (true) {
    next = std::find_if_not(next, path.end(), isSeparator);
    if (next == path.end()) return;
    const auto* const end = std::find_if(next, path.end(), isSeparator);
    take(std::string_view(next, static_cast<std::size_t>(end - next)));
    next = end;
  }
}

// What stands in front of the first name. More than two leading separators count as two.
std::string_view leadOf(std::string_view path) {
  const auto* const first = std::find_if_not(path.begin(), path.end(), isSeparator);
  const auto separators = static_cast<std::size_t>(first - path.begin());
  return std::string_view("//").substr(0, separators);
}

std::string joined(const std::vector<std::string_view>& names, std::string_view lead = "") {
  std::string text(lead);
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += '/';
    text += names[i];
  }
  return text;
}

bool isUnreserved(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~' || c == '/';
}

}  // namespace

std::vector<std::string_view> namesOf(std::string_view path) {
  std::vector<std::string_view> names;
  forEachName(path, [&](std::string_view name) { names.push_back(name); });
  return names;
}

std::string canonicalPath(std::string_view path) {
  const std::string_view lead = leadOf(path);
  std::vector<std::string_view> kept;
  forEachName(path, [&](std::string_view name) {
    // A dot directly behind a single leading separator is an ordinary one.
    const bool isFirst = kept.empty() && lead != "/";
    if (name == "." && !isFirst) return;
    if (name == ".." && !kept.empty() && kept.back() != "..") {
      kept.pop_back();
    } else {
      kept.push_back(name);
    }
  });
  if (kept.empty() && lead.size() < 2) return {};
  return joined(kept, lead);
}

std::string joinedPath(std::string_view base, std::string_view relative) {
  std::string path(base);
  path = canonicalPath(path.append("/").append(relative));
  if (path == ".." || path.compare(0, 3, "../") == 0) return {};
  return path;
}

bool isPlain(std::string_view path) {
  std::size_t begin = 0;
  while (true) {
    const auto* const end =
        std::find_if(path.begin() + static_cast<std::ptrdiff_t>(begin), path.end(), isSeparator);
    const auto size = static_cast<std::size_t>(end - path.begin()) - begin;
    const std::string_view name = path.substr(begin, size);
    if (name.empty() || name == "." || name == "..") return false;
    if (end == path.end()) return true;
    if (*end != '/') return false;
    begin += size + 1;
  }
}

std::string plainPath(std::string_view path) {
  if (isPlain(path)) return std::string(path);
  std::vector<std::string_view> kept;
  bool hasLeft = false;
  forEachName(path, [&](std::string_view name) {
    if (name == ".") return;
    if (name != "..") return kept.push_back(name);
    hasLeft = hasLeft || kept.empty();
    if (!kept.empty()) kept.pop_back();
  });
  return hasLeft ? std::string() : joined(kept);
}

bool staysBelow(std::string_view path, bool onWindows) {
  std::ptrdiff_t depth = 0;
  bool hasLeft = false;
  forEachName(path, [&](std::string_view name) {
    if (name == ".") return;
    const bool isUp = name == "..";
    depth += isUp ? -1 : 1;
    hasLeft = hasLeft || depth < 0 || (!isUp && onWindows && !isOrdinaryOnWindows(name));
  });
  return !hasLeft && depth > 0;
}

std::string percentEncoded(std::string_view path) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(path.size() * 3);
  for (const char c : path) {
    if (isUnreserved(c)) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += kDigits[byte >> 4U];
    encoded += kDigits[byte & 0xFU];
  }
  return encoded;
}

}  // namespace mtlrules
