// A count lower than before on the same token is a new request.
#include "byte_counter.h"

namespace mtlhost {

void ByteCounter::update(const void* request, std::int64_t receivedBytes) {
  std::int64_t& before = received_[request];
  total_ += receivedBytes >= before ? receivedBytes - before : receivedBytes;
  before = receivedBytes;
}

}  // namespace mtlhost
