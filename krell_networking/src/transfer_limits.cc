// The limits that hosts live with: patient with slow networks, but never for ever.
#include "transfer_limits.h"

namespace Krell {
namespace Networking {

TransferLimits transferLimits() {
  TransferLimits limits{};
  limits.connectMilliseconds = 30000;
  limits.stallSeconds = 60;
  limits.callbackInterval = std::chrono::milliseconds(40);
  return limits;
}

}  // namespace Networking
}  // namespace Krell
