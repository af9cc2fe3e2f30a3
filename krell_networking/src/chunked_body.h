// A ChunkedBody finds the data in a body with chunked transfer coding.
#ifndef KRELL_NETWORKING_CHUNKED_BODY_H_
#define KRELL_NETWORKING_CHUNKED_BODY_H_

#include <cstddef>
#include <cstdint>

#include "mtllib/transfer_progress.h"

namespace Krell {
namespace Networking {

/// Reads everything from the first chunk's size to the end of the last chunk's line, in
/// pieces of any size. It does not read the trailers behind that.
///
/// Not left to llhttp, which takes any two bytes for the end of a chunk or no bare LF
/// anywhere, and counts no leading zeros.
class ChunkedBody {
 public:
  void begin(std::int64_t mostExtensionBytes);

  enum class Result { kMore, kData, kComplete, kBroken };

  /// Takes bytes from `*at` on and moves `*at` behind them. After kData, they end with
  /// `dataSize()` bytes of data; there may be more to take.
  Result take(const char** at, const char* end);

  std::size_t dataSize() const { return dataSize_; }
  /// The rule that was broken.
  HttpRule broken() const { return broken_; }

 private:
  enum class State { kSize, kPadding, kExtension, kSizeLf, kData, kDataEnd, kDataLf };

  bool takeFraming(char c);
  bool takeSizeDigit(char c);
  bool takeAfterSize(char c);
  bool endSizeLine();
  bool countExtension();

  State state_ = State::kSize;
  int digits_ = 0;
  std::int64_t left_ = 0;  ///< Of the size, or of the data of this chunk.
  std::int64_t extensionBytesLeft_ = 0;
  std::size_t dataSize_ = 0;
  bool complete_ = false;
  HttpRule broken_{};
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_CHUNKED_BODY_H_
