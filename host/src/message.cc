// Formats a message in two passes, first to measure it and then to write it, so that its length
// has no limit.
#include "mtlhost/message.h"

#include <cstddef>
#include <cstdio>

namespace mtlhost {

std::string Message::text() const {
  std::va_list again;
  va_copy(again, arguments_);
  const int length = std::vsnprintf(nullptr, 0, format_, again);
  va_end(again);
  if (length < 0) return format_;
  std::string text(static_cast<std::size_t>(length), '\0');
  va_copy(again, arguments_);
  // vsnprintf writes the terminator over that of the string.
  std::vsnprintf(text.data(), text.size() + 1, format_, again);
  va_end(again);
  return text;
}

}  // namespace mtlhost
