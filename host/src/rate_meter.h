// A RateMeter measures how fast a quantity grows.
#ifndef MTLLIB_HOST_SRC_RATE_METER_H_
#define MTLLIB_HOST_SRC_RATE_METER_H_

#include <chrono>
#include <cstdint>
#include <deque>

namespace mtlhost {

/// The mean rate over the last few seconds, so that it follows the transfer without
/// jumping about.
class RateMeter {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// Forgets everything; counting continues from `total`.
  void restart(TimePoint now, std::int64_t total);

  void update(TimePoint now, std::int64_t total);

  /// In bytes a second; 0 until there is something to go by.
  double rate() const;

 private:
  struct Sample {
    TimePoint time;
    std::int64_t total;
  };
  std::deque<Sample> samples_;
};

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SRC_RATE_METER_H_
