// Moves received bytes to a stream without copying them in between.
#include "net/buffer.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "evbuffer.h"
#include "net/http_client.h"
#include "plugin/error_chain.h"

namespace Krell {

void internalEvbufferFree(Evbuffer* storage) {
  if (storage != nullptr) *storage = Evbuffer{nullptr, 0};
}

krbool Buffer::saveTo(Err& err, QUtils::PStream* stream) {
  constexpr const char* kTag = "Buffer::saveTo";
  if (storage == nullptr || stream == nullptr) return 1;
  while (storage->size > 0) {
    const auto piece = static_cast<std::uint32_t>(
        std::min<std::size_t>(storage->size, std::numeric_limits<std::int32_t>::max()));
    std::uint32_t written = 0;
    err.chain = stream->Write(storage->bytes, piece, written);
    if (err.chain) return 0;
    if (written != piece) {
      setError(err.chain, kTag, -1, "%u of %u bytes written", written, piece);
      return 0;
    }
    storage->bytes += written;
    storage->size -= written;
  }
  return 1;
}

namespace Networking {

krbool Response::getResponseData(Buffer& buffer) {
  internalEvbufferFree(buffer.storage);
  buffer.storage = std::exchange(data, nullptr);
  return 1;
}

Response::Bytes Response::takeBytes() {
  const Evbuffer* const taken = std::exchange(data, nullptr);
  return taken != nullptr ? Bytes{taken->bytes, taken->size} : Bytes{nullptr, 0};
}

}  // namespace Networking
}  // namespace Krell
