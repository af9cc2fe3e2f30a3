// Generates, reads and writes secret keys, and signs with them.
#include "signing/secret_key.h"

#include <sodium.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "signing/minisign_text.h"

namespace mtlsigning {

namespace {

constexpr std::array<std::uint8_t, 2> kEd25519{'E', 'd'};
constexpr std::array<std::uint8_t, 2> kScrypt{'S', 'c'};
constexpr std::array<std::uint8_t, 2> kNoEncryption{0, 0};
constexpr std::array<std::uint8_t, 2> kBlake2b{'B', '2'};
// minisign calls it encrypted even when it is not.
constexpr std::string_view kComment = "minisign encrypted secret key";
constexpr std::size_t kFileSize = 2 + 2 + 2 + 32 + 8 + 8 + 8 + 64 + 32;

using Checksum = std::array<std::uint8_t, 32>;

std::uint64_t numberOf(const std::array<std::uint8_t, 8>& bytes) {
  std::uint64_t number = 0;
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte)
    number = number << 8U | *byte;
  return number;
}

std::array<std::uint8_t, 8> recordOf(std::uint64_t number) {
  std::array<std::uint8_t, 8> bytes;
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(number & 255U);
    number >>= 8U;
  }
  return bytes;
}

// Of what comes before the checksum in the secret part, and of the algorithm.
Checksum checksumOf(const std::uint8_t* secret, std::size_t size) {
  Checksum checksum{};
  crypto_generichash_state state;
  crypto_generichash_init(&state, nullptr, 0, checksum.size());
  crypto_generichash_update(&state, kEd25519.data(), kEd25519.size());
  crypto_generichash_update(&state, secret, size);
  crypto_generichash_final(&state, checksum.data(), checksum.size());
  return checksum;
}

SignatureBytes signedBytes(std::string_view content, const std::array<std::uint8_t, 64>& key) {
  SignatureBytes signature{};
  crypto_sign_detached(signature.data(), nullptr, bytesOf(content), content.size(), key.data());
  return signature;
}

}  // namespace

SecretKey::~SecretKey() {
  sodium_memzero(bytes_.data(), bytes_.size());
}

std::optional<SecretKey> SecretKey::generate() {
  if (sodium_init() < 0) return std::nullopt;
  SecretKey key;
  std::array<std::uint8_t, 32> publicBytes{};
  randombytes_buf(key.id_.data(), key.id_.size());
  if (crypto_sign_keypair(publicBytes.data(), key.bytes_.data()) != 0) return std::nullopt;
  return key;
}

PublicKey SecretKey::publicKey() const {
  PublicKey key;
  key.id = id_;
  std::copy(bytes_.begin() + 32, bytes_.end(), key.bytes.begin());
  return key;
}

Signature SecretKey::sign(std::string_view content, std::string comment) const {
  std::string digest(crypto_generichash_BYTES_MAX, '\0');
  crypto_generichash(reinterpret_cast<std::uint8_t*>(digest.data()), digest.size(),
                     bytesOf(content), content.size(), nullptr, 0);
  Signature signature;
  signature.keyId = id_;
  signature.ofContent = signedBytes(digest, bytes_);
  signature.comment = std::move(comment);
  std::string all(signature.ofContent.begin(), signature.ofContent.end());
  signature.ofComment = signedBytes(all += signature.comment, bytes_);
  return signature;
}

SecretKeyFile::~SecretKeyFile() {
  sodium_memzero(secret_.data(), secret_.size());
}

bool SecretKeyFile::mask(Secret& secret, std::string_view password, const Salt& salt,
                         const PasswordCost& cost) {
  Secret stream;
  const bool isDone = crypto_pwhash_scryptsalsa208sha256(
                          stream.data(), stream.size(), password.data(), password.size(),
                          salt.data(), cost.operations, cost.memory) == 0;
  for (std::size_t i = 0; i < secret.size() && isDone; ++i)
    secret[i] ^= stream[i];
  sodium_memzero(stream.data(), stream.size());
  return isDone;
}

