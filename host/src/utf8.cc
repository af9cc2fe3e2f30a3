// Neither overlong forms nor surrogates are characters.
#include "mtlhost/utf8.h"

#include <array>

namespace mtlhost {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct Kind {
  std::uint8_t mask;
  std::uint8_t lead;
  std::size_t length;
  std::uint32_t lowest;
};
constexpr std::array<Kind, 4> kKinds{
    {{0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}}};

bool isScalarValue(std::uint32_t character) {
  return character <= 0x10FFFF && (character < 0xD800 || character > 0xDFFF);
}

}  // namespace

Utf8Character firstCharacter(std::string_view text) {
  const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  for (const Kind& kind : kKinds) {
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

std::string validUtf8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = firstCharacter(text).length;
    result += length > 0 ? text.substr(0, length) : kReplacement;
    text.remove_prefix(length > 0 ? length : 1);
  }
  return result;
}

}  // namespace mtlhost
