// Decides which names published files may have.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_FILE_NAME_H_
#define MTLLIB_TOOLS_MTLPUBLISH_FILE_NAME_H_

#include <filesystem>
#include <string>
#include <string_view>

namespace mtlpublish {

/// The last component of `path` in UTF-8; bytes that are not UTF-8 are kept as they are.
std::string fileName(const std::filesystem::path& path);

/// Why no client can hold a file or folder of this name, in words that follow
/// "NAME: "; empty when every client can.
std::string nameProblem(std::string_view name);

/// The same for all paths that some system takes for one: where upper and lower case make no
/// difference, nor the ways to write an accent. `path` is UTF-8.
std::string foldedPath(const std::string& path);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_FILE_NAME_H_
