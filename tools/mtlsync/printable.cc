// Control characters are shown, invalid UTF-8 is replaced, line breaks are folded.
#include "mtlsync/printable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace mtlsync {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kBlanks = " \t\r\n";

struct Utf8Kind {
  std::uint8_t mask;
  std::uint8_t lead;
  std::size_t length;
  std::uint32_t lowest;
};
constexpr std::array<Utf8Kind, 4> kUtf8Kinds{
    {{0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}}};

/// A character and the bytes it takes; 0 bytes when `text` does not begin with one.
struct Decoded {
  std::uint32_t character;
  std::size_t length;
};

bool isScalarValue(std::uint32_t character) {
  return character <= 0x10FFFF && (character < 0xD800 || character > 0xDFFF);
}

Decoded decodeFirst(std::string_view text) {
  const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  for (const Utf8Kind& kind : kUtf8Kinds) {
    if ((byteAt(0) & kind.mask) != kind.lead) continue;
    if (text.size() < kind.length) break;
    std::uint32_t character = byteAt(0) & static_cast<std::uint8_t>(~kind.mask);
    for (std::size_t i = 1; i < kind.length; ++i) {
      if ((byteAt(i) & 0xC0) != 0x80) return {0, 0};
      character = character << 6 | (byteAt(i) & 0x3FU);
    }
    if (character < kind.lowest || !isScalarValue(character)) break;
    return {character, kind.length};
  }
  return {0, 0};
}

bool isControl(std::uint32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

void appendEscaped(std::string& result, std::uint32_t character) {
  std::array<char, 16> escaped{};
  std::snprintf(escaped.data(), escaped.size(), "\\x%02X", static_cast<unsigned>(character));
  result += escaped.data();
}

}  // namespace

std::string validUtf8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = decodeFirst(text).length;
    result += length > 0 ? text.substr(0, length) : kReplacement;
    text.remove_prefix(length > 0 ? length : 1);
  }
  return result;
}

std::string printableLine(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  const std::string valid = validUtf8(text);
  for (std::string_view rest = valid; !rest.empty();) {
    const std::string_view blanks = rest.substr(0, rest.find_first_not_of(kBlanks));
    rest.remove_prefix(blanks.size());
    if (rest.empty()) break;
    const bool broken = blanks.find_first_not_of(' ') != std::string_view::npos;
    if (!result.empty()) result += broken ? " " : blanks;
    const Decoded first = decodeFirst(rest);
    if (isControl(first.character)) {
      appendEscaped(result, first.character);
    } else {
      result += rest.substr(0, first.length);
    }
    rest.remove_prefix(first.length);
  }
  return result;
}

}  // namespace mtlsync
