// Draws the delay from the system's source of randomness, so that machines with the same image
// wait for different times.
#include "mtlsync/random_delay.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <random>
#include <system_error>
#include <thread>

namespace mtlsync {

std::optional<std::chrono::seconds> parseDuration(std::string_view text) {
  constexpr std::int64_t kMost = std::int64_t{366} * 24 * 3600;
  std::int64_t factor = 1;
  if (!text.empty() && (text.back() < '0' || text.back() > '9')) {
    const char unit = text.back();
    if (unit != 's' && unit != 'm' && unit != 'h') return std::nullopt;
    if (unit != 's') factor = unit == 'm' ? 60 : 3600;
    text.remove_suffix(1);
  }
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end || number < 0 || number > kMost / factor) {
    return std::nullopt;
  }
  return std::chrono::seconds(number * factor);
}

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
