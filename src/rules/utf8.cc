// Decodes UTF-8. A sequence is decoded first and then judged by its value.
#include "rules/utf8.h"

#include <array>

namespace mtlrules {

namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::string_view kReplacementBytes = "\xEF\xBF\xBD";

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

// Calls `take` with each character and its bytes.
template <typename Take>
void forEachCharacter(std::string_view text, Take take) {
  while (!text.empty()) {
    const Utf8Character first = firstCharacter(text);
    take(first, text.substr(0, first.length));
    text.remove_prefix(first.length);
  }
}

}  // namespace

Utf8Character firstCharacter(std::string_view text) {
  constexpr Utf8Character kNone{kReplacement, 1, false};
  const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  for (const Kind& kind : kKinds) {
    if ((byteAt(0) & kind.mask) != kind.lead) continue;
    if (text.size() < kind.length) return kNone;
    std::uint32_t character = byteAt(0) & static_cast<std::uint8_t>(~kind.mask);
    for (std::size_t i = 1; i < kind.length; ++i) {
      if ((byteAt(i) & 0xC0) != 0x80) return kNone;
      character = character << 6 | (byteAt(i) & 0x3FU);
    }
    if (character < kind.lowest || !isScalarValue(character)) return kNone;
    return {character, kind.length, true};
  }
  return kNone;
}

bool isValidUtf8(std::string_view text) {
  bool isValid = true;
  forEachCharacter(text, [&](const Utf8Character& character, std::string_view /*bytes*/) {
    isValid = isValid && character.isValid;
  });
  return isValid;
}

std::u32string codePoints(std::string_view text) {
  std::u32string points;
  forEachCharacter(text, [&](const Utf8Character& character, std::string_view /*bytes*/) {
    points += static_cast<char32_t>(character.value);
  });
  return points;
}

std::string validUtf8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  forEachCharacter(text, [&](const Utf8Character& character, std::string_view bytes) {
    result += character.isValid ? bytes : kReplacementBytes;
  });
  return result;
}

}  // namespace mtlrules
