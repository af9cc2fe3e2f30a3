// PStream is the abstract byte stream, with the length-prefixed string formats that all streams
// share.
#ifndef MTLLIB_QUTILS_STREAM_H_
#define MTLLIB_QUTILS_STREAM_H_

#include <cstdint>

#include "mtllib/char_string.h"
#include "mtllib/error_chain.h"

namespace QUtils {

/// A byte stream. Fallible operations return an ErrorChain, empty on success.
///
/// The order of the virtual operations is fixed: streams are handed across the border
/// to the networking library. The texts with a length in front are part of that contract;
/// nothing here writes any. A stream is used by one thread at a time.
class PStream {
 public:
  PStream() = default;
  virtual ~PStream();
  PStream(const PStream&) = delete;
  PStream& operator=(const PStream&) = delete;

  virtual ErrorChain Open() = 0;
  virtual ErrorChain Close() = 0;
  virtual ErrorChain Flush() = 0;
  /// Writes up to `size` bytes; `written` receives their number.
  virtual ErrorChain Write(const void* bytes, std::uint32_t size, std::uint32_t& written) = 0;
  /// Writes the text's bytes without its terminator.
  virtual ErrorChain WriteString(const char* text) = 0;
  /// Writes a 16-bit little-endian length and the text; `written` counts both.
  virtual ErrorChain WritePascalStr(const char* text, std::uint16_t length, std::uint32_t& written);
  /// Reads up to `size` bytes; `read` receives their number, 0 at the end.
  virtual ErrorChain Read(void* bytes, std::int32_t size, std::uint32_t& read) = 0;
  /// Reads exactly `size` bytes.
  virtual ErrorChain ReadBuffer(void* bytes, std::uint32_t size);
  /// Reads a Pascal string into a buffer that must hold 65,535 bytes; not terminated.
  /// `read` is 4 for every non-empty string: readers of this format rely on it.
  virtual ErrorChain ReadPascalStr(char* buffer, std::uint16_t& length, std::uint32_t& read);
  /// Reads a Pascal string into a buffer of `length` bytes and terminates it; `length`
  /// becomes the string's, and is left alone for an empty one.
  virtual ErrorChain ReadPascalStr1(char* buffer, std::uint16_t& length, std::uint32_t& read);
  /// Writes a 32-bit little-endian length and the text.
  virtual ErrorChain WriteCharString(const CharString& text);
  virtual ErrorChain ReadCharString(CharString& text);
  virtual ErrorChain Seek(std::int64_t position) = 0;
  virtual ErrorChain SeekOff(std::int64_t offset) = 0;
  virtual ErrorChain SeekEnd(std::int64_t offset) = 0;
  virtual std::int64_t GetSize() = 0;
  /// Cuts the stream at the current position, where the stream can.
  virtual ErrorChain Truncate();
  virtual std::int64_t Tell() = 0;
  virtual bool IsEof() = 0;
  virtual int IsOpened() = 0;

  /// Writes exactly `size` bytes.
  ErrorChain WriteBuffer(const void* bytes, std::uint32_t size);

 protected:
  // The forms fixed to the prefixes of the string formats.
  ErrorChain Read2(std::uint16_t& value, std::uint32_t& read);
  ErrorChain Write2(std::uint16_t value, std::uint32_t& written);
  ErrorChain ReadBuffer4(std::int32_t& value);
  ErrorChain WriteBuffer4(std::int32_t value);
};

}  // namespace QUtils

#endif  // MTLLIB_QUTILS_STREAM_H_
