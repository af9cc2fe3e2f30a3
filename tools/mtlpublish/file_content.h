// Whole files in memory.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_FILE_CONTENT_H_
#define MTLLIB_TOOLS_MTLPUBLISH_FILE_CONTENT_H_

#include <filesystem>
#include <string>
#include <system_error>

namespace mtlpublish {

/// Reads the file; on an error `content` holds what came before.
std::error_code readContent(const std::filesystem::path& file, std::string& content);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_FILE_CONTENT_H_
