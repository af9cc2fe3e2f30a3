/// @file
/// Texts that came from a server are not always UTF-8.
#ifndef MTLLIB_HOST_UTF8_H_
#define MTLLIB_HOST_UTF8_H_

#include <string>
#include <string_view>

namespace mtlhost {

/// `text` with U+FFFD in place of every byte that is not part of valid UTF-8.
std::string validUtf8(std::string_view text);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_UTF8_H_
