// A Krell::Buffer holds received bytes until they are moved to a stream.
#ifndef MTLLIB_NET_BUFFER_H_
#define MTLLIB_NET_BUFFER_H_

#include "net/err.h"
#include "qutils/stream.h"

namespace Krell {

/// The storage behind a Buffer; the networking library's own.
struct Evbuffer;

/// Gives a buffer's storage back to the networking library; null is ignored.
KRELL_EXPORT void internalEvbufferFree(Evbuffer* storage);

/// Holds response bytes without copying them; valid only during the data callback
/// that filled it (Networking::Response::getResponseData).
class Buffer {
 public:
  Buffer() = default;
  ~Buffer() { internalEvbufferFree(storage); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  /// Appends the bytes to `stream`; without one they are dropped. On failure returns 0
  /// and leaves the stream's error in `err`.
  KRELL_EXPORT krbool saveTo(Err& err, QUtils::PStream* stream);

  Evbuffer* storage = nullptr;
};

}  // namespace Krell

#endif  // MTLLIB_NET_BUFFER_H_
