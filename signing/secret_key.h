// A SecretKey signs libraries for their publisher. Its file has minisign's format, with or without
// a password. libsodium does the cryptography (Ed25519, BLAKE2b, scrypt).
#ifndef MTLLIB_SIGNING_SECRET_KEY_H_
#define MTLLIB_SIGNING_SECRET_KEY_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "signing/signature.h"

namespace mtlsigning {

/// The key is wiped from memory when the object goes.
class SecretKey {
 public:
  /// A new one; none when the system has no random numbers.
  static std::optional<SecretKey> generate();

  SecretKey(const SecretKey& other) = default;
  SecretKey& operator=(const SecretKey& other) = default;
  ~SecretKey();

  PublicKey publicKey() const;

  /// Signs the content, through its digest, and the comment, which has one line.
  Signature sign(std::string_view content, std::string comment) const;

 private:
  friend class SecretKeyFile;

  SecretKey() = default;

  KeyId id_{};
  std::array<std::uint8_t, 64> bytes_{};  // The seed, then the public key.
};

/// What trying one password costs: scrypt's limits as libsodium has them, operations and bytes.
struct PasswordCost {
  std::uint64_t operations = 33554432;
  std::uint64_t memory = 1073741824;
};

/// The content of a file with a secret key.
class SecretKeyFile {
 public:
  /// Reads the two lines of a file; none for any other text.
  static std::optional<SecretKeyFile> parse(std::string_view text);

  /// The text of the file for a key, encrypted unless the password is empty. "" when there is not
  /// the memory to encrypt it.
  static std::string text(const SecretKey& key, std::string_view password,
                          const PasswordCost& cost = PasswordCost());

  bool isEncrypted() const { return isEncrypted_; }

  /// The key; otherwise none, and `problem` says why. The password is not looked at when the file
  /// is not encrypted.
  std::optional<SecretKey> open(std::string_view password, std::string& problem) const;

  SecretKeyFile(const SecretKeyFile& other) = default;
  SecretKeyFile& operator=(const SecretKeyFile& other) = default;
  ~SecretKeyFile();

 private:
  static constexpr std::size_t kSecretSize = 8 + 64 + 32;
  /// The key's id, the key, and a checksum.
  using Secret = std::array<std::uint8_t, kSecretSize>;
  using Salt = std::array<std::uint8_t, 32>;

  SecretKeyFile() = default;

  /// Encrypts or decrypts.
  static bool mask(Secret& secret, std::string_view password, const Salt& salt,
                   const PasswordCost& cost);

  bool isEncrypted_ = false;
  Salt salt_{};
  PasswordCost cost_{0, 0};
  Secret secret_{};
};

}  // namespace mtlsigning

#endif  // MTLLIB_SIGNING_SECRET_KEY_H_
