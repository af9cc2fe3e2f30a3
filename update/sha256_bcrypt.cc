// Computes SHA-256 with the cryptography of Windows.
#include "platform/win32.h"
// After the above, whose types it needs.
#include <bcrypt.h>

#include <limits>

#include "update/sha256.h"

namespace mtlupdate {

struct Sha256::State {
  State() {
    ok = BCRYPT_SUCCESS(
             BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0)) &&
         BCRYPT_SUCCESS(BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0));
  }
  ~State() {
    if (hash != nullptr) BCryptDestroyHash(hash);
    if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
  bool ok = false;
};

Sha256::Sha256() = default;

Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&& other) noexcept = default;
Sha256& Sha256::operator=(Sha256&& other) noexcept = default;

void Sha256::update(std::string_view bytes) {
  if (state_ == nullptr) state_ = std::make_unique<State>();
  while (state_->ok && !bytes.empty()) {
    const std::string_view piece = bytes.substr(0, std::numeric_limits<ULONG>::max());
    // The call takes its input as writable and does not write to it.
    auto* input = reinterpret_cast<UCHAR*>(const_cast<char*>(piece.data()));
    state_->ok =
        BCRYPT_SUCCESS(BCryptHashData(state_->hash, input, static_cast<ULONG>(piece.size()), 0));
    bytes.remove_prefix(piece.size());
  }
}

std::optional<Digest> Sha256::finish() {
  update({});
  Digest digest{};
  if (!state_->ok ||
      !BCRYPT_SUCCESS(BCryptFinishHash(state_->hash, digest.data(), digest.size(), 0))) {
    return {};
  }
  return digest;
}

}  // namespace mtlupdate
