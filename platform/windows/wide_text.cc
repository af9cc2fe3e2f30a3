// Converts between UTF-8 and the wide text of Windows, in terms of platform/utf.h.
#include "platform/windows/wide_text.h"

#include "platform/utf.h"

namespace Platform {

std::wstring wideOf(std::string_view text) {
  const std::string whole(text);
  std::wstring wide(utf8ToWide(whole.c_str(), nullptr, 0), L'\0');
  utf8ToWide(whole.c_str(), wide.data(), wide.size());
  return wide;
}

std::string utf8Of(std::wstring_view text) {
  const std::wstring whole(text);
  std::string utf8(wideToUtf8(whole.c_str(), nullptr, 0), '\0');
  wideToUtf8(whole.c_str(), utf8.data(), utf8.size());
  return utf8;
}

}  // namespace Platform
