// Parses sizes on the command line.
#ifndef MTLLIB_TOOLS_MTLSYNC_PARSE_SIZE_H_
#define MTLLIB_TOOLS_MTLSYNC_PARSE_SIZE_H_

#include <cstdint>
#include <optional>
#include <string_view>

namespace mtlsync {

/// "500", "64k", "10M" or "2G" in bytes, by powers of 1000; nothing for other texts and for
/// sizes that fit no 64 bits.
std::optional<std::int64_t> parseSize(std::string_view text);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_PARSE_SIZE_H_
