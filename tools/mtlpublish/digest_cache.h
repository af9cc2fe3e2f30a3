// A DigestCache records the contents that files were found to have, so that a later build need not
// read them again.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_DIGEST_CACHE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_DIGEST_CACHE_H_

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "mtlpublish/system.h"

namespace mtlpublish {

/// Digests of files, each with the state that the file was in.
class DigestCache {
 public:
  /// Reads what text() made. Empty when anything else is found, be it one byte.
  static DigestCache parse(std::string_view text);

  std::string text() const;

  /// The digest of the file when it is in the very same state; "" when it is not.
  std::string find(std::string_view path, const FileState& state) const;

  /// Paths are added in their bytewise order and have no line break; digests are 64
  /// hexadecimal digits.
  void add(const std::string& path, const FileState& state, const std::string& sha256);

  bool empty() const { return entries_.empty(); }

 private:
  struct Entry {
    std::string path;
    FileState state;
    std::string sha256;
  };
  std::vector<Entry> entries_;
};

/// Whether a file in this state, read at `now` or later, can be written again without
/// its state becoming another one. It can while its times are about `now`: file systems
/// count time in steps, of two seconds at worst.
bool mayChangeUnseen(const FileState& state, std::chrono::system_clock::time_point now);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_DIGEST_CACHE_H_
