// Computes the SHA-256 of bytes that arrive in pieces. Digests are available as bytes and as text.
#ifndef MTLLIB_UPDATE_SHA256_H_
#define MTLLIB_UPDATE_SHA256_H_

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace mtlupdate {

/// The 32 bytes of a SHA-256.
using Digest = std::array<std::uint8_t, 32>;

/// The digest in 64 lower-case hexadecimal digits, as lists and staged files have it; "" for none.
std::string hexText(const std::optional<Digest>& digest);

/// The digest that such a text stands for; none for any other text.
std::optional<Digest> digestFrom(std::string_view hexText);

/// One object digests one content. Objects share nothing: each may be used by a thread of its own.
class Sha256 {
 public:
  Sha256();
  ~Sha256();
  Sha256(Sha256&& other) noexcept;
  Sha256& operator=(Sha256&& other) noexcept;

  void update(std::string_view bytes);

  /// The digest; none when the system's cryptography library refused to work. Nothing may follow.
  std::optional<Digest> finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_SHA256_H_
