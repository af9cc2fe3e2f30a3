// A NamedKey is a public key that a user gives either as its text or as the file that holds it.
#ifndef MTLLIB_SIGNING_NAMED_KEY_H_
#define MTLLIB_SIGNING_NAMED_KEY_H_

#include <optional>
#include <string>
#include <system_error>

#include "signing/signature.h"

namespace mtlsigning {

struct NamedKey {
  std::optional<PublicKey> key{};
  /// Why what is not a key itself cannot be read as a file. Without it and a key, the file has
  /// none.
  std::error_code error{};
};

/// The key that `keyOrFile` is itself, or that the file of this name, in UTF-8, has.
NamedKey keyNamed(const std::string& keyOrFile);

}  // namespace mtlsigning

#endif  // MTLLIB_SIGNING_NAMED_KEY_H_
