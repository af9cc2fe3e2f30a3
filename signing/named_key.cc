// Reads the key that a user names. A text that is not a key is taken for the name of a file.
#include "signing/named_key.h"

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>

namespace mtlsigning {

namespace {

/// In bytes: a file with a key has some 100.
constexpr std::size_t kLargestFile = 4096;

std::error_code readStart(const std::string& name, std::string& text) {
  try {
    errno = 0;
    std::ifstream file(std::filesystem::u8path(name), std::ios::binary);
    text.resize(kLargestFile);
    if (file) file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file && !file.eof()) return {errno != 0 ? errno : EIO, std::generic_category()};
    text.resize(static_cast<std::size_t>(file.gcount()));
    return {};
  } catch (const std::system_error& error) {
    return error.code();  // Not a name that this system can have.
  }
}

}  // namespace

NamedKey keyNamed(const std::string& keyOrFile) {
  NamedKey named{publicKeyFrom(keyOrFile)};
  if (named.key) return named;
  std::string text;
  named.error = readStart(keyOrFile, text);
  if (!named.error) named.key = publicKeyFrom(text);
  return named;
}

}  // namespace mtlsigning
