// Finds what is wrong with a list, whatever its files contain.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LIST_CHECK_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LIST_CHECK_H_

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "mtlpublish/file_list.h"
#include "mtlpublish/listed_files.h"
#include "rules/published_names.h"

namespace mtlpublish {

struct CheckedList {
  /// What clients fetch, as far as the list can be read.
  std::vector<ListedFile> files;
  /// "NAME: what is wrong", one line each, printable: what makes clients refuse the list,
  /// what they pass over though it was hardly meant so, names that some client cannot hold,
  /// and names that get in each other's way.
  std::vector<std::string> problems;
};

/// `text` is the whole list, `subPath` that of its clients.
CheckedList checkList(std::string_view text, const std::string& subPath = {});

/// The faults that a publisher lets pass.
using AllowedFaults = std::set<mtlrules::NameFault>;

/// Of entries that are to be listed: "NAME: what is wrong" for each name that some client could not
/// take, but for those that may pass. `subPath` is that of the clients.
std::vector<std::string> checkEntries(const std::vector<ListEntry>& entries,
                                      const std::string& subPath, const AllowedFaults& allowed);

/// The same for files that are larger than many clients take.
std::vector<std::string> sizeWarnings(const std::vector<ListEntry>& entries);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LIST_CHECK_H_
