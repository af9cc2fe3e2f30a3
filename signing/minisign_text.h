// The text format of minisign's files: lines that are either comments or bytes in Base64.
#ifndef MTLLIB_SIGNING_MINISIGN_TEXT_H_
#define MTLLIB_SIGNING_MINISIGN_TEXT_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mtlsigning {

inline constexpr std::string_view kUntrustedStart = "untrusted comment: ";
inline constexpr std::string_view kTrustedStart = "trusted comment: ";

/// A text as libsodium takes it.
inline const std::uint8_t* bytesOf(std::string_view text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

/// The lines of a text in which every line, the last one too, ends in LF, or every one in CR LF.
/// None when the text is another one, or has a zero byte or a CR within a line.
std::optional<std::vector<std::string_view>> linesOf(std::string_view text);

/// Writes the bytes that `base64` stands for to `bytes`. False unless it stands for so many, in the
/// one way to write them.
bool readBase64(std::string_view base64, std::uint8_t* bytes, std::size_t size);

std::string base64Of(const std::uint8_t* bytes, std::size_t size);

/// Reads parts of a record one after the other.
class RecordReader {
 public:
  explicit RecordReader(const std::uint8_t* bytes) : next_(bytes) {}

  template <std::size_t kSize>
  std::array<std::uint8_t, kSize> take() {
    std::array<std::uint8_t, kSize> part;
    for (std::uint8_t& byte : part)
      byte = *next_++;
    return part;
  }

 private:
  const std::uint8_t* next_;
};

}  // namespace mtlsigning

#endif  // MTLLIB_SIGNING_MINISIGN_TEXT_H_
