/// @file
/// Texts that came from a server are not always UTF-8, nor fit to be shown as they are.
#ifndef MTLLIB_HOST_UTF8_H_
#define MTLLIB_HOST_UTF8_H_

#include <string>
#include <string_view>

namespace mtlhost {

/// `text` with U+FFFD in place of every byte that is not part of valid UTF-8.
std::string validUtf8(std::string_view text);

/// `text` as one line that is fit for a terminal, a log or a dialogue: without blanks at the
/// ends, with line breaks and tabs made blanks, and with every byte written as `\xHH` that is not
/// UTF-8, or belongs to a character that gives a terminal commands or changes the direction
/// of the text around it. The messages of the library hold names that a server chose.
std::string printableLine(std::string_view text);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_UTF8_H_
