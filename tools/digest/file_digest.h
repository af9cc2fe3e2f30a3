// The size and the SHA-256 of a file's content.
#ifndef MTLLIB_TOOLS_DIGEST_FILE_DIGEST_H_
#define MTLLIB_TOOLS_DIGEST_FILE_DIGEST_H_

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

namespace digest {

struct FileDigest {
  /// The number of bytes that were digested.
  std::uint64_t size = 0;
  /// 64 hexadecimal digits.
  std::string sha256;
};

/// Reads the file once, in pieces.
std::error_code digestFile(const std::filesystem::path& file, FileDigest& digest);

}  // namespace digest

#endif  // MTLLIB_TOOLS_DIGEST_FILE_DIGEST_H_
