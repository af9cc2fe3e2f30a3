// The values of the limits in normal use: patient with slow networks, but never unlimited.
#include "transfer_limits.h"

namespace Krell {
namespace Networking {

TransferLimits transferLimits() {
  return {};
}

}  // namespace Networking
}  // namespace Krell
