// Turns a folder into a library that clients can synchronise with.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_PUBLISHER_H_
#define MTLLIB_TOOLS_MTLPUBLISH_PUBLISHER_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "mtlpublish/library_entries.h"
#include "mtlpublish/library_stamp.h"
#include "mtlpublish/list_changes.h"
#include "mtlpublish/list_forms.h"
#include "mtlpublish/work_progress.h"

namespace mtlpublish {

struct PublishOptions : ListingOptions {
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

struct PublishResult {
  /// What was wrong; empty when the library was published.
  std::vector<std::string> problems;
  /// What the publisher may want to look at.
  std::vector<std::string> warnings;
  /// The number of entries in the list.
  std::size_t files = 0;
  /// What they amount to when they are fetched.
  std::uint64_t bytes = 0;
  /// Files and folders that are not listed, as in TreeScan::passedOver.
  std::vector<std::string> passedOver{};
  /// The library's new id, 64 hexadecimal digits: another one exactly when the list, a
  /// path or a content is another one. "" when the library is signed.
  std::string id;
  /// What was signed, or is to be.
  std::optional<mtlsigning::Release> release;
  /// Neither this stamp nor any list was there before.
  bool isFirst = false;
  /// The stamp was another one before, or there was none.
  bool isNew = false;
  /// The stamp is that of the last build, but its list was changed or removed since.
  bool isListRestored = false;
  /// Since the last build; none when there is no list of one, or it cannot be read.
  std::optional<ListChanges> changes;
  /// What a client of the kit asks for, and one of the module, that has all of the last build, or
  /// nothing before the first: stamp, list and files.
  Fetches byKit;
  Fetches byModule;
};

/// Writes the list of the files in `folder` into it and then, once every client that
/// sees the new stamp sees the new list too, the stamp, an id or a signature, unless that is made
/// elsewhere. Writes nothing when there is a file
/// that clients cannot fetch or save, except what spares the next build to read the others
/// again.
PublishResult publish(const std::filesystem::path& folder, const PublishOptions& options);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_PUBLISHER_H_
