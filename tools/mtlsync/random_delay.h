// Waits for a random time, so that machines that start in the same minute do not all send requests
// at once.
#ifndef MTLLIB_TOOLS_MTLSYNC_RANDOM_DELAY_H_
#define MTLLIB_TOOLS_MTLSYNC_RANDOM_DELAY_H_

#include <chrono>
#include <functional>
#include <optional>
#include <string_view>

namespace mtlsync {

/// "90", "90s", "30m" or "2h"; nothing for other texts and for more than a year.
std::optional<std::chrono::seconds> parseDuration(std::string_view text);

/// Waits for a random part of `most`, and no longer than until `stop`, asked ten times a second,
/// answers true.
void waitRandomly(std::chrono::seconds most, const std::function<bool()>& stop);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_RANDOM_DELAY_H_
