// Limits that let a test wait for them.
#include "transfer_limits.h"

namespace Krell {
namespace Networking {

TransferLimits transferLimits() {
  TransferLimits limits{};
  limits.connectMilliseconds = 1000;
  limits.stallSeconds = 1;
  limits.callbackInterval = std::chrono::milliseconds(40);
  return limits;
}

}  // namespace Networking
}  // namespace Krell
