// Publishes the build before the last one again.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_ROLLBACK_H_
#define MTLLIB_TOOLS_MTLPUBLISH_ROLLBACK_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "mtlpublish/library_stamp.h"
#include "signing/release_comment.h"

namespace mtlpublish {

struct RollbackResult {
  std::vector<std::string> problems;  ///< Empty when the build before is published.
  std::size_t placed = 0;             ///< Files that have their former content again.
  std::size_t removed = 0;            ///< Files that only the last build had.
  std::string id{};                   ///< The library's new id; "" when it is signed.
  std::optional<mtlsigning::Release> release{};
};

/// Gives the files in `folder` the contents that they had at the build before the last one, removes
/// those that came later, and publishes that build's list under a stamp that is new. The last build
/// is forgotten, so that the next rollback goes one further. Nothing is touched unless all that is
/// needed was kept, and no file was changed since the last build. `differences` is as in a build.
RollbackResult rollback(const std::filesystem::path& folder, const SigningOptions& signing,
                        std::size_t differences, std::chrono::system_clock::time_point now);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_ROLLBACK_H_
