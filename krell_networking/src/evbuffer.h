// The storage behind Krell::Buffer, which is a view of the receive buffer.
#ifndef KRELL_NETWORKING_EVBUFFER_H_
#define KRELL_NETWORKING_EVBUFFER_H_

#include <cstddef>

namespace Krell {

/// Bytes of the piece being delivered. The record belongs to the client; freeing it
/// only forgets the bytes.
struct Evbuffer {
  const char* bytes;
  std::size_t size;
};

}  // namespace Krell

#endif  // KRELL_NETWORKING_EVBUFFER_H_
