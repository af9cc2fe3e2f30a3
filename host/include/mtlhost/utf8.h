/// @file
/// Texts that came from a server are not always UTF-8.
#ifndef MTLLIB_HOST_UTF8_H_
#define MTLLIB_HOST_UTF8_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace mtlhost {

/// A character and the bytes it takes.
struct Utf8Character {
  std::uint32_t value;  ///< Its code point.
  std::size_t length;   ///< 0 when there is none.
};

/// The character that `text`, which is not empty, begins with.
Utf8Character firstCharacter(std::string_view text);

/// `text` with U+FFFD in place of every byte that is not part of valid UTF-8.
std::string validUtf8(std::string_view text);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_UTF8_H_
