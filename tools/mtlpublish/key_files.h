// Reads and writes the files that hold keys and their passwords.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_KEY_FILES_H_
#define MTLLIB_TOOLS_MTLPUBLISH_KEY_FILES_H_

#include <optional>
#include <string>

#include "signing/secret_key.h"
#include "signing/signature.h"

namespace mtlpublish {

/// Where the password of a secret key comes from.
struct PasswordSource {
  bool isNone = false;  ///< There is none.
  std::string file{};   ///< Its first line; "-" for standard input, "" for the terminal.
};

/// Makes the files NAME.key and NAME.pub, neither of which is there yet. The first one is
/// encrypted, unless the source is none, and only the user may read it. Returns what is wrong; ""
/// and the public key when nothing is.
std::string makeKeyPair(const std::string& name, const PasswordSource& password,
                        mtlsigning::PublicKey& key);

/// The secret key in a file, which must not be in the folder that is published; otherwise none,
/// and `problem` says why.
std::optional<mtlsigning::SecretKey> readSecretKey(const std::string& file,
                                                   const PasswordSource& password,
                                                   const std::string& publishedFolder,
                                                   std::string& problem);

/// The public key that `keyOrFile` is itself, or that the file of this name has.
std::optional<mtlsigning::PublicKey> readPublicKey(const std::string& keyOrFile,
                                                   std::string& problem);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_KEY_FILES_H_
