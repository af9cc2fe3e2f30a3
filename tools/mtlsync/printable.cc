// Control characters are shown, line breaks are folded.
#include "mtlsync/printable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "mtlhost/utf8.h"

namespace mtlsync {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool isControl(std::uint32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

void appendEscaped(std::string& result, std::uint32_t character) {
  std::array<char, 16> escaped{};
  std::snprintf(escaped.data(), escaped.size(), "\\x%02X", static_cast<unsigned>(character));
  result += escaped.data();
}

}  // namespace

std::string printableLine(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  const std::string valid = mtlhost::validUtf8(text);
  for (std::string_view rest = valid; !rest.empty();) {
    const std::string_view blanks = rest.substr(0, rest.find_first_not_of(kBlanks));
    rest.remove_prefix(blanks.size());
    if (rest.empty()) break;
    const bool broken = blanks.find_first_not_of(' ') != std::string_view::npos;
    if (!result.empty()) result += broken ? " " : blanks;
    const mtlhost::Utf8Character first = mtlhost::firstCharacter(rest);
    if (isControl(first.value)) {
      appendEscaped(result, first.value);
    } else {
      result += rest.substr(0, first.length);
    }
    rest.remove_prefix(first.length);
  }
  return result;
}

}  // namespace mtlsync
