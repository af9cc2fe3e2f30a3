// Draws the delay from the system's source of randomness, so that machines with the same image
// wait for different times.
#include "mtlsync/random_delay.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <thread>

namespace mtlsync {

void waitRandomly(std::chrono::seconds most, const std::function<bool()>& stop) {
  using std::chrono::milliseconds;
  if (most.count() == 0) return;
  std::random_device random;
  std::uniform_int_distribution<std::int64_t> delay(0, milliseconds(most).count());
  const auto end = std::chrono::steady_clock::now() + milliseconds(delay(random));
  while (!stop()) {
    const auto left = end - std::chrono::steady_clock::now();
    if (left <= left.zero()) return;
    std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(left, milliseconds(100)));
  }
}

}  // namespace mtlsync
