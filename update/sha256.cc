// Digests as text. The arithmetic is the system's: see the other sources of this header.
#include "update/sha256.h"

#include <cstddef>

namespace mtlupdate {

namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

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
  for (std::size_t i = 0; i < hexText.size(); ++i) {
    const std::size_t value = kDigits.find(hexText[i]);
    if (value == kDigits.npos) return std::nullopt;
    digest[i / 2] = static_cast<std::uint8_t>(std::size_t{digest[i / 2]} * 16 + value);
  }
  return digest;
}

}  // namespace mtlupdate
