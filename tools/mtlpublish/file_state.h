// What the system knows of a file without reading it.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_FILE_STATE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_FILE_STATE_H_

#include <cstdint>
#include <filesystem>
#include <system_error>

namespace mtlpublish {

/// Times are in nanoseconds since 1970, UTC, as exact as the file system keeps them.
struct FileState {
  std::uint64_t size = 0;
  /// When the content was last written; whoever may write the file may set it to anything.
  std::int64_t modified = 0;
  /// When anything about the file last changed; only the system sets it. 0 where the file
  /// system does not keep it.
  std::int64_t changed = 0;
  /// Tells the file from others on its volume.
  std::uint64_t id = 0;
};

inline bool operator==(const FileState& a, const FileState& b) {
  return a.size == b.size && a.modified == b.modified && a.changed == b.changed && a.id == b.id;
}

/// Follows symbolic links.
std::error_code readFileState(const std::filesystem::path& file, FileState& state);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_FILE_STATE_H_
