// Implements TextBuilder. Formatting first tries the room that is left, and grows the buffer only
// if the text does not fit.
#include "qutils/text_builder.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

std::int32_t boundedFormat(char* buffer, std::int32_t size, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::int32_t count = boundedFormatV(buffer, size, format, arguments);
  va_end(arguments);
  return count;
}

std::int32_t boundedFormatV(char* buffer, std::int32_t size, const char* format,
                            std::va_list arguments) {
  if (size < 1) return 0;
  const int count = std::vsnprintf(buffer, static_cast<std::size_t>(size), format, arguments);
  buffer[size - 1] = '\0';
  return count < 0 || count >= size ? -1 : count;
}

namespace QUtils {

TextBuilder::TextBuilder(std::uint64_t granularity, float growthFactor)
    : granularity_(std::clamp<std::uint64_t>(granularity, 16, 0x40000000)),
      growthFactor_(growthFactor > 1.0F ? std::min(growthFactor, 1024.0F) : 0.0F) {}

TextBuilder::TextBuilder(char* buffer, std::uint64_t capacity, bool keepText)
    : flags_(kBorrowed | (keepText ? kKeepText : 0U)), capacity_(capacity), buffer_(buffer) {
  if (capacity_ == 0) return;
  if (keepText) {
    length_ = std::strlen(buffer_);
  } else {
    buffer_[0] = '\0';
  }
}

void TextBuilder::appendFormatted(const char* format, ...) {
  const std::uint64_t room = capacity_ - length_;
  char* end = room > 0 ? buffer_ + length_ : nullptr;
  std::va_list arguments;
  va_start(arguments, format);
  const int size = std::vsnprintf(end, room, format, arguments);
  va_end(arguments);
  if (size < 0) return;
  const auto added = static_cast<std::uint64_t>(size);
  if (added >= room) {
    if (room > 0) *end = '\0';  // Drops the cut piece.
    if (!grow(length_ + 1 + added)) return;
    va_start(arguments, format);
    std::vsnprintf(buffer_ + length_, capacity_ - length_, format, arguments);
    va_end(arguments);
  }
  length_ += added;
}

void TextBuilder::appendInteger(std::int64_t value, unsigned radix) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  char digits[66];  // 64 binary digits, a sign and the terminator
  char* position = digits + sizeof(digits) - 1;
  *position = '\0';
  auto rest = static_cast<std::uint64_t>(value);
  if (value < 0) rest = ~rest + 1;
  do {
    *--position = kDigits[rest % radix];
    rest /= radix;
  } while (rest != 0);
  if (value < 0) *--position = '-';
  append(position);
}

CharString TextBuilder::releaseText() {
  CharString result(length_ > 0 ? buffer_ : nullptr);
  free();
  return result;
}

void TextBuilder::free() {
  if ((flags_ & kBorrowed) == 0) qfree(buffer_);
  flags_ = 0;
  capacity_ = 0;
  length_ = 0;
  buffer_ = nullptr;
}

std::uint64_t TextBuilder::roundUp(std::uint64_t size) const {
  return (size + granularity_ - 1) / granularity_ * granularity_;
}

bool TextBuilder::grow(std::uint64_t needed) {
  std::uint64_t capacity = roundUp(needed);
  if (growthFactor_ > 1.0F) {
    const double grown = static_cast<double>(capacity_) * static_cast<double>(growthFactor_);
    capacity = std::max(capacity, roundUp(static_cast<std::uint64_t>(grown)));
  }
  char* fresh = static_cast<char*>(qmalloc(capacity));
  if (fresh == nullptr) return false;
  if (length_ > 0) std::memcpy(fresh, buffer_, length_);
  fresh[length_] = '\0';
  if ((flags_ & kBorrowed) == 0) qfree(buffer_);
  flags_ = 0;
  buffer_ = fresh;
  capacity_ = capacity;
  return true;
}

}  // namespace QUtils
