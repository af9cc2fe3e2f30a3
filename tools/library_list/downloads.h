// Fetching the files of a library.
#ifndef MTLLIB_TOOLS_LIBRARY_LIST_DOWNLOADS_H_
#define MTLLIB_TOOLS_LIBRARY_LIST_DOWNLOADS_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "library_list/list_fetch.h"

namespace library_list {

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
  std::string url;
  /// Ask for the header alone.
  bool headOnly = false;
  /// Of the body, in bytes; a larger one is refused.
  std::int64_t largestSize = 0;
  std::function<void(std::string_view bytes)> onBytes;
  std::function<void(const DownloadEnd& end)> onEnd;
};

/// Runs the downloads that `next` gives until it gives none, five at a time as clients do,
/// over connections that are kept. `connection` tells all but the URLs and sizes. `meanwhile`
/// is called ten times a second or more often. All of them are called on this thread. Empty,
/// or why no download could be begun.
std::string runDownloads(const FetchRequest& connection,
                         const std::function<std::optional<Download>()>& next,
                         const std::function<void()>& meanwhile);

}  // namespace library_list

#endif  // MTLLIB_TOOLS_LIBRARY_LIST_DOWNLOADS_H_
