// Computes SHA-256 with the low-level functions of OpenSSL. OpenSSL recommends the EVP functions,
// but with those a program that links OpenSSL statically would contain all of its algorithms, which
// take four megabytes.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/sha.h>

#include "update/sha256.h"

namespace mtlupdate {

struct Sha256::State {
  SHA256_CTX context{};
  bool ok = SHA256_Init(&context) == 1;
};

Sha256::Sha256() = default;
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&& other) noexcept = default;
Sha256& Sha256::operator=(Sha256&& other) noexcept = default;

void Sha256::update(std::string_view bytes) {
  if (state_ == nullptr) state_ = std::make_unique<State>();
  state_->ok = state_->ok && SHA256_Update(&state_->context, bytes.data(), bytes.size()) == 1;
}

std::optional<Digest> Sha256::finish() {
  update({});
  Digest digest{};
  if (!state_->ok || SHA256_Final(digest.data(), &state_->context) != 1) return {};
  return digest;
}

}  // namespace mtlupdate
