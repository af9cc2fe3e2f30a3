// TransferLimits: what bounds a transfer, so that no server can hang a host.
#ifndef KRELL_NETWORKING_TRANSFER_LIMITS_H_
#define KRELL_NETWORKING_TRANSFER_LIMITS_H_

#include <chrono>

namespace Krell {
namespace Networking {

struct TransferLimits {
  /// Resolving, connecting and the TLS handshake together.
  long connectMilliseconds;
  /// A transfer that moves less than one byte a second for so long has stalled.
  long stallSeconds;
  /// The data callback is called so often at least, well within a tenth of a second.
  std::chrono::milliseconds callbackInterval;
};

/// The limits of every pool. Defined in a file of its own, so that tests can link
/// shorter ones.
TransferLimits transferLimits();

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_TRANSFER_LIMITS_H_
