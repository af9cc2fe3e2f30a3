// Adds up the bytes of all requests. A count lower than the previous one with the same token
// belongs to a new request.
#include "byte_counter.h"

namespace mtlhost {

void ByteCounter::update(const void* request, std::int64_t receivedBytes) {
  std::int64_t& before = received_[request];
  total_ += receivedBytes >= before ? receivedBytes - before : receivedBytes;
  before = receivedBytes;
}

}  // namespace mtlhost
