// Signatures and public keys in minisign's format: reading, writing and checking them. libsodium
// does the cryptography (Ed25519, BLAKE2b).
#ifndef MTLLIB_SIGNING_SIGNATURE_H_
#define MTLLIB_SIGNING_SIGNATURE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mtlsigning {

/// The longest file with a signature that is read, in bytes: 64 KiB.
inline constexpr std::size_t kLargestSignature = 65536;

using KeyId = std::array<std::uint8_t, 8>;
using SignatureBytes = std::array<std::uint8_t, 64>;

/// In 16 upper-case hexadecimal digits, as minisign shows it.
std::string idText(const KeyId& id);

/// A PublicKey is what signatures are checked with.
struct PublicKey {
  KeyId id{};
  std::array<std::uint8_t, 32> bytes{};
};

bool operator==(const PublicKey& left, const PublicKey& right);

/// Reads the 56 characters of a key, or a file of two lines that has them in its second one. None
/// for any other text.
std::optional<PublicKey> publicKeyFrom(std::string_view text);

/// The 56 characters.
std::string publicKeyText(const PublicKey& key);

/// The file of two lines.
std::string publicKeyFile(const PublicKey& key);

/// Null when none of the keys has this id.
const PublicKey* findKey(const std::vector<PublicKey>& keys, const KeyId& id);

/// A Signature is what a file with one says. Nothing of it can be believed before it was checked.
struct Signature {
  bool isOfDigest = true;      ///< The content's BLAKE2b was signed; else the content itself.
  KeyId keyId{};               ///< Of the key that is said to have signed.
  SignatureBytes ofContent{};  ///< By which the content was signed,
  std::string comment{};       ///< and its trusted comment: one line,
  SignatureBytes ofComment{};  ///< by which the former and the comment were signed.
};

/// Whether the text begins as a file with a signature does, be it a whole one or not.
bool looksSigned(std::string_view text);

/// Reads a file with a signature: exactly its four lines, of at most kLargestSignature bytes. The
/// first line is not signed, so it has to be the one that minisign writes by itself. Otherwise
/// none, and `problem` is what follows "it ".
std::optional<Signature> signatureFrom(std::string_view text, std::string& problem);

std::string signatureFile(const Signature& signature);

/// Whether the holder of the key signed the comment together with the content's signature.
bool isCommentSigned(const Signature& signature, const PublicKey& key);

/// Finds out whether a content is the signed one, as it arrives. One object for one content.
class ContentCheck {
 public:
  /// Of a content whose own bytes were signed, not its digest, all are kept until finish().
  ContentCheck(const Signature& signature, const PublicKey& key);
  ~ContentCheck();
  ContentCheck(ContentCheck&& other) noexcept;
  ContentCheck& operator=(ContentCheck&& other) noexcept;

  void update(std::string_view bytes);

  /// True when the holder of the key signed what came. Nothing may follow.
  bool finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// The same for a content that is there.
bool isContentSigned(const Signature& signature, const PublicKey& key, std::string_view content);

}  // namespace mtlsigning

#endif  // MTLLIB_SIGNING_SIGNATURE_H_
