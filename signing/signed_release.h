// A SignedRelease holds what a library's stamp says, once its signature has been verified.
#ifndef MTLLIB_SIGNING_SIGNED_RELEASE_H_
#define MTLLIB_SIGNING_SIGNED_RELEASE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rules/list_note.h"
#include "signing/release_comment.h"
#include "signing/signature.h"

namespace mtlsigning {

struct SignedRelease {
  Signature signature{};
  PublicKey key{};  ///< Whose holder signed it.
  Release release{};
};

/// The release of a stamp that the holder of one of the keys signed. Otherwise none, and `problem`
/// is what follows "it ". Whether a list is the signed one, a ContentCheck finds out.
std::optional<SignedRelease> signedReleaseFrom(std::string_view stamp,
                                               const std::vector<PublicKey>& keys,
                                               std::string& problem);

/// What a stamp says of its list, signed or not; none when it says nothing. Nothing is checked: it
/// is as good as the stamp is.
std::optional<mtlrules::ListNote> listNoteIn(std::string_view stamp);

}  // namespace mtlsigning

#endif  // MTLLIB_SIGNING_SIGNED_RELEASE_H_
