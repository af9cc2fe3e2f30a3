// Measured first, then written: no length is too long.
#include "mtlsync/format_message.h"

#include <cstddef>
#include <cstdio>

namespace mtlsync {

std::string formatMessage(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text;
  if (length >= 0) {
    // vsnprintf writes the terminator over that of the string.
    text.resize(static_cast<std::size_t>(length));
    std::vsnprintf(text.data(), text.size() + 1, format, again);
  } else {
    text = format;
  }
  va_end(again);
  return text;
}

}  // namespace mtlsync
