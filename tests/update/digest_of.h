// The digest of a content that a test makes up.
#ifndef MTLLIB_TESTS_UPDATE_DIGEST_OF_H_
#define MTLLIB_TESTS_UPDATE_DIGEST_OF_H_

#include <optional>
#include <string_view>

#include "update/sha256.h"

inline std::optional<mtlupdate::Digest> digestOf(std::string_view content) {
  mtlupdate::Sha256 sha256;
  sha256.update(content);
  return sha256.finish();
}

#endif  // MTLLIB_TESTS_UPDATE_DIGEST_OF_H_
