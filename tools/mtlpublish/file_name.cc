// Checks names: a list must be able to hold them, a request to carry them and a client to store
// them.
#include "mtlpublish/file_name.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "rules/ascii.h"
#include "rules/utf8.h"

namespace mtlpublish {

namespace {

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

// Not where names are bytes already.
[[maybe_unused]] void appendCodePoint(std::string& text, unsigned point) {
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

std::string fileName(const std::filesystem::path& path) {
  return bytesOf(path.filename().native());
}

std::string nameProblem(std::string_view name) {
  if (!mtlrules::isValidUtf8(name)) return "the name is not valid UTF-8";
  if (name.find('\\') != name.npos) {
    return "the name has a backslash, which clients take for a folder separator";
  }
  if (std::any_of(name.begin(), name.end(), isControl)) return "the name has a control character";
  return {};
}

std::string foldedPath(const std::string& path) {
  std::string folded = path;
  const bool isPlain = std::all_of(path.begin(), path.end(),
                                   [](char c) { return static_cast<signed char>(c) >= 0; });
  if (isPlain) {
    for (char& character : folded)
      character = mtlrules::asciiLower(character);
    return folded;
  }
  utf8proc_uint8_t* text = nullptr;
  constexpr auto kWay =
      static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_CASEFOLD);
  const utf8proc_ssize_t size =
      utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(path.data()),
                   static_cast<utf8proc_ssize_t>(path.size()), &text, kWay);
  if (size >= 0) {
    folded.assign(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
  }
  std::free(text);
  return folded;
}

}  // namespace mtlpublish
