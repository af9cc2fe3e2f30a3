// Converts texts to and from the wide text that Windows takes and returns.
#ifndef MTLLIB_PLATFORM_WINDOWS_WIDE_TEXT_H_
#define MTLLIB_PLATFORM_WINDOWS_WIDE_TEXT_H_

#include <string>
#include <string_view>

namespace Platform {

/// From and to UTF-8, up to a zero. What is not valid comes back as it was: see platform/utf.h.
std::wstring wideOf(std::string_view text);
std::string utf8Of(std::wstring_view text);

}  // namespace Platform

#endif  // MTLLIB_PLATFORM_WINDOWS_WIDE_TEXT_H_
