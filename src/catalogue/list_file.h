// A LibraryCopy::ListFile holds the files that a run must fetch.
#ifndef MTLLIB_CATALOGUE_LIST_FILE_H_
#define MTLLIB_CATALOGUE_LIST_FILE_H_

#include <cstdint>
#include <memory>

#include "catalogue/library_copy.h"
#include "mtllib/char_string.h"
#include "mtllib/error_chain.h"

/// One file to fetch.
struct ListFileEntry {
  QUtils::CharString localName;   ///< The listed path.
  QUtils::CharString remoteName;  ///< The same, except for lossy maps.
  std::int64_t size = 0;          ///< Bytes expected.
};

/// The selected entries, in the order of the list. A local of one run.
struct LibraryCopy::ListFile {
  std::int32_t count = 0;
  // Counts and growth are those of the contract; `room` is what was allocated.
  std::int32_t growStep = 100;  ///< The capacity grows to the next multiple of it.
  std::int32_t capacity = 0;
  std::unique_ptr<ListFileEntry[]> entries;  ///< Null while `capacity` is 0.
  std::int32_t room = 0;                     ///< What `entries` holds in fact, `capacity` at least.

  /// Changes the number of entries; with `exact`, grows to no more than that.
  void resizeList(std::int32_t newCount, bool exact);

  /// Fills `entry`. A `lossySize` above 0 selects the lossy variant of a ".tx" map, which
  /// has that size and the remote name ".jpeg.tx"; `error` is set for any other map.
  static void init(ListFileEntry& entry, ErrorChain& error, const QUtils::CharString& path,
                   std::int64_t size, std::int64_t lossySize);

 private:
  void makeRoom();
};

#endif  // MTLLIB_CATALOGUE_LIST_FILE_H_
