// Gets the list of a release from where that costs least: from a previous run, as a difference
// from the list that belongs to the copy's stamp, compressed, or as it is.
#ifndef MTLLIB_UPDATE_LIST_SOURCES_H_
#define MTLLIB_UPDATE_LIST_SOURCES_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "signing/signed_release.h"
#include "update/failure.h"
#include "update/list_intake.h"
#include "update/listing.h"
#include "update/release.h"
#include "update/system.h"
#include "update/transfers.h"

namespace mtlupdate {

struct ListRequest {
  std::string subPath{};
  std::string_view stamp{};       ///< Of the release; "" when it is not known.
  std::string_view localStamp{};  ///< Of the copy; "" when it has none.
  /// What the stamp was found to say with keys; null without.
  const mtlsigning::SignedRelease* release = nullptr;
  bool pastCaches = false;  ///< Caches on the way are not to answer.
  /// Where the stamp came from: no list of another address of the library is known to be of the
  /// same release, unless something shows that it is.
  std::optional<std::size_t> mirror{};
};

class ListSources {
 public:
  /// Where the text of the list is now.
  enum class Place { kNone, kNewFile, kFile };

  /// `folder` is null when the copy has none. All must live longer.
  ListSources(Transfers& transfers, const FetchCallbacks& callbacks, Folder* folder)
      : transfers_(transfers), callbacks_(callbacks), folder_(folder) {}

  /// Reads the list into `listing`. kNewListFile and kListFile are read where they have it already;
  /// otherwise `keep`, which may be empty, gets what arrives. Only a stamp that says what is
  /// published beside the list has anything but the list itself asked for, and whatever is wrong
  /// with that, the list is asked for next.
  Outcome find(const ListRequest& request, const ListKeeper& keep, Listing& listing, Place& place);

 private:
  bool readKept(const char* path, ListIntake& intake);
  Outcome fetch(const ListRequest& request, ListIntake& intake, const Outcome& keeping);
  std::optional<KeptList> keptListOf(std::string_view localStamp);

  Transfers& transfers_;
  const FetchCallbacks& callbacks_;
  Folder* folder_;
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_LIST_SOURCES_H_
