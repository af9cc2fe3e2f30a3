// A TextBuilder builds long texts piece by piece and releases them into a CharString. The file
// also has functions that format into a buffer of fixed size.
#ifndef MTLLIB_QUTILS_TEXT_BUILDER_H_
#define MTLLIB_QUTILS_TEXT_BUILDER_H_

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "mtllib/char_string.h"

#if defined(__MINGW32__) && !defined(__clang__)
// Without the prefix this compiler would check by the rules of an old C runtime.
#define MTLLIB_PRINTF(text, first) __attribute__((format(gnu_printf, text, first)))
#elif defined(__GNUC__)
#define MTLLIB_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define MTLLIB_PRINTF(text, first)
#endif

/// vsnprintf into `size` bytes: the number of characters written, -1 when the output
/// did not fit, 0 with nothing written for a size below 1. The last byte of the area
/// is always left zero.
std::int32_t boundedFormat(char* buffer, std::int32_t size, const char* format, ...)
    MTLLIB_PRINTF(3, 4);
std::int32_t boundedFormatV(char* buffer, std::int32_t size, const char* format,
                            std::va_list arguments) MTLLIB_PRINTF(3, 0);

namespace QUtils {

/// A growable, zero-terminated character buffer. It may start in a buffer of the
/// caller's, which is then never freed. When memory runs out, what does not fit is
/// dropped.
class TextBuilder {
 public:
  static constexpr std::uint64_t kDefaultGranularity = 1024;

  TextBuilder() = default;

  /// `granularity`: capacities are multiples of it; clamped to 16 ... 0x40000000.
  /// `growthFactor`: by how much a full buffer grows at least; 1 or less means not
  /// beyond what is needed, at most 1,024.
  TextBuilder(std::uint64_t granularity, float growthFactor);

  /// Starts in `buffer` of `capacity` bytes, which must outlive the builder or its
  /// first growth. With `keepText` the zero-terminated text in it is kept.
  TextBuilder(char* buffer, std::uint64_t capacity, bool keepText);

  ~TextBuilder() { free(); }
  TextBuilder(const TextBuilder&) = delete;
  TextBuilder& operator=(const TextBuilder&) = delete;

  void append(const char* text) { appendFormatted("%s", text); }
  void appendFormatted(const char* format, ...) MTLLIB_PRINTF(2, 3);

  /// Appends `value` in a radix of 2 to 16, with a leading '-' when negative.
  void appendInteger(std::int64_t value, unsigned radix);

  /// Moves the text into a CharString and empties the builder; an empty builder gives
  /// the empty text.
  CharString releaseText();

  /// Empties the builder and frees its buffer, unless borrowed.
  void free();

  const char* text() const { return buffer_ != nullptr ? buffer_ : ""; }
  std::uint64_t length() const { return length_; }
  std::uint64_t capacity() const { return capacity_; }

 private:
  enum Flags : std::uint32_t { kBorrowed = 1, kKeepText = 2 };

  bool grow(std::uint64_t needed);
  std::uint64_t roundUp(std::uint64_t size) const;

  std::uint64_t granularity_ = kDefaultGranularity;
  float growthFactor_ = 0;
  std::uint32_t flags_ = 0;
  std::uint64_t capacity_ = 0;
  std::uint64_t length_ = 0;
  char* buffer_ = nullptr;
};

}  // namespace QUtils

#endif  // MTLLIB_QUTILS_TEXT_BUILDER_H_
