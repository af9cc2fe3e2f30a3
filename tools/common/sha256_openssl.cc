// OpenSSL does the arithmetic.
#include "common/sha256.h"

#include <openssl/evp.h>

#include <array>

namespace common {

struct Sha256::State {
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  bool ok = context != nullptr && EVP_DigestInit_ex(context, EVP_sha256(), nullptr) == 1;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}

Sha256::~Sha256() {
  EVP_MD_CTX_free(state_->context);
}

void Sha256::update(std::string_view bytes) {
  state_->ok = state_->ok && EVP_DigestUpdate(state_->context, bytes.data(), bytes.size()) == 1;
}

std::string Sha256::finish() {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (!state_->ok || EVP_DigestFinal_ex(state_->context, digest.data(), &size) != 1) return {};
  std::string text;
  for (unsigned int i = 0; i < size; ++i) {
    text += "0123456789abcdef"[digest[i] >> 4U];
    text += "0123456789abcdef"[digest[i] & 15U];
  }
  return text;
}

}  // namespace common