std::optional<SecretKeyFile> SecretKeyFile::parse(std::string_view text) {
  const auto lines = linesOf(text);
  std::array<std::uint8_t, kFileSize> bytes;
  if (!lines || lines->size() != 2 ||
      lines->front().substr(0, kUntrustedStart.size()) != kUntrustedStart ||
      !readBase64(lines->back(), bytes.data(), bytes.size())) {
    return std::nullopt;
  }
  RecordReader reader(bytes.data());
  const auto algorithm = reader.take<2>();
  const auto encryption = reader.take<2>();
  const auto checksum = reader.take<2>();
  const bool isKnown = algorithm == kEd25519 && checksum == kBlake2b &&
                       (encryption == kScrypt || encryption == kNoEncryption);
  SecretKeyFile file;
  file.isEncrypted_ = encryption == kScrypt;
  file.salt_ = reader.take<32>();
  file.cost_.operations = numberOf(reader.take<8>());
  file.cost_.memory = numberOf(reader.take<8>());
  file.secret_ = reader.take<kSecretSize>();
  sodium_memzero(bytes.data(), bytes.size());
  return isKnown ? std::optional<SecretKeyFile>(file) : std::nullopt;
}

std::string SecretKeyFile::text(const SecretKey& key, std::string_view password,
                                const PasswordCost& cost) {
  SecretKeyFile file;
  file.isEncrypted_ = !password.empty();
  auto* end = std::copy(key.id_.begin(), key.id_.end(), file.secret_.data());
  end = std::copy(key.bytes_.begin(), key.bytes_.end(), end);
  // minisign computes no checksum of a key that is not encrypted.
  if (file.isEncrypted_) {
    const Checksum checksum =
        checksumOf(file.secret_.data(), static_cast<std::size_t>(end - file.secret_.data()));
    std::copy(checksum.begin(), checksum.end(), end);
    file.cost_ = cost;
    randombytes_buf(file.salt_.data(), file.salt_.size());
    if (!mask(file.secret_, password, file.salt_, cost)) return {};
  }
  std::vector<std::uint8_t> bytes;
  bytes.reserve(kFileSize);
  const auto add = [&bytes](const auto& part) {
    bytes.insert(bytes.end(), part.begin(), part.end());
  };
  add(kEd25519);
  add(file.isEncrypted_ ? kScrypt : kNoEncryption);
  add(kBlake2b);
  add(file.salt_);
  add(recordOf(file.cost_.operations));
  add(recordOf(file.cost_.memory));
  add(file.secret_);
  std::string text = std::string(kUntrustedStart) + std::string(kComment) + '\n' +
                     base64Of(bytes.data(), bytes.size()) + '\n';
  sodium_memzero(bytes.data(), bytes.size());
  return text;
}

std::optional<SecretKey> SecretKeyFile::open(std::string_view password,
                                             std::string& problem) const {
  if (sodium_init() < 0) {
    problem = "cryptography does not work on this system";
    return std::nullopt;
  }
  SecretKeyFile file = *this;
  if (isEncrypted_ && !mask(file.secret_, password, salt_, cost_)) {
    problem = "there is not the memory that decrypting it takes";
    return std::nullopt;
  }
  RecordReader reader(file.secret_.data());
  SecretKey key;
  key.id_ = reader.take<8>();
  key.bytes_ = reader.take<64>();
  const Checksum checksum = reader.take<32>();
  const Checksum expected = checksumOf(file.secret_.data(), kSecretSize - checksum.size());
  if (checksum != expected && (isEncrypted_ || checksum != Checksum{})) {
    problem = isEncrypted_ ? "the password is wrong" : "the key is damaged";
    return std::nullopt;
  }
  // A public key that is not the seed's own would give the seed away with each signature.
  std::array<std::uint8_t, 32> publicBytes{};
  std::array<std::uint8_t, 64> bytes{};
  crypto_sign_seed_keypair(publicBytes.data(), bytes.data(), key.bytes_.data());
  const bool isWhole = bytes == key.bytes_;
  sodium_memzero(bytes.data(), bytes.size());
  if (!isWhole) {
    problem = "the key is damaged";
    return std::nullopt;
  }
  return key;
}

}  // namespace mtlsigning
