// What sets one list of a library apart from the one before.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LIST_CHANGES_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LIST_CHANGES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "mtlpublish/file_list.h"

namespace mtlpublish {

/// Paths, in bytewise order.
struct ListChanges {
  std::vector<std::string> added;
  /// Those with another content, as far as the lists tell, or another policy.
  std::vector<std::string> changed;
  std::vector<std::string> removed;
  /// What a client fetches that has all of the list before, once it sees the new
  /// id: every file but those that it fetches only when it does not have them, and has.
  std::uint64_t bytesToFetch = 0;

  bool isEmpty() const { return added.empty() && changed.empty() && removed.empty(); }
};

/// Both lists are sorted by path.
ListChanges changesBetween(const std::vector<ListEntry>& before,
                           const std::vector<ListEntry>& after);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LIST_CHANGES_H_
