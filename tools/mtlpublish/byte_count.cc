// Units of 1,000 bytes, one digit behind the point.
#include "mtlpublish/byte_count.h"

#include <array>
#include <cstdio>

namespace mtlpublish {

std::string byteCountText(std::uint64_t bytes) {
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

}  // namespace mtlpublish
