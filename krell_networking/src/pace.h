// A Pace decides whether an exchange makes enough progress; a RateLimit keeps it from going too
// fast.
#ifndef KRELL_NETWORKING_PACE_H_
#define KRELL_NETWORKING_PACE_H_

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace Krell {
namespace Networking {

using Clock = std::chrono::steady_clock;

/// An exchange is too slow when a step of it, or the wait for the next bytes of its body,
/// takes the limit, and when within the limit fewer bytes than one a second arrive. Bytes
/// that are not of the body are no progress: else a header could take days.
class Pace {
 public:
  /// The next step begins.
  void beginStep(Clock::time_point now) {
    last_ = now;
    window_ = now;
    bytes_ = 0;
  }
  void takeBody(Clock::time_point now, std::size_t bytes) {
    last_ = now;
    bytes_ += static_cast<std::int64_t>(bytes);
  }
  bool isTooSlow(Clock::time_point now, std::chrono::seconds limit) {
    if (now - last_ >= limit) return true;
    if (now - window_ < limit) return false;
    const bool tooFew = bytes_ < limit.count();
    window_ = now;
    bytes_ = 0;
    return tooFew;
  }

 private:
  Clock::time_point last_;
  Clock::time_point window_;
  std::int64_t bytes_ = 0;
};

/// Spreads the bytes of a pool over time; what was not used within a tenth of a second is lost.
class RateLimit {
 public:
  /// 0 for no limit.
  void begin(std::int64_t bytesPerSecond, Clock::time_point now) {
    rate_ = bytesPerSecond;
    last_ = now;
    left_ = 0;
  }
  bool isSet() const { return rate_ > 0; }

  /// How many bytes may be received now, at most `wanted`.
  std::size_t allow(Clock::time_point now, std::size_t wanted) {
    if (!isSet()) return wanted;
    const std::chrono::duration<double> passed = now - last_;
    last_ = now;
    left_ = std::min(left_ + passed.count() * static_cast<double>(rate_),
                     std::max(1.0, static_cast<double>(rate_) / 10));
    return left_ < 1 ? 0 : std::min(wanted, static_cast<std::size_t>(left_));
  }
  void spend(std::size_t bytes) { left_ -= static_cast<double>(bytes); }

  /// How long to wait before asking again.
  std::chrono::milliseconds pause() const {
    const double seconds = std::max(0.0, 1 - left_) / static_cast<double>(rate_);
    return std::chrono::milliseconds(10 + static_cast<std::int64_t>(seconds * 1000));
  }

 private:
  std::int64_t rate_ = 0;
  Clock::time_point last_;
  double left_ = 0;
};

}  // namespace Networking
}  // namespace Krell

#endif  // KRELL_NETWORKING_PACE_H_
