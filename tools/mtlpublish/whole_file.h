// Reads whole files into memory, replaces them atomically, and reports what the system says if
// that fails.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_WHOLE_FILE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_WHOLE_FILE_H_

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace mtlpublish {

/// Reads the file, of a longer one the first `limit` bytes; on an error `content` holds what came
/// before.
std::error_code readContent(const std::filesystem::path& file, std::string& content,
                            std::size_t limit = std::string::npos);

/// The content of the file, of a longer one the first `limit` bytes; "" when there is none, or it
/// cannot be read.
std::string contentOf(const std::filesystem::path& file, std::size_t limit = std::string::npos);

/// Gives the file `folder`/`name` a new content. A reader sees the old content or the
/// new one, whole, and so does one after the power was lost. When there was no error, the
/// new content is on the disk before anything that is written later. On an error the old
/// file is as it was, and nothing else is left in the folder.
std::error_code replaceFile(const std::filesystem::path& folder, std::string_view name,
                            std::string_view content);

/// What the error means, for the most common ones in the same words on every system.
std::string errorMessage(const std::error_code& error);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_WHOLE_FILE_H_
