// A Timing object provides time and randomness to the engine. Tests use others, which do not wait.
#ifndef MTLLIB_UPDATE_TIMING_H_
#define MTLLIB_UPDATE_TIMING_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <random>

namespace mtlupdate {

/// Any thread may call.
class Timing {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  virtual ~Timing() = default;

  virtual TimePoint now() { return std::chrono::steady_clock::now(); }

  /// Of the computer's clock, since 1970.
  virtual std::int64_t seconds() {
    using namespace std::chrono;
    return duration_cast<std::chrono::seconds>(system_clock::now().time_since_epoch()).count();
  }

  /// At least 0 and less than 1.
  virtual double random() {
    thread_local std::minstd_rand generator{std::random_device{}()};
    return std::uniform_real_distribution<>()(generator);
  }

  /// Waits until then at most, and less when `changed` is notified.
  virtual void wait(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                    TimePoint until) {
    changed.wait_until(lock, until);
  }
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_TIMING_H_
