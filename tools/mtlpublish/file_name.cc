// What a list can hold, a request can carry and a client can store.
#include "mtlpublish/file_name.h"

#include <algorithm>
#include <array>

namespace mtlpublish {

namespace {

unsigned byteAt(std::string_view text, std::size_t position) {
  return static_cast<unsigned char>(text[position]);
}

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

/// The controls that terminals know beyond ASCII's: U+0080 to U+009F.
bool isLongControl(std::string_view sequence) {
  return sequence.size() == 2 && byteAt(sequence, 0) == 0xC2 && byteAt(sequence, 1) < 0xA0;
}

/// The length of the valid sequence at `position`; 0 when there is none.
std::size_t validSequenceLength(std::string_view text, std::size_t position) {
  const unsigned lead = byteAt(text, position);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const std::size_t length = codePointLength(text, position);
  if (text.size() - position < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byteAt(text, position + i) & 0xC0U) != 0x80) return 0;
  }
  // Longer than needed, surrogates, beyond the last code point.
  const unsigned second = byteAt(text, position + 1);
  if (lead == 0xE0 && second < 0xA0) return 0;
  if (lead == 0xED && second > 0x9F) return 0;
  if (lead == 0xF0 && second < 0x90) return 0;
  if (lead == 0xF4 && second > 0x8F) return 0;
  return length;
}

void appendCodePoint(std::string& text, unsigned point) {
  const auto append = [&text](unsigned byte) { text += static_cast<char>(byte); };
  const auto appendContinuation = [&](unsigned shift) {
    append(0x80U | ((point >> shift) & 0x3FU));
  };
  if (point < 0x80) return append(point);
  if (point < 0x800) {
    append(0xC0U | (point >> 6U));
  } else {
    if (point < 0x10000) {
      append(0xE0U | (point >> 12U));
    } else {
      append(0xF0U | (point >> 18U));
      appendContinuation(12);
    }
    appendContinuation(6);
  }
  appendContinuation(0);
}

/// A system's name as bytes. Of 16-bit units, half a surrogate pair becomes the bytes
/// that it would have as a code point, which are not UTF-8.
template <class Unit>
std::string bytesOf(const std::basic_string<Unit>& name) {
  if constexpr (sizeof(Unit) == 1) {
    return name;
  } else {
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i) {
      unsigned point = static_cast<unsigned>(name[i]);
      const unsigned next = i + 1 < name.size() ? static_cast<unsigned>(name[i + 1]) : 0;
      if ((point & 0xFC00U) == 0xD800 && (next & 0xFC00U) == 0xDC00) {
        point = 0x10000 + ((point & 0x3FFU) << 10U) + (next & 0x3FFU);
        ++i;
      }
      appendCodePoint(text, point);
    }
    return text;
  }
}

}  // namespace

std::size_t codePointLength(std::string_view text, std::size_t position) {
  const unsigned lead = byteAt(text, position);
  if (lead < 0xC0) return 1;
  if (lead < 0xE0) return 2;
  return lead < 0xF0 ? 3 : 4;
}

std::u32string codePoints(std::string_view text) {
  static constexpr std::array<unsigned, 5> kLeadBits{0, 0x7F, 0x1F, 0x0F, 0x07};
  std::u32string result;
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t length = codePointLength(text, position);
    char32_t value = static_cast<unsigned char>(text[position]) & kLeadBits[length];
    for (std::size_t i = 1; i < length; ++i) {
      value = (value << 6U) | (static_cast<unsigned char>(text[position + i]) & 0x3FU);
    }
    result += value;
    position += length;
  }
  return result;
}

bool isValidUtf8(std::string_view text) {
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t length = validSequenceLength(text, position);
    if (length == 0) return false;
    position += length;
  }
  return true;
}

std::string fileName(const std::filesystem::path& path) {
  return bytesOf(path.filename().native());
}

std::string nameProblem(std::string_view name) {
  if (!isValidUtf8(name)) return "the name is not valid UTF-8";
  if (name.find('\\') != name.npos) {
    return "the name has a backslash, which clients take for a folder separator";
  }
  if (std::any_of(name.begin(), name.end(), isControl)) return "the name has a control character";
  return {};
}

std::string printableName(std::string_view name) {
  static constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  std::size_t position = 0;
  while (position < name.size()) {
    const std::size_t length = validSequenceLength(name, position);
    if (length == 0 || isControl(name[position]) || isLongControl(name.substr(position, length))) {
      text += "\\x";
      text += kDigits[byteAt(name, position) >> 4U];
      text += kDigits[byteAt(name, position) & 15U];
      ++position;
    } else {
      text += name.substr(position, length);
      position += length;
    }
  }
  return text;
}

}  // namespace mtlpublish
