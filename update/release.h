// A library's release as it is published at the moment: its stamp, and the list of its files.
#ifndef MTLLIB_UPDATE_RELEASE_H_
#define MTLLIB_UPDATE_RELEASE_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "signing/signed_release.h"
#include "update/failure.h"
#include "update/listing.h"
#include "update/session.h"
#include "update/transfers.h"

namespace mtlupdate {

inline constexpr std::uint64_t kLargestStamp = 1048576;    ///< In bytes: 1 MiB.
inline constexpr std::uint64_t kLargestList = 1073741824;  ///< In bytes: 1 GiB.

/// Whom fetching one document concerns meanwhile.
struct Company {
  /// As Transfers::Client::goOn().
  std::function<bool()> goOn;
  /// As Transfers::Client::again(); may be empty.
  std::function<void(const Failure& failure, std::chrono::milliseconds wait)> again{};
};

/// Which document, and from where.
struct Document {
  std::string target;       ///< Session::fileTarget() or Session::listTarget().
  bool pastCaches = false;  ///< Caches on the way are not to answer.
};

/// Fetches a stamp, which must not be empty: kContent. One that has to be signed is kUntrusted when
/// it is longer than a signature may be, whose further bytes are not looked at.
Outcome fetchStamp(Transfers& transfers, const Document& document, const Company& company,
                   bool isSigned, std::string& stamp);

/// Takes the text of a list as it arrives, on the session's thread: `anew` says that it is the
/// first piece, and what came before does not count.
using ListKeeper = std::function<Outcome(bool anew, std::string_view bytes)>;

/// Fetches a list and reads it as it arrives. kContent when it is not a list. `keep` may be empty.
/// With a release, kUntrusted when the list is not the one that was signed, or what it lists could
/// not be checked.
Outcome fetchList(Transfers& transfers, const Document& document, const Company& company,
                  const ListKeeper& keep, const mtlsigning::SignedRelease* release,
                  Listing& listing);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_RELEASE_H_
