// Files that minisign 0.11 made: a key without password with its signatures of "hi\n", and a key
// with one.
#ifndef MTLLIB_TESTS_SIGNING_MINISIGN_FILES_H_
#define MTLLIB_TESTS_SIGNING_MINISIGN_FILES_H_

#include <string>

namespace minisign_files {

inline const std::string kContent = "hi\n";

inline const std::string kPublicKeyText =
    "RWQfZivvmonfq3MbJyOxZdr872lP3Jqoyye7inorPmTdTYH7VDKMjbj2";

inline const std::string kPublicKey =
    "untrusted comment: minisign public key ABDF899AEF2B661F\n" + kPublicKeyText + "\n";

inline const std::string kSecretKey =
    "untrusted comment: minisign encrypted secret key\n"
    "RWQAAEIyAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAH2Yr75qJ36t/POvmgk4+"
    "ndm4wXaOeJhwSnoY9k2X6jWjyJWypvYseHMbJyOxZdr872lP3Jqoyye7inorPmTdTYH7VDKMjbj2AAAAAAAAAAAAAAAAAA"
    "AAAAAAAAAAAAAAAAAAAAAAAAA=\n";

/// Of the content's digest.
inline const std::string kSignature =
    "untrusted comment: signature from minisign secret key\n"
    "RUQfZivvmonfq2bdeKRv0YIghAPEE2gHznhut0fyhO5/"
    "SQKNe9zQxkeWAD71WnMT9penYp23pWxPCwOk2h8c4vSGixaXYyUzdws=\n"
    "trusted comment: library: x; serial: 1\n"
    "bmrAYV19LTnuEs1B8cm3fIt7BhwFZjL1b4TYJAL8fCjfhBUug0a6oMe3XGUniMHDH+"
    "kDU5b7VjZKCd+0DAe2Dg==\n";

/// Of the content itself, as minisign -l makes it.
inline const std::string kSignatureOfContent =
    "untrusted comment: signature from minisign secret key\n"
    "RWQfZivvmonfqzb5yKa2Vqn6CcIgy4gHJJjCjJ7WBMGVM8wJFRvHAUlY0cOnoIXUNuA9JVitRkFdKE0HPCHCA8FtEOPZRZ"
    "nS8AM=\n"
    "trusted comment: x\n"
    "pFLdJiB9qTVUnjSMP6gZjFqIxAE/wPY8hlJhhyqvta4/"
    "0jCbOzmSk9OdKrit8/bwL4wleYG0N/3Iqu81idAMAw==\n";

/// With the password "word", as it is encrypted when minisign makes a key.
inline const std::string kEncryptedKey =
    "untrusted comment: minisign encrypted secret key\n"
    "RWRTY0IyXj+JJpgB75C++0r3RzbIpb9XCrUEPQK4+mtcF1wyTvIAAAACAAAAAAAAAEAAAAAABEGkCHzdlSRgQdRwSa"
    "jdr5fOLsfPjACr5kzwII5IBPjGfhweicsUmrS0dYXIDQvxF7Rxoufug4TczvNb4IuVxMsTJKll2M/eFRDMLgU6XlCW"
    "tZVcvRY0w8+5cqj38vdWFmT/gHP2cPo=\n";

inline const std::string kPublicKeyOfEncrypted =
    "RWQ7/LO2P0wjrGhWdLrPeKiOA9PTYmn/VGMfzRlHoPlzKjfaoVFcpPt4";

}  // namespace minisign_files

#endif  // MTLLIB_TESTS_SIGNING_MINISIGN_FILES_H_
