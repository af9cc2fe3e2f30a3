// Formats amounts in decimal units, with one digit after the point.
#include "common/quantity_text.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace common {

namespace {

constexpr long long kSecondsPerMinute = 60;
constexpr long long kSecondsPerHour = 3600;

}  // namespace

std::string bytesText(std::int64_t bytes) {
  if (bytes < 1000) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  static constexpr std::array<const char*, 4> kUnits{"kB", "MB", "GB", "TB"};
  double amount = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  // 999.95 and more would be shown as 1000.0.
  while (amount >= 999.95 && unit + 1 < kUnits.size()) {
    amount /= 1000;
    ++unit;
  }
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%.1f %s", amount, kUnits[unit]);
  return text.data();
}

std::string durationText(double seconds) {
  std::array<char, 64> text{};
  // 59.95 and more would be shown as 60.0.
  if (seconds < 59.95) {
    std::snprintf(text.data(), text.size(), "%.1f s", seconds);
    return text.data();
  }
  const long long whole = std::llround(seconds);
  if (whole < kSecondsPerHour) {
    std::snprintf(text.data(), text.size(), "%lld min %lld s", whole / kSecondsPerMinute,
                  whole % kSecondsPerMinute);
  } else {
    std::snprintf(text.data(), text.size(), "%lld h %lld min", whole / kSecondsPerHour,
                  whole % kSecondsPerHour / kSecondsPerMinute);
  }
  return text.data();
}

std::string countdownText(double seconds) {
  const long long whole = std::llround(seconds);
  const long long minutes = whole / kSecondsPerMinute;
  std::array<char, 64> text{};
  if (whole < kSecondsPerHour) {
    std::snprintf(text.data(), text.size(), "%lld:%02lld", minutes, whole % kSecondsPerMinute);
  } else {
    std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", whole / kSecondsPerHour,
                  minutes % kSecondsPerMinute, whole % kSecondsPerMinute);
  }
  return text.data();
}

}  // namespace common
