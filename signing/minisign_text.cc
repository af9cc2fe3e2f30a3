// Reads and writes the lines of minisign's files.
#include "signing/minisign_text.h"

#include <sodium.h>

namespace mtlsigning {

std::optional<std::vector<std::string_view>> linesOf(std::string_view text) {
  const std::size_t firstEnd = text.find('\n');
  const bool hasReturns = firstEnd != text.npos && firstEnd > 0 && text[firstEnd - 1] == '\r';
  const std::string_view end = hasReturns ? "\r\n" : "\n";
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t length = text.find(end);
    if (length == text.npos) return std::nullopt;
    const std::string_view line = text.substr(0, length);
    if (line.find_first_of(std::string_view("\0\r\n", 3)) != line.npos) return std::nullopt;
    lines.push_back(line);
    text.remove_prefix(length + end.size());
  }
  return lines;
}

bool readBase64(std::string_view base64, std::uint8_t* bytes, std::size_t size) {
  std::size_t found = 0;
  // libsodium takes some bytes for others that they are not.
  return sodium_base642bin(bytes, size, base64.data(), base64.size(), nullptr, &found, nullptr,
                           sodium_base64_VARIANT_ORIGINAL) == 0 &&
         found == size && base64Of(bytes, size) == base64;
}

std::string base64Of(const std::uint8_t* bytes, std::size_t size) {
  // The length that libsodium knows counts the zero byte at the end.
  std::string text(sodium_base64_encoded_len(size, sodium_base64_VARIANT_ORIGINAL), '\0');
  sodium_bin2base64(text.data(), text.size(), bytes, size, sodium_base64_VARIANT_ORIGINAL);
  text.pop_back();
  return text;
}

}  // namespace mtlsigning
