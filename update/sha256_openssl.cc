// OpenSSL does the arithmetic.
#include "update/sha256.h"

#include <openssl/evp.h>

namespace mtlupdate {

namespace {

/// Looking for it again for each digest would take longer than digesting a small file.
const EVP_MD* sha256() {
  static const EVP_MD* const kFound = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  return kFound;
}

}  // namespace

struct Sha256::State {
  State() = default;
  ~State() { EVP_MD_CTX_free(context); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  EVP_MD_CTX* context = EVP_MD_CTX_new();
  bool ok = context != nullptr && sha256() != nullptr &&
            EVP_DigestInit_ex(context, sha256(), nullptr) == 1;
};

Sha256::Sha256() = default;
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&& other) noexcept = default;
Sha256& Sha256::operator=(Sha256&& other) noexcept = default;

void Sha256::update(std::string_view bytes) {
  if (state_ == nullptr) state_ = std::make_unique<State>();
  state_->ok = state_->ok && EVP_DigestUpdate(state_->context, bytes.data(), bytes.size()) == 1;
}

std::optional<Digest> Sha256::finish() {
  update({});
  Digest digest{};
  if (!state_->ok || EVP_DigestFinal_ex(state_->context, digest.data(), nullptr) != 1) return {};
  return digest;
}

}  // namespace mtlupdate
