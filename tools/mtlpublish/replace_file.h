// Writes files that are being read by others.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_REPLACE_FILE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_REPLACE_FILE_H_

#include <filesystem>
#include <string_view>
#include <system_error>

namespace mtlpublish {

/// Gives the file `folder`/`name` a new content. A reader sees the old content or the
/// new one, whole, and so does one after the power was lost. When there was no error, the
/// new content is on the disk before anything that is written later. On an error the old
/// file is as it was, and nothing else is left in the folder.
std::error_code replaceFile(const std::filesystem::path& folder, std::string_view name,
                            std::string_view content);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_REPLACE_FILE_H_
