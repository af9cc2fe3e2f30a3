// TransferLimits are the bounds on a transfer that keep a server from hanging a host or filling
// its memory.
#ifndef KRELL_NETWORKING_TRANSFER_LIMITS_H_
#define KRELL_NETWORKING_TRANSFER_LIMITS_H_

#include <chrono>
#include <cstdint>

namespace Krell {
namespace Networking {

/// Of one answer: its interim answers and its trailers count with it.
struct AnswerLimits {
  std::int64_t headerBytes = std::int64_t{300} * 1024;
  int headerFields = 1000;
  int interimAnswers = 32;
  /// Of all chunks of a body together.
  std::int64_t chunkExtensionBytes = std::int64_t{16} * 1024;
};

struct TransferLimits {
  /// Resolving, connecting, the tunnel through a proxy and the TLS handshake together.
  long connectMilliseconds = 30000;
  /// For sending the request, until the first byte of the answer, for the rest of its header,
  /// and between two bytes of the body; of which less than one a second is too few, too.
  long stallSeconds = 60;
  /// The data callback is called so often at least, well within a tenth of a second.
  std::chrono::milliseconds callbackInterval{40};
  AnswerLimits answer;
};

/// The limits of every pool. Defined in a file of its own, so that tests can link
/// shorter ones.
TransferLimits transferLimits();

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_TRANSFER_LIMITS_H_
