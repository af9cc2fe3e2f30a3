// Fetches the release that a library currently publishes: its stamp, and its list in any of
// the forms in which it is offered.
#ifndef MTLLIB_UPDATE_RELEASE_H_
#define MTLLIB_UPDATE_RELEASE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "update/failure.h"
#include "update/list_difference.h"
#include "update/list_intake.h"
#include "update/session.h"
#include "update/system.h"
#include "update/transfers.h"

namespace mtlupdate {

inline constexpr std::uint64_t kLargestStamp = 1048576;    ///< In bytes: 1 MiB.
inline constexpr std::uint64_t kLargestList = 1073741824;  ///< In bytes: 1 GiB.

/// What a fetch calls while it is under way, on the thread that called it.
struct FetchCallbacks {
  /// As Transfers::Client::shouldContinue().
  std::function<bool()> shouldContinue;
  /// As Transfers::Client::onRetry(); may be empty.
  std::function<void(const Failure& failure, std::chrono::milliseconds wait)> onRetry{};
  /// As Transfers::Client::onNextAddress(); may be empty.
  std::function<void(const Failure& failure, const std::string& address)> onNextAddress{};
};

/// Which document, and from where.
struct Document {
  /// Session::fileTarget() or Session::listTarget() of a session.
  std::function<std::string(const Session& session)> target;
  bool pastCaches = false;      ///< Caches on the way are not to answer.
  bool isAskedAsNamed = false;  ///< As Body::isAskedAsNamed().
  /// The one address of the library that it may come from; none for any.
  std::optional<std::size_t> mirror{};
};

/// Says whether a stamp is one to trust.
using StampCheck = std::function<Outcome(const std::string& stamp)>;

/// Fetches a stamp, which must not be empty: kContent. With a `check`, one that it refuses does not
/// count, and one that is longer than a signature may be is kUntrusted, whose further bytes are not
/// looked at. `mirror` becomes the number of the address that it came from.
Outcome fetchStamp(Transfers& transfers, const Document& document, const FetchCallbacks& callbacks,
                   const StampCheck& check, std::string& stamp, std::size_t& mirror);

/// Fetches a list, which the intake takes as it arrives; kContent when that is not the right one.
Outcome fetchList(Transfers& transfers, const Document& document, const FetchCallbacks& callbacks,
                  ListIntake& intake);

/// The same of a list in the format of gzip, which comes in place of another one: whatever is wrong
/// with it, it is not asked for again. The proof of the intake has a note.
Outcome fetchCompressedList(Transfers& transfers, const Document& document,
                            const FetchCallbacks& callbacks, ListIntake& intake);

/// A list in the folder of a copy.
struct KeptList {
  Folder& folder;
  std::string path;
  ListIdentity identity;
};

/// The same of a difference, from which the intake gets the list that it makes of the old one.
Outcome fetchDifference(Transfers& transfers, const Document& document,
                        const FetchCallbacks& callbacks, const KeptList& old, ListIntake& intake);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_RELEASE_H_
