// Fetches the files of a published library over a session of the engine.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_DOWNLOADS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_DOWNLOADS_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "update/session.h"

namespace mtlpublish {

/// How a download ended.
struct DownloadEnd {
  /// Why the file was not fetched, in words; "" when it was.
  std::string problem;
  /// The body was larger than the largest size.
  bool isTooLarge = false;
  /// What the server says the file has, in bytes; negative when it does not say.
  std::int64_t announcedSize = -1;
};

struct Download {
  std::string target;     ///< Session::fileTarget().
  bool headOnly = false;  ///< Ask for the header alone.
  /// Of the body, in bytes; a larger one is refused.
  std::int64_t largestSize = 0;
  std::function<void(std::string_view bytes)> onBytes;
  std::function<void(const DownloadEnd& end)> onEnd;
};

/// Runs the downloads that `next` gives until it gives none, as many at a time as the session has
/// connections. `next` and the downloads' functions are called on any thread, one at a time.
/// `meanwhile` is called on this one, about ten times a second and once at the end.
void runDownloads(mtlupdate::Session& session, const std::function<std::optional<Download>()>& next,
                  const std::function<void()>& meanwhile);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_DOWNLOADS_H_
