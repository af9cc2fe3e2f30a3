// A Places object says which entries of a list have a place of their own in the copy, and which
// share theirs with other entries of the same list, or are below one of those.
#ifndef MTLLIB_UPDATE_PLACES_H_
#define MTLLIB_UPDATE_PLACES_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "update/listing.h"
#include "update/text_store.h"

namespace mtlupdate {

/// Of names that mean the same file, all but the ASCII letters' case being the same.
std::string foldedCase(std::string_view path);

/// Whether the path leads into the folder.
bool isBelow(std::string_view path, std::string_view folder);

/// The listing must live longer. One thread at a time.
class Places {
 public:
  explicit Places(const Listing& listing);

  /// kSame: an entry further down has the same place; kFolder: another one has a place below it.
  enum class Verdict : unsigned char { kAlone, kSame, kFolder };
  /// On the entry of this number.
  Verdict of(std::size_t number) const { return verdicts_[number]; }

  /// Whether an entry has its place at the path.
  bool isTaken(std::string_view path) const;

 private:
  struct Place {
    std::string_view path;
    std::size_t number;
  };

  static bool precedes(const Place& a, const Place& b);

  TextStore texts_;
  // Sorted, since whoever writes a list could make all paths fall into one bucket of a hash table.
  std::vector<Place> places_;
  std::vector<Verdict> verdicts_;
  mutable std::size_t next_ = 0;  ///< Behind what was found last.
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_PLACES_H_
