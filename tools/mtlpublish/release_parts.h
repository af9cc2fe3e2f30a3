// The parts of a release other than the library's files: its list, its stamp, and what is to be
// recorded about it. Used for builds and for rollbacks.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_RELEASE_PARTS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_RELEASE_PARTS_H_

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mtlpublish/kept_builds.h"
#include "mtlpublish/library_stamp.h"
#include "mtlpublish/list_forms.h"
#include "mtlpublish/views.h"
#include "signing/release_comment.h"

namespace mtlpublish {

struct ReleaseParts {
  /// Names of files in the library's folder with their contents, in the order in which they are to
  /// be written: whoever sees the new stamp sees the new list, and no serial is given again.
  std::vector<std::pair<std::string, std::string>> files;
  std::string id{};                              ///< The library's; "" when it is signed.
  std::optional<mtlsigning::Release> release{};  ///< That is signed.
  bool isNew = false;                            ///< The stamp is another one than before.
  /// Names of what is not needed any longer once all is written.
  std::vector<std::string> stale{};
  ListCosts listCosts{};
};

/// The parts for this list and these files of the library in `root`. With `isAgain`, the stamp is
/// one that was never there before, though the same was published once. `differences` is from how
/// many builds there are to be list differences.
ReleaseParts makeParts(const std::filesystem::path& root, const BuildRecord& build,
                       const LibrarySigner& signer, std::chrono::system_clock::time_point now,
                       bool isAgain, std::size_t differences);

/// Parts, and the folder that they belong into, which is made when they are written.
struct PlacedParts {
  std::filesystem::path folder;
  const ReleaseParts& parts;
};

/// Writes the parts of the library in `root` and of these views of it, no stamp before all lists
/// are there: all of them, or, where one cannot be written, none but what keeps serials from being
/// given twice. Then removes what views have left that are none any more. Returns what went wrong;
/// "" when nothing did.
std::string writeParts(const std::filesystem::path& root, const std::vector<PlacedParts>& releases,
                       const PublishedViews& views);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_RELEASE_PARTS_H_
