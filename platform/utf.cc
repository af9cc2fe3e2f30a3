// Converts between UTF-8 and UTF-16. A byte that is not valid UTF-8 is represented in UTF-16 as
// the code point 0x100000 + byte, so that a name that came from the system is returned unchanged.
#include "platform/utf.h"

#include <algorithm>
#include <cstdint>

namespace Platform {
namespace {

constexpr std::uint32_t kEscapeFirst = 0x100000;
constexpr std::uint32_t kEscapeLast = 0x1000FF;
constexpr std::uint32_t kCodePointEnd = 0x110000;

// The largest value that 1, 2, ... bytes can hold.
constexpr std::uint64_t kLargest[] = {0x7F,      0x7FF,      0xFFFF,    0x1FFFFF,
                                      0x3FFFFFF, 0x7FFFFFFF, 0xFFFFFFFF};

// Collects units while there is room for them; without a buffer it only counts.
template <typename Unit>
class Output {
 public:
  Output(Unit* out, std::size_t capacity) : out_(out), capacity_(capacity) {}

  // Takes all the units or none.
  bool put(const Unit* units, std::size_t count) {
    if (out_ != nullptr) {
      if (count > capacity_ - length_) return false;
      std::copy(units, units + count, out_ + length_);
    }
    length_ += count;
    return true;
  }

  std::size_t finish() {
    if (out_ != nullptr && length_ < capacity_) out_[length_] = 0;
    return length_;
  }

 private:
  Unit* out_;
  std::size_t capacity_;
  std::size_t length_ = 0;
};

// What stands at one place of a text: a code point, or bytes that are none.
struct Sequence {
  std::uint64_t value;
  std::size_t length;
  bool valid;
};

Sequence decodeUtf8(const unsigned char* text) {
  const unsigned lead = *text;
  std::size_t size = 0;  // leading one-bits, which is the length of the whole sequence
  while (size < 8 && (lead & (0x80U >> size)) != 0)
    ++size;
  if (size == 0) return {lead, 1, true};
  std::uint64_t value = lead & (0x7FU >> size);
  std::size_t length = 1;
  for (; length < size; ++length) {
    if ((text[length] & 0xC0U) != 0x80) return {0, length, false};
    value = value << 6 | (text[length] & 0x3FU);
  }
  const bool valid = size > 1 && value > kLargest[size - 2] && value < kCodePointEnd &&
                     (value < kEscapeFirst || value > kEscapeLast);
  return {value, length, valid};
}

bool putAsWide(std::uint32_t value, Output<WCHAR>& output) {
  if (value < 0x10000) {
    const auto unit = static_cast<WCHAR>(value);
    return output.put(&unit, 1);
  }
  const WCHAR pair[] = {static_cast<WCHAR>((value >> 10) + 0xD7C0),
                        static_cast<WCHAR>((value & 0x3FF) + 0xDC00)};
  return output.put(pair, 2);
}

bool putEscaped(const unsigned char* bytes, std::size_t count, Output<WCHAR>& output) {
  return std::all_of(bytes, bytes + count,
                     [&](unsigned char byte) { return putAsWide(kEscapeFirst + byte, output); });
}

bool putAsUtf8(std::uint32_t value, Output<char>& output) {
  char bytes[8];
  if (value <= kLargest[0] || (value >= kEscapeFirst && value <= kEscapeLast)) {
    bytes[0] = static_cast<char>(value & 0xFF);
    return output.put(bytes, 1);
  }
  std::size_t size = 2;
  while (value > kLargest[size - 1])
    ++size;
  for (std::size_t i = size - 1; i > 0; --i) {
    bytes[i] = static_cast<char>(0x80U | (value & 0x3FU));
    value >>= 6;
  }
  bytes[0] = static_cast<char>((0xFF00U >> size & 0xFFU) | value);
  return output.put(bytes, size);
}

bool isBetween(WCHAR unit, unsigned first, unsigned last) {
  return unit >= first && unit <= last;
}

}  // namespace

std::size_t utf8ToWide(const char* text, WCHAR* out, std::size_t capacity) {
  Output<WCHAR> output(out, capacity);
  const auto* position = reinterpret_cast<const unsigned char*>(text);
  while (*position != 0) {
    const Sequence sequence = decodeUtf8(position);
    const bool fits = sequence.valid ? putAsWide(static_cast<std::uint32_t>(sequence.value), output)
                                     : putEscaped(position, sequence.length, output);
    if (!fits) break;
    position += sequence.length;
  }
  return output.finish();
}

std::size_t wideToUtf8(const WCHAR* text, char* out, std::size_t capacity) {
  Output<char> output(out, capacity);
  while (*text != 0) {
    std::uint32_t value = *text++;
    if (value >= 0xD800 && value <= 0xDFFF && isBetween(*text, 0xDC00, 0xDFFF)) {
      value = (value << 10) + *text++ - 0x35FDC00;
    }
    if (!putAsUtf8(value, output)) break;
  }
  return output.finish();
}

WideText duplicateAsWide(const char* text) {
  if (text == nullptr) return nullptr;
  const std::size_t size = utf8ToWide(text, nullptr, 0) + 1;
  WideText copy(static_cast<WCHAR*>(QUtils::qmalloc(size * sizeof(WCHAR))));
  if (copy != nullptr) utf8ToWide(text, copy.get(), size);
  return copy;
}

Utf8Text duplicateAsUtf8(const WCHAR* text) {
  if (text == nullptr) return nullptr;
  const std::size_t size = wideToUtf8(text, nullptr, 0) + 1;
  Utf8Text copy(static_cast<char*>(QUtils::qmalloc(size)));
  if (copy != nullptr) wideToUtf8(text, copy.get(), size);
  return copy;
}

QUtils::CharString wideToCharString(const WCHAR* text) {
  if (text == nullptr) return {};
  const std::size_t size = wideToUtf8(text, nullptr, 0) + 1;
  QUtils::CharString copy = QUtils::CharString::withSize(static_cast<std::int64_t>(size));
  if (copy.data() != nullptr) wideToUtf8(text, copy.data(), size);
  return copy;
}

}  // namespace Platform
