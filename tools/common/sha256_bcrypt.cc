// SHA-256 by Windows' own cryptography.
#include "platform/win32.h"
// After the above, whose types it needs.
#include <bcrypt.h>

#include <array>
#include <limits>

#include "common/sha256.h"

namespace common {

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

Sha256::Sha256() : state_(std::make_unique<State>()) {}

Sha256::~Sha256() = default;

void Sha256::update(std::string_view bytes) {
  while (state_->ok && !bytes.empty()) {
    const std::string_view piece = bytes.substr(0, std::numeric_limits<ULONG>::max());
    // The call takes its input as writable and does not write to it.
    auto* input = reinterpret_cast<UCHAR*>(const_cast<char*>(piece.data()));
    state_->ok =
        BCRYPT_SUCCESS(BCryptHashData(state_->hash, input, static_cast<ULONG>(piece.size()), 0));
    bytes.remove_prefix(piece.size());
  }
}

std::string Sha256::finish() {
  std::array<UCHAR, 32> digest{};
  if (!state_->ok ||
      !BCRYPT_SUCCESS(BCryptFinishHash(state_->hash, digest.data(), digest.size(), 0))) {
    return {};
  }
  std::string text;
  for (const UCHAR byte : digest) {
    text += "0123456789abcdef"[byte >> 4U];
    text += "0123456789abcdef"[byte & 15U];
  }
  return text;
}

}  // namespace common
