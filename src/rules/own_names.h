// The names that clients use for files of their own in the folder of a local copy. A list that has
// one of them would put a file of the library in its place.
#ifndef MTLLIB_RULES_OWN_NAMES_H_
#define MTLLIB_RULES_OWN_NAMES_H_

#include <string>
#include <string_view>

namespace mtlrules {

/// The name of the stamp, which a client writes when a run is complete.
inline constexpr const char* kStampName = "id.txt";

/// The folder in which clients keep what they need between runs.
inline constexpr const char* kStateFolderName = ".mtllib";

/// Where the stamp is, relative to the library and to its local copy.
std::string stampName(std::string_view subPath);

/// Whether a file at `path`, relative to the folder of a local copy, gets in the way of what
/// clients write there themselves: it is the stamp, with the sub-path or without, something
/// below a folder of the stamp's name, a file in the place of one of the folders above the
/// stamp, or the folder ".mtllib" or something below it.
///
/// As strict as the least exact system: upper and lower case of ASCII letters are the same,
/// dots and blanks at the end of a name do not count, and Windows' short form of ".mtllib"
/// counts as well. Who fetches nothing without need can be strict everywhere.
bool isOwnName(std::string_view path, std::string_view subPath);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_OWN_NAMES_H_
