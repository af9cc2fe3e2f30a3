// Says which names Windows can hold. The rule works on the text alone, on any system.
#ifndef MTLLIB_RULES_WINDOWS_NAMES_H_
#define MTLLIB_RULES_WINDOWS_NAMES_H_

#include <string_view>

namespace mtlrules {

/// Whether Windows takes `name`, one component of a path and neither "." nor "..", for a
/// file or folder of the folder it stands in.
bool isOrdinaryOnWindows(std::string_view name);

/// Whether Windows can hold a file of that very name, too: some characters it refuses, and
/// from the end it drops some.
bool isHeldByWindows(std::string_view name);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_WINDOWS_NAMES_H_
