// What is wrong with a list, whatever the files are.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LIST_CHECK_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LIST_CHECK_H_

#include <string>
#include <string_view>
#include <vector>

#include "mtlpublish/listed_files.h"

namespace mtlpublish {

struct CheckedList {
  /// What clients fetch, as far as the list can be read.
  std::vector<ListedFile> files;
  /// "NAME: what is wrong", one line each, printable: what makes clients refuse the list,
  /// what they pass over though it was hardly meant so, names that some client cannot hold,
  /// and names that get in each other's way.
  std::vector<std::string> problems;
};

/// `text` is the whole list.
CheckedList checkList(std::string_view text);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LIST_CHECK_H_
