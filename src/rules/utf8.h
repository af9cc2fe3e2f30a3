// Says which bytes of a text are characters in UTF-8 and which are not.
#ifndef MTLLIB_RULES_UTF8_H_
#define MTLLIB_RULES_UTF8_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace mtlrules {

/// A character and the bytes it takes, or a byte that belongs to none.
struct Utf8Character {
  std::uint32_t value;  ///< Its code point; U+FFFD for a byte that belongs to none.
  std::size_t length;   ///< 1 for such a byte.
  bool isValid;         ///< False for such a byte.
};

/// What `text`, which is not empty, begins with. Neither overlong forms nor surrogates are
/// characters.
Utf8Character firstCharacter(std::string_view text);

bool isValidUtf8(std::string_view text);

/// The code points of `text`, with U+FFFD for every byte that belongs to none.
std::u32string codePoints(std::string_view text);

/// `text` with the three bytes of U+FFFD in place of every byte that belongs to no character.
std::string validUtf8(std::string_view text);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_UTF8_H_
