// Trust decides which releases of a library a copy may be brought to: those signed with one of the
// host's keys that are not older than what the copy has seen.
#ifndef MTLLIB_UPDATE_TRUST_H_
#define MTLLIB_UPDATE_TRUST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "signing/signed_release.h"
#include "update/failure.h"
#include "update/listing.h"
#include "update/system.h"

namespace mtlupdate {

struct TrustOptions {
  /// Any of them may have signed a release. Without any, no signature is looked at.
  std::vector<mtlsigning::PublicKey> keys{};
  std::string library{};  ///< The name that releases have to have; "" for that of the first one.
  bool allowsExpired = false;  ///< A release that has expired is worth a warning only.
  bool forgets = false;        ///< What the copy has seen with keys no longer counts.
};

/// Trust in the releases of one library, for one operation on one copy. With keys, a stamp goes
/// through check() before anything else of the library is looked at.
class Trust {
 public:
  /// The options must live longer. `subPath` is plain (mtlrules::plainPath).
  Trust(const TrustOptions& options, std::string subPath)
      : options_(options), subPath_(std::move(subPath)) {}

  bool hasKeys() const { return !options_.keys.empty(); }

  /// Reads what the copy has seen: as an update has recorded it, or else as the copy's own stamp
  /// has it. kUsage when the copy was updated with keys and there are none now, or when it is of a
  /// library of another name.
  Outcome readRecord(Folder& folder);

  /// Whether the stamp is that of a release which the copy may be brought to at this time, in
  /// seconds since 1970; kUntrusted when it is not, which is transient when it is only of an older
  /// release than the copy or this function has seen before. `warning` is "" unless there
  /// is one. Not without keys.
  Outcome check(std::string_view stamp, std::int64_t now, std::string& warning);

  /// The part of check() that a copy's own stamp passes, too: whoever has signed it, for which
  /// library.
  Outcome checkSignature(std::string_view stamp);

  /// What the stamp that was checked last says.
  const mtlsigning::SignedRelease& release() const { return release_; }

  /// Whether the list that the copy keeps is the one that its stamp was signed for, or the stamp
  /// that an update was about to give it; kUntrusted when it is not. Nothing without keys.
  Outcome checkKeptList(Folder& folder) const;

  /// Whether an update with keys has brought the copy to this stamp, as far as the stamp goes.
  bool isRecorded(std::string_view stamp) const;

  /// The record of a copy that is brought to the stamp that was checked.
  std::string recordWith(std::string_view stamp) const;

 private:
  /// A release that the copy was brought to, or was about to be.
  struct Seen {
    std::string stamp;
    mtlsigning::Release release;
  };

  const Seen* seen() const;
  void takeRecord(std::string_view bytes);
  std::string seenLibrary() const;
  Outcome checkName(const mtlsigning::Release& release) const;
  Outcome checkSerial(std::string_view stamp) const;
  Outcome compare(std::string_view stamp, const Seen& last, const char* who) const;
  Outcome checkTime(std::int64_t now, std::string& warning) const;

  const TrustOptions& options_;
  const std::string subPath_;
  std::vector<Seen> record_{};        ///< One of each sub-path.
  std::optional<Seen> localStamp_{};  ///< Where the record has nothing.
  std::optional<Seen> newest_{};      ///< That passed the check.
  mtlsigning::SignedRelease release_{};
};

/// A ListCheck finds out, as a list arrives, whether it is the one that was signed. If not, that is
/// kUntrusted, and transient: a server may still be about to get the other one.
class ListCheck {
 public:
  explicit ListCheck(const mtlsigning::SignedRelease& release)
      : check_(release.signature, release.key), bytesLeft_(release.release.list.size) {}

  /// Fails when it is longer than the signed one.
  Outcome update(std::string_view bytes);
  /// The list has ended. Fails when it is not the signed one. Nothing may follow.
  Outcome finish();

 private:
  mtlsigning::ContentCheck check_;
  std::uint64_t bytesLeft_;
  bool isTooLong_ = false;
};

/// kUntrusted when a file lacks the size or the digest that its content could be checked with.
Outcome checkEntries(const Listing& listing);

/// What the stamp of a copy shows.
struct LocalStamp {
  bool looksSigned = false;             ///< Whoever may have signed it.
  bool needsKeys = false;               ///< The copy is not updated without keys.
  Outcome failure{};                    ///< Why the stamp is not to be trusted; none without keys.
  mtlsigning::SignedRelease release{};  ///< With keys, and without a failure.
};

LocalStamp lookAtStamp(Folder& folder, const TrustOptions& options, const std::string& subPath);

/// Forgets what the copy has seen with keys. The caller has the lock.
Outcome forgetTrust(Folder& folder);

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_TRUST_H_
