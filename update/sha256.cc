// Digests as text. The arithmetic is the system's: see the other sources of this header.
#include "update/sha256.h"

#include <cstddef>

namespace mtlupdate {

namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

/// 16 for anything but a lower-case hexadecimal digit.
std::size_t valueOf(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<std::size_t>(digit - '0');
  return digit >= 'a' && digit <= 'f' ? static_cast<std::size_t>(digit - 'a') + 10 : 16;
}

}  // namespace

std::string hexText(const std::optional<Digest>& digest) {
  if (!digest) return "";
  std::string text(digest->size() * 2, '\0');
  for (std::size_t i = 0; i < digest->size(); ++i) {
    text[2 * i] = kDigits[(*digest)[i] >> 4U];
    text[2 * i + 1] = kDigits[(*digest)[i] & 15U];
  }
  return text;
}

std::optional<Digest> digestFrom(std::string_view hexText) {
  Digest digest{};
  if (hexText.size() != digest.size() * 2) return std::nullopt;
  for (std::size_t i = 0; i < digest.size(); ++i) {
    const std::size_t high = valueOf(hexText[2 * i]);
    const std::size_t low = valueOf(hexText[2 * i + 1]);
    if (high > 15 || low > 15) return std::nullopt;
    digest[i] = static_cast<std::uint8_t>(high * 16 + low);
  }
  return digest;
}

}  // namespace mtlupdate
