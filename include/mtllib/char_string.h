/// @file
/// CharString: the 8-bit, zero-terminated, reference-counted text type that the
/// host, the library and its networking library share.
///
/// @since 1.0
#ifndef MTLLIB_CHAR_STRING_H_
#define MTLLIB_CHAR_STRING_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "mtllib/allocation.h"

namespace QUtils {

/// The shared record behind a CharString. Its fields keep this order and these
/// widths: records made by one module are read, resized and freed by another.
///
/// Neither a length nor a capacity is stored: the length is found by scanning for
/// the terminating zero, and `data` is always exactly one byte longer.
struct CharStringBuffer {
  /// Resizes `data`; belongs to the module that made the record.
  void* (*reallocFn)(void* block, std::size_t size);
  /// Frees `data` and then the record itself.
  void (*freeFn)(void* block);
  /// The zero-terminated text; null when there is none.
  char* data;
  /// Number of CharStrings that share this record.
  std::atomic<std::uint32_t> refCount;
};

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t),
              "the reference count is a plain 32-bit word");
static_assert(offsetof(CharStringBuffer, reallocFn) == 0 * sizeof(void*), "record layout");
static_assert(offsetof(CharStringBuffer, freeFn) == 1 * sizeof(void*), "record layout");
static_assert(offsetof(CharStringBuffer, data) == 2 * sizeof(void*), "record layout");
static_assert(offsetof(CharStringBuffer, refCount) == 3 * sizeof(void*), "record layout");

/// Copies at most `size` - 1 bytes of `source` up to its terminating zero into
/// `destination`, always terminates, and returns the number of bytes copied plus
/// one. Copies nothing and returns 0 when `size` is below 1.
inline std::int64_t boundedCopy(char* destination, const char* source, std::int64_t size) {
  if (size < 1) return 0;
  std::int64_t length = 0;
  while (length < size - 1 && source[length] != '\0')
    ++length;
  std::memcpy(destination, source, static_cast<std::size_t>(length));
  destination[length] = '\0';
  return length + 1;
}

/// An 8-bit, zero-terminated text, UTF-8 by convention, held as one pointer to a
/// shared record. A null pointer is the empty text.
///
/// Copying shares the record; a CharString that is changed first takes a private copy, so a change
/// is never visible through another CharString.
///
/// Threads: texts that share a record may be copied, read and released on different
/// threads. One CharString object must not be changed by two threads at once.
///
/// Errors: nothing throws. When memory runs out the text becomes empty.
class CharString {
 public:
  /// The empty text; holds no record.
  CharString() noexcept = default;

  /// A copy of `text`; null gives the empty text.
  CharString(const char* text) { assign(text); }  // NOLINT: texts convert

  /// Shares the other text's record.
  CharString(const CharString& other) noexcept : buffer_(other.buffer_) { addReference(buffer_); }

  /// Takes the other text's record and leaves it empty.
  CharString(CharString&& other) noexcept : buffer_(std::exchange(other.buffer_, nullptr)) {}

  ~CharString() { release(); }

  /// Shares the other text's record.
  CharString& operator=(const CharString& other) noexcept {
    if (buffer_ != other.buffer_) *this = CharString(other);
    return *this;
  }

  /// Takes the other text's record and leaves it empty, unless both hold the same.
  CharString& operator=(CharString&& other) noexcept {
    if (buffer_ == other.buffer_) return *this;
    release();
    buffer_ = std::exchange(other.buffer_, nullptr);
    return *this;
  }

  /// As assign().
  CharString& operator=(const char* text) {
    assign(text);
    return *this;
  }

  /// A text whose record has room for `size` bytes including the terminator. The
  /// bytes are not initialised: fill them through data() and terminate them. With a
  /// size below 1, or when memory runs out, the record holds no data.
  static CharString withSize(std::int64_t size) {
    CharString result;
    result.buffer_ = makeBuffer(size);
    return result;
  }

  /// Replaces the text by a copy of `text`; null releases the record.
  void assign(const char* text) {
    if (text == nullptr) {
      release();
      return;
    }
    if (buffer_ != nullptr && text == buffer_->data) return;
    const auto size = static_cast<std::int64_t>(std::strlen(text)) + 1;
    replaceBy(text, size);
  }

  /// Replaces the text by at most `length` bytes of `text`, stopping early at a zero
  /// byte. A null text or a length below 1 releases the record.
  void assign(const char* text, std::int64_t length) {
    if (text == nullptr || length < 1) {
      release();
      return;
    }
    replaceBy(text, length + 1);
  }

  /// Appends a copy of `text`; null appends nothing.
  void append(const char* text) {
    if (text == nullptr || *text == '\0') return;
    if (buffer_ == nullptr) {
      assign(text);
      return;
    }
    // Keeps `text` alive and unmoved in case it is part of this very text.
    const CharString keep = pointsInto(text) ? *this : CharString();
    const auto oldLength = static_cast<std::int64_t>(length());
    const auto size = oldLength + static_cast<std::int64_t>(std::strlen(text)) + 1;
    reserveKeeping(size);
    if (buffer_ == nullptr || buffer_->data == nullptr) return;
    boundedCopy(buffer_->data + oldLength, text, size - oldLength);
  }

