/// @file
/// Functions that parse sizes and times as users write them in settings and on command lines.
///
/// @since 1.0
#ifndef MTLLIB_HOST_PARSE_H_
#define MTLLIB_HOST_PARSE_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace mtlhost {

/// "500", "64k", "10M" or "2G" in bytes, by powers of 1000; nothing for other texts and for
/// sizes that do not fit in 63 bits.
std::optional<std::int64_t> parseSize(std::string_view text);

/// "90", "90s", "30m" or "2h"; nothing for other texts and for more than a year.
std::optional<std::chrono::seconds> parseDuration(std::string_view text);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_PARSE_H_
