// Computes the difference between two lists, and what it costs clients.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LIST_CHANGES_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LIST_CHANGES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "mtlpublish/file_list.h"

namespace mtlpublish {

/// What one client asks for. Bytes are those of the bodies that it gets.
struct Fetches {
  std::size_t requests = 0;
  std::uint64_t bytes = 0;

  void add(std::uint64_t size) {
    ++requests;
    bytes += size;
  }
};

struct ListChanges {
  /// Paths, in their order. A policy or a variant that has changed is a change, too.
  std::vector<std::string> added;
  std::vector<std::string> changed;
  std::vector<std::string> removed;
  /// Paths of files with another content that are "missing" now: where the module has one, it
  /// never fetches it again.
  std::vector<std::string> unreachable;
  /// The files that a client of the kit fetches, and one of the module, which had all of the list
  /// before.
  Fetches byKit;
  Fetches byModule;

  bool isEmpty() const { return added.empty() && changed.empty() && removed.empty(); }
};

/// Both lists are sorted by path.
ListChanges changesBetween(const std::vector<ListEntry>& before,
                           const std::vector<ListEntry>& after);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LIST_CHANGES_H_
