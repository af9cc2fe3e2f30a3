// Reads, writes and checks signatures and public keys.
#include "signing/signature.h"

#include <sodium.h>

#include <algorithm>

#include "signing/minisign_text.h"

namespace mtlsigning {

namespace {

// What minisign writes when no other comment is asked for.
constexpr std::string_view kFirstLine = "untrusted comment: signature from minisign secret key";

// How keys and signatures begin.
constexpr std::array<std::uint8_t, 2> kOfContent{'E', 'd'};
constexpr std::array<std::uint8_t, 2> kOfDigest{'E', 'D'};

constexpr std::size_t kKeySize = 2 + 8 + 32;
constexpr std::size_t kSignatureSize = 2 + 8 + 64;

bool isSigned(const SignatureBytes& signature, const PublicKey& key, std::string_view content) {
  return sodium_init() >= 0 && crypto_sign_verify_detached(signature.data(), bytesOf(content),
                                                           content.size(), key.bytes.data()) == 0;
}

// "AB…" of the parts, in Base64.
template <class... Parts>
std::string record(const Parts&... parts) {
  std::vector<std::uint8_t> bytes;
  (bytes.insert(bytes.end(), parts.begin(), parts.end()), ...);
  return base64Of(bytes.data(), bytes.size());
}

}  // namespace

std::string idText(const KeyId& id) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string text;
  // It is a number, whose least byte comes first.
  for (auto byte = id.rbegin(); byte != id.rend(); ++byte) {
    text += kDigits[*byte >> 4U];
    text += kDigits[*byte & 15U];
  }
  return text;
}

bool operator==(const PublicKey& left, const PublicKey& right) {
  return left.id == right.id && left.bytes == right.bytes;
}

std::optional<PublicKey> publicKeyFrom(std::string_view text) {
  std::string_view base64 = text;
  if (const auto lines = linesOf(text); lines && !lines->empty()) {
    const bool isFile =
        lines->size() == 2 && lines->front().substr(0, kUntrustedStart.size()) == kUntrustedStart;
    if (!isFile && lines->size() != 1) return std::nullopt;
    base64 = lines->back();
  }
  std::array<std::uint8_t, kKeySize> bytes;
  if (!readBase64(base64, bytes.data(), bytes.size())) return std::nullopt;
  RecordReader reader(bytes.data());
  if (reader.take<2>() != kOfContent) return std::nullopt;
  PublicKey key;
  key.id = reader.take<8>();
  key.bytes = reader.take<32>();
  return key;
}

std::string publicKeyText(const PublicKey& key) {
  return record(kOfContent, key.id, key.bytes);
}

std::string publicKeyFile(const PublicKey& key) {
  return std::string(kUntrustedStart) + "minisign public key " + idText(key.id) + '\n' +
         publicKeyText(key) + '\n';
}

const PublicKey* findKey(const std::vector<PublicKey>& keys, const KeyId& id) {
  const auto key = std::find_if(keys.begin(), keys.end(),
                                [&id](const PublicKey& candidate) { return candidate.id == id; });
  return key == keys.end() ? nullptr : &*key;
}

bool looksSigned(std::string_view text) {
  return text.substr(0, kUntrustedStart.size()) == kUntrustedStart;
}

std::optional<Signature> signatureFrom(std::string_view text, std::string& problem) {
  if (text.size() > kLargestSignature) {
    problem = "is longer than 64 KiB";
    return std::nullopt;
  }
  if (!looksSigned(text)) {
    problem = "is not signed";
    return std::nullopt;
  }
  problem = "is not a whole signature";
  const auto lines = linesOf(text);
  if (!lines || lines->size() != 4) return std::nullopt;
  if ((*lines)[0] != kFirstLine) {
    problem = "begins with another untrusted comment than minisign's own, \"" +
              std::string(kFirstLine) + "\"";
    return std::nullopt;
  }
  const std::string_view comment = (*lines)[2];
  std::array<std::uint8_t, kSignatureSize> bytes;
  Signature signature;
  if (!readBase64((*lines)[1], bytes.data(), bytes.size()) ||
      comment.substr(0, kTrustedStart.size()) != kTrustedStart ||
      !readBase64((*lines)[3], signature.ofComment.data(), signature.ofComment.size())) {
    return std::nullopt;
  }
  RecordReader reader(bytes.data());
  const auto algorithm = reader.take<2>();
  if (algorithm != kOfContent && algorithm != kOfDigest) return std::nullopt;
  signature.isOfDigest = algorithm == kOfDigest;
  signature.keyId = reader.take<8>();
  signature.ofContent = reader.take<64>();
  signature.comment = comment.substr(kTrustedStart.size());
  problem.clear();
  return signature;
}

std::string signatureFile(const Signature& signature) {
  const auto& algorithm = signature.isOfDigest ? kOfDigest : kOfContent;
  return std::string(kFirstLine) + '\n' + record(algorithm, signature.keyId, signature.ofContent) +
         '\n' + std::string(kTrustedStart) + signature.comment + '\n' +
         record(signature.ofComment) + '\n';
}

bool isCommentSigned(const Signature& signature, const PublicKey& key) {
  std::string content(signature.ofContent.begin(), signature.ofContent.end());
  content += signature.comment;
  return signature.keyId == key.id && isSigned(signature.ofComment, key, content);
}

struct ContentCheck::State {
  Signature signature;
  PublicKey key;
  crypto_generichash_state digest{};
  std::string content{};
  bool ok = sodium_init() >= 0 &&
            crypto_generichash_init(&digest, nullptr, 0, crypto_generichash_BYTES_MAX) == 0;
};

ContentCheck::ContentCheck(const Signature& signature, const PublicKey& key)
    : state_(new State{signature, key}) {}
ContentCheck::~ContentCheck() = default;
ContentCheck::ContentCheck(ContentCheck&& other) noexcept = default;
ContentCheck& ContentCheck::operator=(ContentCheck&& other) noexcept = default;

void ContentCheck::update(std::string_view bytes) {
  if (state_->signature.isOfDigest) {
    state_->ok =
        state_->ok && crypto_generichash_update(&state_->digest, bytesOf(bytes), bytes.size()) == 0;
  } else {
    state_->content += bytes;
  }
}

bool ContentCheck::finish() {
  if (!state_->ok || state_->signature.keyId != state_->key.id) return false;
  if (state_->signature.isOfDigest) {
    state_->content.resize(crypto_generichash_BYTES_MAX);
    auto* const digest = reinterpret_cast<std::uint8_t*>(state_->content.data());
    if (crypto_generichash_final(&state_->digest, digest, state_->content.size()) != 0)
      return false;
  }
  return isSigned(state_->signature.ofContent, state_->key, state_->content);
}

bool isContentSigned(const Signature& signature, const PublicKey& key, std::string_view content) {
  ContentCheck check(signature, key);
  check.update(content);
  return check.finish();
}

}  // namespace mtlsigning
