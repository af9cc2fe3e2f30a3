// Limits that let a test wait for them, and patient ones for all other runs.
#include <atomic>

#include "net/err.h"
#include "transfer_limits.h"

namespace {

constexpr int kPatientSeconds = 60;
std::atomic<int> limitSeconds{kPatientSeconds};

}  // namespace

/// The limits of pools made from now on, in seconds; 0 makes them patient again.
extern "C" KRELL_EXPORT void setLimits(int seconds) {
  limitSeconds = seconds > 0 ? seconds : kPatientSeconds;
}

namespace Krell {
namespace Networking {

TransferLimits transferLimits() {
  TransferLimits limits;
  limits.connectMilliseconds = limitSeconds * 1000L;
  limits.stallSeconds = limitSeconds;
  return limits;
}

}  // namespace Networking
}  // namespace Krell
