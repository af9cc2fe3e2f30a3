// Resolves folders to paths without links, and finds out which paths are within a folder.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_CONTAINED_PATH_H_
#define MTLLIB_TOOLS_MTLPUBLISH_CONTAINED_PATH_H_

#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

namespace mtlpublish {

/// The canonical path of a folder (see canonicalPath()); an error when `path` is something
/// else.
std::filesystem::path canonicalFolder(const std::filesystem::path& path, std::error_code& error);

/// True when `path` is `folder` or below it. Both are canonical.
bool liesWithin(const std::filesystem::path& path, const std::filesystem::path& folder);

/// The regular file that `name` (UTF-8, separated by '/', leading ones ignored) stands
/// for below `root`, which is canonical. None when there is no such file, when it is
/// outside `root`, be it through a symbolic link, and when `name` has a component of two
/// dots, a backslash or a zero byte.
std::optional<std::filesystem::path> fileWithin(const std::filesystem::path& root,
                                                std::string_view name);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_CONTAINED_PATH_H_
