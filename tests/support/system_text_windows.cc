// Returns the text that Windows has for the code, in the language of the system.
#include "platform/win32.h"
#include "support/system_text.h"

std::string systemText(unsigned code, const std::string& text) {
  WCHAR wide[512];
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                      nullptr, code, 0, wide, 512, nullptr);
  if (length == 0) return text;
  char utf8[2048];
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide, static_cast<int>(length), utf8,
                                       sizeof(utf8), nullptr, nullptr);
  return std::string(utf8, static_cast<std::size_t>(size));
}
