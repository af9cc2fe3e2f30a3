// Converts digests to and from text. sha256_openssl.cc and sha256_bcrypt.cc compute them.
#include "update/sha256.h"

#include <cstddef>

namespace mtlupdate {

namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

constexpr unsigned kNoDigit = 16;

/// What each character stands for. Digits come in no order, so that asking what each is would be
/// guessed wrong half of the time.
constexpr std::array<std::uint8_t, 256> makeValues() {
  std::array<std::uint8_t, 256> values{};
  for (std::uint8_t& value : values)
    value = kNoDigit;
  for (std::size_t i = 0; i < kDigits.size(); ++i)
    values[static_cast<unsigned char>(kDigits[i])] = static_cast<std::uint8_t>(i);
  return values;
}

constexpr std::array<std::uint8_t, 256> kValues = makeValues();

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
  unsigned all = 0;
  for (std::size_t i = 0; i < digest.size(); ++i) {
    const unsigned high = kValues[static_cast<unsigned char>(hexText[2 * i])];
    const unsigned low = kValues[static_cast<unsigned char>(hexText[2 * i + 1])];
    all |= high | low;
    digest[i] = static_cast<std::uint8_t>(high << 4U | low);
  }
  return (all & kNoDigit) == 0 ? std::optional(digest) : std::nullopt;
}

}  // namespace mtlupdate