  /// Drops this text's reference; the last one frees the record through the
  /// functions stored in it. The text becomes empty.
  void release() noexcept {
    CharStringBuffer* buffer = std::exchange(buffer_, nullptr);
    if (buffer == nullptr || buffer->refCount.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    const auto freeFn = buffer->freeFn;
    freeFn(buffer->data);
    buffer->data = nullptr;
    buffer->refCount.store(0, std::memory_order_relaxed);
    freeFn(buffer);
  }

  /// Makes this text the only holder of its record, so that data() may be changed.
  void unshare() {
    if (buffer_ != nullptr) reserveKeeping(static_cast<std::int64_t>(length()) + 1);
  }

  /// The text, zero-terminated; "" when empty, never null. Valid until the text is
  /// changed or released.
  const char* text() const noexcept {
    return buffer_ != nullptr && buffer_->data != nullptr ? buffer_->data : "";
  }

  /// The bytes of the record, for filling a text made by withSize() or unshare()d;
  /// null when there are none.
  char* data() noexcept { return buffer_ != nullptr ? buffer_->data : nullptr; }

  /// The shared record; null for the empty text.
  const CharStringBuffer* buffer() const noexcept { return buffer_; }

  /// In bytes, found by scanning.
  std::size_t length() const noexcept { return std::strlen(text()); }

  /// True without a text, and for "".
  bool empty() const noexcept { return *text() == '\0'; }

  /// `left` followed by `right`; `left` is never changed, and is shared when `right`
  /// is empty.
  friend CharString operator+(const CharString& left, const char* right) {
    CharString result(left);
    result.append(right);
    return result;
  }
  friend CharString operator+(const CharString& left, const CharString& right) {
    return left + right.text();
  }

  friend bool operator==(const CharString& left, const char* right) noexcept {
    return std::strcmp(left.text(), right) == 0;
  }

 private:
  static void addReference(CharStringBuffer* buffer) noexcept {
    if (buffer != nullptr) buffer->refCount.fetch_add(1, std::memory_order_relaxed);
  }

  static CharStringBuffer* makeBuffer(std::int64_t size) {
    void* block = qmalloc(sizeof(CharStringBuffer));
    if (block == nullptr) return nullptr;
    auto* buffer = new (block) CharStringBuffer{qrealloc, qfree, nullptr, {1}};
    if (size > 0) {
      buffer->data = static_cast<char*>(buffer->reallocFn(nullptr, static_cast<std::size_t>(size)));
    }
    if (buffer->data == nullptr) {
      buffer->freeFn(buffer->data);
    } else {
      buffer->data[0] = '\0';
    }
    return buffer;
  }

  bool isShared() const noexcept { return buffer_->refCount.load(std::memory_order_acquire) >= 2; }

  bool pointsInto(const char* candidate) const noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(candidate);
    const auto begin = reinterpret_cast<std::uintptr_t>(text());
    return address >= begin && address - begin <= length();
  }

  // Copies up to `size` - 1 bytes of `text` into a record of `size` bytes.
  void replaceBy(const char* text, std::int64_t size) {
    const CharString keep = pointsInto(text) ? *this : CharString();
    if (buffer_ == nullptr) {
      buffer_ = makeBuffer(size);
    } else if (isShared()) {
      CharStringBuffer* fresh = makeBuffer(size);
      release();
      buffer_ = fresh;
    } else {
      resizeInPlace(size);
    }
    if (data() != nullptr) boundedCopy(buffer_->data, text, size);
  }

  // Makes the record private and `size` bytes long, keeping what fits of the text.
  void reserveKeeping(std::int64_t size) {
    if (!isShared()) {
      resizeInPlace(size);
      return;
    }
    CharStringBuffer* fresh = makeBuffer(size);
    if (fresh != nullptr && fresh->data != nullptr) boundedCopy(fresh->data, text(), size);
    release();
    buffer_ = fresh;
  }

  // A record without data gets an empty text.
  void resizeInPlace(std::int64_t size) {
    const bool hadText = buffer_->data != nullptr;
    void* resized = buffer_->reallocFn(buffer_->data, static_cast<std::size_t>(size));
    if (resized == nullptr) buffer_->freeFn(buffer_->data);
    buffer_->data = static_cast<char*>(resized);
    if (resized != nullptr && !hadText) buffer_->data[0] = '\0';
  }

  CharStringBuffer* buffer_ = nullptr;
};

static_assert(sizeof(CharString) == sizeof(void*), "a CharString is one pointer");

}  // namespace QUtils

#endif  // MTLLIB_CHAR_STRING_H_
