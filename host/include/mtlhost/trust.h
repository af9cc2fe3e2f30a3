/// @file
/// Which publishers a host trusts, and who signed the copy that it has.
///
/// @since 1.0
#ifndef MTLLIB_HOST_TRUST_H_
#define MTLLIB_HOST_TRUST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "mtlhost/error.h"

namespace mtlhost {

/// Who must have signed a library. With keys, nothing takes effect that is not signed with one of
/// them, or that is older than what the copy has seen; an operation that meets such a thing ends
/// with Result::Failure::kUntrusted and leaves the copy as it was. A copy that was once updated
/// with keys is not updated without them.
///
/// Used by the engine only: the module cannot check signatures.
struct TrustSettings {
  /// Public keys in minisign's format: the 56 characters of a key ("RWQ..."), the text of its file,
  /// or the name of its file. Usually these are the publisher's key and one or more that will
  /// succeed it; any of them may have signed. Without keys, signatures are not checked.
  std::vector<std::string> keys{};
  /// The name that the publisher has given to the library. If "", the name of the release that the
  /// copy was first brought to with keys, and no other name from then on.
  std::string libraryName{};
  /// Accept a release that has expired, with a warning.
  bool allowsExpired = false;
  /// Forget what the copy has seen with keys: it may then be updated without keys, with other keys,
  /// to a library of another name, or to an older release.
  bool forgetsKeys = false;
};

/// What a copy shows about who signed it. Times are in seconds since 1970.
struct CopySignature {
  /// Whether it can be trusted.
  enum class Kind {
    kNone,       ///< The copy's stamp is not a signature.
    kUnchecked,  ///< It may be one, but was not checked: no keys were given.
    kGood,       ///< The holder of one of the keys has signed it.
    kBad         ///< It is not what the holder of one of the keys has signed: see `problem`.
  };

  Kind kind = Kind::kNone;  ///< Which of them.
  /// An update with keys has brought the copy to a signed release, or was about to: the copy is not
  /// updated without keys.
  bool needsKeys = false;
  std::string problem{};  ///< kBad: why, in words that follow the name of the stamp.

  /// @name What was signed
  /// Set for kGood only.
  /// @{
  std::string libraryName{};              ///< The name of the library.
  std::uint64_t serial = 0;               ///< Grows with each release.
  std::int64_t published = 0;             ///< When the release was made.
  std::optional<std::int64_t> expires{};  ///< From when on it is refused.
  std::string keyId{};                    ///< Of the key: 16 hexadecimal digits.
  /// @}
};

/// Checks the stamp of the copy in this folder, without a network. Of the settings, the keys and
/// the name are used. Empty, with the reason in `problem`, if a key cannot be used.
std::optional<CopySignature> copySignature(const std::string& targetDirectory,
                                           const std::string& subPath, const TrustSettings& trust,
                                           Errors& problem);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_TRUST_H_
