// Escapes texts byte by byte rather than by code point, so that nothing is lost of a text that is
// not UTF-8.
#include "rules/printable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "rules/utf8.h"

namespace mtlrules {

namespace {

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};
constexpr std::array<Range, 7> kHidden{{{0x0000, 0x001F},
                                        {0x007F, 0x009F},
                                        {0x061C, 0x061C},
                                        {0x200E, 0x200F},
                                        {0x2028, 0x2029},
                                        {0x202A, 0x202E},
                                        {0x2066, 0x2069}}};

bool isHidden(const Utf8Character& character) {
  return !character.isValid || std::any_of(kHidden.begin(), kHidden.end(), [&](const Range& range) {
    return range.first <= character.value && character.value <= range.last;
  });
}

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

void appendEscaped(std::string& result, std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    result += {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
  }
}

// `text` is not empty; takes its first character.
void takeCharacter(std::string_view& text, std::string& result) {
  const Utf8Character first = firstCharacter(text);
  const std::string_view bytes = text.substr(0, first.length);
  if (isHidden(first)) {
    appendEscaped(result, bytes);
  } else {
    result += bytes;
  }
  text.remove_prefix(first.length);
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty())
    takeCharacter(text, result);
  return result;
}

// All of them have four digits, and stand within texts, where controls of ASCII are escaped
// already.
std::string printableJson(std::string_view json) {
  std::string result;
  result.reserve(json.size());
  while (!json.empty()) {
    const Utf8Character first = firstCharacter(json);
    if (isHidden(first)) {
      std::array<char, 8> escaped{};
      std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(first.value));
      result += escaped.data();
    } else {
      result += json.substr(0, first.length);
    }
    json.remove_prefix(first.length);
  }
  return result;
}

std::string printableLine(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (true) {
    const auto* const end = std::find_if_not(text.begin(), text.end(), isBlank);
    const std::string_view blanks = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(blanks.size());
    if (text.empty()) return result;
    const bool isBroken = blanks.find_first_not_of(' ') != blanks.npos;
    if (!result.empty()) result += isBroken ? " " : blanks;
    takeCharacter(text, result);
  }
}

}  // namespace mtlrules
