// Checks signed stamps. Nothing in a stamp is believed, including its comment, before its
// signature has been verified.
#include "signing/signed_release.h"

#include <utility>

namespace mtlsigning {

std::optional<SignedRelease> signedReleaseFrom(std::string_view stamp,
                                               const std::vector<PublicKey>& keys,
                                               std::string& problem) {
  std::optional<Signature> signature = signatureFrom(stamp, problem);
  if (!signature) return std::nullopt;
  const PublicKey* const key = findKey(keys, signature->keyId);
  if (key == nullptr) {
    problem =
        "was signed with key " + idText(signature->keyId) + ", which is not one of those given";
    return std::nullopt;
  }
  if (!isCommentSigned(*signature, *key)) {
    problem = "has a wrong signature: it was changed, or not made with key " + idText(key->id);
    return std::nullopt;
  }
  std::optional<Release> release = releaseFrom(signature->comment);
  if (!release) {
    problem = "has a comment that does not describe a release of a library";
    return std::nullopt;
  }
  return SignedRelease{*std::move(signature), *key, *std::move(release)};
}

std::optional<mtlrules::ListNote> listNoteIn(std::string_view stamp) {
  if (!looksSigned(stamp)) return mtlrules::noteInStamp(stamp);
  std::string problem;
  const std::optional<Signature> signature = signatureFrom(stamp, problem);
  if (!signature) return std::nullopt;
  std::optional<Release> release = releaseFrom(signature->comment);
  return release ? std::optional(std::move(release->list)) : std::nullopt;
}

}  // namespace mtlsigning
