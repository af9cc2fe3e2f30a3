// Turns a folder into a library that clients can synchronise with.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_PUBLISHER_H_
#define MTLLIB_TOOLS_MTLPUBLISH_PUBLISHER_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "mtlpublish/glob.h"

namespace mtlpublish {

struct PublishOptions {
  /// Files that clients fetch only when they do not have them.
  std::vector<Glob> missing;
  /// Files that clients never fetch, whatever `missing` says.
  std::vector<Glob> never;
  /// List a map x.tx that has a lossy variant x.jpeg.tx beside it as lossy, and leave
  /// the variant out of the list.
  bool lossy = false;
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
  /// The library's new id, 64 hexadecimal digits: another one exactly when the list, a
  /// path or a content is another one.
  std::string id;
};

/// Writes the list of the files in `folder` into it and then, once every client that
/// sees the new id sees the new list too, the id. Writes nothing when there is a file
/// that clients cannot fetch or save.
PublishResult publish(const std::filesystem::path& folder, const PublishOptions& options);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_PUBLISHER_H_
