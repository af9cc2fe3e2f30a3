// A LibraryOverview describes a library as it was built last: which release it is, who signed it,
// its files, and what the last build changed.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_PAGE_LIBRARY_OVERVIEW_H_
#define MTLLIB_TOOLS_MTLPUBLISH_PAGE_LIBRARY_OVERVIEW_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "mtlpublish/file_list.h"
#include "mtlpublish/list_changes.h"
#include "signing/release_comment.h"

namespace mtlpublish {

struct LibraryOverview {
  std::string subPath{};  ///< Of the view that it is; "" for the library.
  std::string name{};     ///< That it is signed with, or configured, or its folder's.
  std::string stamp{};    ///< The first line of id.txt, of a signed one "".
  std::optional<mtlsigning::Release> release{};  ///< That the stamp describes; none unless signed.
  std::string keyId{};                           ///< Of the key that is said to have signed.
  std::vector<std::string> warnings{};           ///< What is wrong with stamp and list.
  std::uint64_t listSize = 0;                    ///< The bytes of the list itself.
  std::vector<ListEntry> entries{};              ///< Sorted by path.
  /// Between the list that a build replaced last and this one; none before there was another.
  std::optional<ListChanges> changes{};
};

/// Reads what there is in the library's folder, `root`, which is canonical, of the library or of
/// its view of this sub-path, which is in the one way to write it. `now` is in seconds since 1970.
/// None when there is no list that a build wrote; `problem` says so then.
std::optional<LibraryOverview> readOverview(const std::filesystem::path& root,
                                            const std::string& subPath, std::int64_t now,
                                            std::string& problem);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_PAGE_LIBRARY_OVERVIEW_H_
