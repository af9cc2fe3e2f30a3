// Turns a folder into a library that clients can synchronise with.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_PUBLISHER_H_
#define MTLLIB_TOOLS_MTLPUBLISH_PUBLISHER_H_

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "mtlpublish/edition.h"
#include "mtlpublish/library_entries.h"
#include "mtlpublish/library_stamp.h"
#include "mtlpublish/list_forms.h"
#include "mtlpublish/views.h"
#include "mtlpublish/work_progress.h"

namespace mtlpublish {

struct PublishOptions : ListingOptions {
  /// Other lists of the same files, for clients that give a sub-path.
  std::vector<View> views{};
  /// What clients give, "https://materials.example/library"; "" when it does not matter, as there
  /// are no views.
  std::string address{};
  /// How many builds before this one are kept, so that they can be published again.
  std::size_t keep = 0;
  /// From how many builds before this one there are to be list differences.
  std::size_t differences = kUsualDifferences;
  /// Write nothing at all, and sign nothing.
  bool isTrial = false;
  /// Keep what was found out about the files, in a file beside the list, and read only
  /// those that have changed since. Otherwise every file is read, and that file removed.
  bool cache = true;
  /// When the build begins. A file that has changed only just before is read again by the
  /// next one, since it might change once more and look the same.
  std::chrono::system_clock::time_point start = std::chrono::system_clock::now();
  /// Whether, how and as what the library is signed.
  SigningOptions signing{};
  OnProgress onProgress;
};

struct PublishResult : EditionResult {
  /// What was wrong; empty when the library was published.
  std::vector<std::string> problems;
  /// What the publisher may want to look at.
  std::vector<std::string> warnings;
  /// Files and folders that are not listed, as in TreeScan::skipped.
  std::vector<std::string> skipped{};
  /// In the order of PublishOptions::views.
  std::vector<EditionResult> views{};
};

/// Writes the list of the files in `folder` into it, those of its views into the folders of these,
/// and then, once every client that sees a new stamp sees the new list too, the stamps, ids or
/// signatures, unless these are made elsewhere. Writes nothing when there is a file
/// that clients cannot fetch or save, except what spares the next build to read the others
/// again.
PublishResult publish(const std::filesystem::path& folder, const PublishOptions& options);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_PUBLISHER_H_
