// SizeLimits say how much a run may fetch.
#ifndef MTLLIB_TOOLS_MTLSYNC_SIZE_LIMITS_H_
#define MTLLIB_TOOLS_MTLSYNC_SIZE_LIMITS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mtlsync {

/// In bytes; 0 means no limit.
struct SizeLimits {
  std::int64_t file = 0;   ///< Of any one file, the stamp and the list among them.
  std::int64_t total = 0;  ///< Of all files of the run together.
};

/// "500", "64k", "10M" or "2G" in bytes, by powers of 1000; nothing for other texts and for
/// sizes that fit no 64 bits.
std::optional<std::int64_t> parseSize(std::string_view text);

/// A size in the largest unit that needs no fraction: "2 GB", "1500 MB", "1 byte".
std::string sizeText(std::int64_t bytes);

/// Which limit is exceeded by a file of which, and a run in which, so many bytes have
/// arrived; "" when none is.
std::string exceededLimit(const SizeLimits& limits, std::int64_t fileBytes,
                          std::int64_t totalBytes);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_SIZE_LIMITS_H_
