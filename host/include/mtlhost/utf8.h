/// @file
/// Functions that make texts from a server valid UTF-8 and safe to show.
///
/// @since 1.0
#ifndef MTLLIB_HOST_UTF8_H_
#define MTLLIB_HOST_UTF8_H_

#include <string>
#include <string_view>

namespace mtlhost {

/// `text` with U+FFFD in place of every byte that is not part of valid UTF-8.
std::string validUtf8(std::string_view text);

/// `text` as one line that is safe to show on a terminal, in a log or in a dialogue: without blanks
/// at the ends, with line breaks and tabs replaced by blanks, and with every byte written as `\xHH`
/// that is not UTF-8, or belongs to a character that controls a terminal or changes the direction
/// of the text around it. Messages of the library contain names that a server chose.
std::string printableLine(std::string_view text);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_UTF8_H_
