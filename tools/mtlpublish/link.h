// Symbolic links, on systems where the standard library does not see them too.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LINK_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LINK_H_

#include <filesystem>
#include <system_error>

namespace mtlpublish {

/// True when `path` itself is a symbolic link, or a mount point that Windows takes for a
/// kind of link.
bool isLink(const std::filesystem::path& path);

/// The absolute path of what `path` stands for, which exists: without links, "." and
/// "..", and with the names as they are on the disk.
std::filesystem::path canonicalPath(const std::filesystem::path& path, std::error_code& error);

/// The same of a folder; an error when `path` is something else.
std::filesystem::path canonicalFolder(const std::filesystem::path& path, std::error_code& error);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LINK_H_
