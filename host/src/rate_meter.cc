// Computes a moving average, so that a stall becomes visible.
#include "rate_meter.h"

namespace mtlhost {

namespace {

constexpr std::chrono::seconds kWindow{5};
constexpr double kShortestSeconds = 0.2;

}  // namespace

void RateMeter::restart(TimePoint now, std::int64_t total) {
  samples_.assign(1, {now, total});
}

void RateMeter::update(TimePoint now, std::int64_t total) {
  samples_.push_back({now, total});
  while (samples_.size() > 2 && now - samples_[1].time >= kWindow)
    samples_.pop_front();
}

double RateMeter::rate() const {
  if (samples_.size() < 2) return 0;
  const std::chrono::duration<double> elapsed = samples_.back().time - samples_.front().time;
  if (elapsed.count() < kShortestSeconds) return 0;
  return static_cast<double>(samples_.back().total - samples_.front().total) / elapsed.count();
}

}  // namespace mtlhost
