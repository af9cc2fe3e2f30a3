// The rules for a library's paths: which file below a folder a listed path names, whether it stays
// inside that folder, and how it is written in a URL. All of this works on the text alone, without
// looking at the disk. '/' and '\' both separate names, on every system.
#ifndef MTLLIB_RULES_PATH_H_
#define MTLLIB_RULES_PATH_H_

#include <string>
#include <string_view>
#include <vector>

namespace mtlrules {

/// The names that the path consists of, "." and ".." among them; empty ones do not count.
std::vector<std::string_view> namesOf(std::string_view path);

/// The canonical form of a path, with '/' as its separator: runs of separators become one,
/// "." and ".." are resolved as far as the text goes. Two leading separators (a network path)
/// stay, and so do a leading "." and a ".." with nothing before it; a ".." directly behind a
/// leading "." takes it along.
std::string canonicalPath(std::string_view path);

/// The canonical path of `relative` in the folder `base`; "" when it begins with "..", that is
/// when it climbs above a base that is relative itself. No base gives a path from the root.
std::string joinedPath(std::string_view base, std::string_view relative);

/// The path in the one way to write it: with '/' only, without "." and "..", whatever folder
/// it is put in; "" when it does not stay below that.
std::string plainPath(std::string_view path);

/// Whether the path is written as plainPath() writes it, as most are; "" is not.
bool isPlain(std::string_view path);

/// Whether `path`, appended to a folder, names something below it: it never climbs above the
/// folder on its way and does not end at the folder itself. `onWindows`, it has no name either
/// that Windows takes for a device, a drive or a stream of another file.
bool staysBelow(std::string_view path, bool onWindows);

/// Percent-encodes every byte of a URL path but letters, digits, and "-._~/".
std::string percentEncoded(std::string_view path);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_PATH_H_
