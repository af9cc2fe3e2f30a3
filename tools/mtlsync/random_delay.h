// Waits for a random time, so that machines that start in the same minute do not all send requests
// at once.
#ifndef MTLLIB_TOOLS_MTLSYNC_RANDOM_DELAY_H_
#define MTLLIB_TOOLS_MTLSYNC_RANDOM_DELAY_H_

#include <chrono>
#include <functional>

namespace mtlsync {

/// Waits for a random part of `most`, and no longer than until `stop`, asked ten times a second,
/// answers true.
void waitRandomly(std::chrono::seconds most, const std::function<bool()>& stop);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_RANDOM_DELAY_H_
