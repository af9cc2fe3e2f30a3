// Converts between the library's UTF-8 and the UTF-16 of the system calls without losing a byte.
#ifndef MTLLIB_PLATFORM_UTF_H_
#define MTLLIB_PLATFORM_UTF_H_

#include <cstddef>
#include <memory>

#include "mtllib/allocation.h"
#include "mtllib/char_string.h"
#include "platform/win32.h"

namespace Platform {

/// Converts zero-terminated UTF-8 to at most `capacity` UTF-16 units, terminator
/// included when room remains, and returns the number of units without it; a null
/// `out` only counts. Each byte of an invalid sequence becomes code point
/// 0x100000 + byte, which wideToUtf8 turns back into the byte.
std::size_t utf8ToWide(const char* text, WCHAR* out, std::size_t capacity);

/// The inverse, in bytes. What utf8ToWide made comes back as it was, but for one case: two
/// surrogates encoded apart from each other, the second a low one, come back as the one
/// code point that they make together.
std::size_t wideToUtf8(const WCHAR* text, char* out, std::size_t capacity);

struct FreeWithQfree {
  void operator()(void* block) const { QUtils::qfree(block); }
};
using WideText = std::unique_ptr<WCHAR[], FreeWithQfree>;
using Utf8Text = std::unique_ptr<char[], FreeWithQfree>;

/// Converted copies of exactly the needed size; null for null or when memory runs out.
WideText duplicateAsWide(const char* text);
Utf8Text duplicateAsUtf8(const WCHAR* text);
QUtils::CharString wideToCharString(const WCHAR* text);

}  // namespace Platform

#endif  // MTLLIB_PLATFORM_UTF_H_
