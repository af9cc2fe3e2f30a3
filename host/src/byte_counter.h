// A ByteCounter counts the bytes that have arrived over all requests of a run.
#ifndef MTLLIB_HOST_SRC_BYTE_COUNTER_H_
#define MTLLIB_HOST_SRC_BYTE_COUNTER_H_

#include <cstdint>
#include <unordered_map>

namespace mtlhost {

/// Sums what HostCallback::isAborted reports about each request. Used by one thread at a
/// time.
class ByteCounter {
 public:
  /// `request` has received `receivedBytes` by now. A lower number than before means that
  /// another request has taken over the token.
  void update(const void* request, std::int64_t receivedBytes);

  std::int64_t total() const { return total_; }

 private:
  std::unordered_map<const void*, std::int64_t> received_;
  std::int64_t total_ = 0;
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_BYTE_COUNTER_H_
