// Checks Host fields. Addresses are recognised by their form: no name ends in a number or has
// brackets.
#include "mtlpublish/host_field.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

#include "rules/ascii.h"

namespace mtlpublish {

namespace {

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

/// Four numbers of one byte.
bool isIpv4Address(std::string_view text) {
  const char* position = text.data();
  const char* const end = position + text.size();
  for (int i = 0; i < 4; ++i) {
    if (i > 0 && (position == end || *position++ != '.')) return false;
    std::uint8_t number = 0;
    const auto [next, error] = std::from_chars(position, end, number);
    if (error != std::errc()) return false;
    position = next;
  }
  return position == end;
}

/// Without the port, and without the dot that may end a name.
std::string_view hostOf(std::string_view field) {
  const std::size_t colon = field.find(':', field.rfind(']') + 1);
  if (colon != field.npos) {
    const std::string_view port = field.substr(colon + 1);
    if (!std::all_of(port.begin(), port.end(), isDigit)) return {};
    field = field.substr(0, colon);
  }
  if (!field.empty() && field.back() == '.') field.remove_suffix(1);
  return field;
}

}  // namespace

bool isHostName(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char character) {
    const char lower = mtlrules::asciiLower(character);
    return (lower >= 'a' && lower <= 'z') || isDigit(lower) || lower == '-' || lower == '.' ||
           lower == '_';
  });
}

bool isOwnHost(std::string_view field, const std::vector<std::string>& names) {
  const std::string_view host = hostOf(field);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') return true;
  return isIpv4Address(host) || mtlrules::equalsIgnoringCase(host, "localhost") ||
         std::any_of(names.begin(), names.end(), [host](const std::string& name) {
           return isHostName(host) && mtlrules::equalsIgnoringCase(host, hostOf(name));
         });
}

}  // namespace mtlpublish
