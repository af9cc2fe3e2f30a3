// Formats amounts and durations for people.
#ifndef MTLLIB_TOOLS_COMMON_QUANTITY_TEXT_H_
#define MTLLIB_TOOLS_COMMON_QUANTITY_TEXT_H_

#include <cstdint>
#include <string>

namespace common {

/// "1 byte", "512 bytes", "1.5 kB", "19.0 MB": decimal units, one digit after the point.
std::string bytesText(std::int64_t bytes);

/// How long something took: "1.2 s", "2 min 5 s", "1 h 3 min".
std::string durationText(double seconds);

/// A running countdown: "0:07", "12:30", "1:02:03".
std::string countdownText(double seconds);

}  // namespace common

#endif  // MTLLIB_TOOLS_COMMON_QUANTITY_TEXT_H_
