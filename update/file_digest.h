// Computes the size and the SHA-256 of a file's content.
#ifndef MTLLIB_UPDATE_FILE_DIGEST_H_
#define MTLLIB_UPDATE_FILE_DIGEST_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <system_error>

#include "update/sha256.h"

namespace mtlupdate {

struct FileDigest {
  /// The number of bytes that were digested.
  std::uint64_t size = 0;
  /// None until it is known.
  std::optional<Digest> sha256;
};

/// Reads the file once, in pieces. After each, `shouldContinue` is asked, with the bytes so far;
/// when it answers false, the error is operation_canceled.
std::error_code digestFile(const std::filesystem::path& file, FileDigest& digest,
                           const std::function<bool(std::uint64_t)>& shouldContinue = {});

}  // namespace mtlupdate

#endif  // MTLLIB_UPDATE_FILE_DIGEST_H_
