// A ListIntake takes the text of a library's list from any source: it checks that the list is the
// right one, reads it, and hands it on to be kept.
#ifndef MTLLIB_UPDATE_LIST_INTAKE_H_
#define MTLLIB_UPDATE_LIST_INTAKE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "rules/list_note.h"
#include "signing/signed_release.h"
#include "update/failure.h"
#include "update/list_reader.h"
#include "update/listing.h"
#include "update/sha256.h"
#include "update/trust.h"

namespace mtlupdate {

/// Takes the text of a list as it arrives, on the session's thread: `anew` says that it is the
/// first piece, and what came before does not count.
using ListKeeper = std::function<Outcome(bool anew, std::string_view bytes)>;

/// What shows that a list is the right one.
struct ListProof {
  /// Which signed it, and whose files have to be listed so that they can be checked; null for none.
  const mtlsigning::SignedRelease* release = nullptr;
  /// What the stamp says of it, with a digest. Looked at only where nobody has signed.
  std::optional<mtlrules::ListNote> note{};
};

/// One thread at a time.
class ListIntake {
 public:
  /// `keep` may be empty. The listing, and the release of the proof, must live longer.
  ListIntake(ListProof proof, ListKeeper keep, Listing& listing);

  const ListProof& proof() const { return proof_; }

  /// Where nobody has signed, whatever list comes from now on is the right one: a cache may answer
  /// with a stamp that is a minute older than the list, which does no harm.
  void takeUnsigned() {
    if (proof_.release == nullptr) proof_.note.reset();
  }

  /// The text begins, perhaps for a second time.
  Outcome begin();
  /// Fails with kContent when it is not a list, with kUntrusted when it is not the signed one, and
  /// as the keeper does. What is longer than the right one is taken no further.
  Outcome take(std::string_view bytes);
  /// The text has ended. kContent when it is not a list or not that of the stamp; kUntrusted when
  /// it is not the signed one, or what it lists could not be checked.
  Outcome finish();

 private:
  /// Finds out whether a list is that of the stamp, for ListCheck has only signed ones.
  struct StampCheck {
    Sha256 sha256;
    std::uint64_t bytesLeft;
  };

  Outcome check(std::string_view bytes);
  Outcome checkEnd();
  Outcome takeChecked(std::string_view bytes);
  Outcome finishChecked();
  Outcome withCause(Outcome failure) const;

  ListProof proof_;
  ListKeeper keep_;
  Listing& listing_;
  std::optional<ListReader> reader_{};
  std::optional<ListCheck> signatureCheck_{};
  std::optional<StampCheck> stampCheck_{};
  Outcome problem_{};    ///< Of the reader.
  std::string start_{};  ///< The first byte that is not a blank.
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_LIST_INTAKE_H_
