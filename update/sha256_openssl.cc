// OpenSSL does the arithmetic.
#include "update/sha256.h"

#include <openssl/evp.h>

namespace mtlupdate {

struct Sha256::State {
  State() = default;
  ~State() { EVP_MD_CTX_free(context); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  EVP_MD_CTX* context = EVP_MD_CTX_new();
  bool ok = context != nullptr && EVP_DigestInit_ex(context, EVP_sha256(), nullptr) == 1;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&& other) noexcept = default;
Sha256& Sha256::operator=(Sha256&& other) noexcept = default;

void Sha256::update(std::string_view bytes) {
  state_->ok = state_->ok && EVP_DigestUpdate(state_->context, bytes.data(), bytes.size()) == 1;
}

std::optional<Digest> Sha256::finish() {
  Digest digest{};
  if (!state_->ok || EVP_DigestFinal_ex(state_->context, digest.data(), nullptr) != 1) return {};
  return digest;
}

}  // namespace mtlupdate
