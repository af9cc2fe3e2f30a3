// Puts a file in the place of another.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_RENAME_OVER_H_
#define MTLLIB_TOOLS_MTLPUBLISH_RENAME_OVER_H_

#include <filesystem>
#include <system_error>

namespace mtlpublish {

/// Renames `file` to `target`, in the same folder, replacing what is there in one step, and
/// has both the content and the name on the disk before it returns. Where a file cannot be
/// replaced while somebody reads it, waits a moment for the reader to finish.
std::error_code renameOver(const std::filesystem::path& file, const std::filesystem::path& target);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_RENAME_OVER_H_
