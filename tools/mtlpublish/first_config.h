// Makes the first configuration of a library, for its publisher to edit.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_FIRST_CONFIG_H_
#define MTLLIB_TOOLS_MTLPUBLISH_FIRST_CONFIG_H_

#include <string>

#include "mtlpublish/tree_scan.h"

namespace mtlpublish {

/// The text of a configuration, with comments, for a library with these files: it says of them what
/// a publisher probably wants, and parseConfig() takes it. `name` is that of the library.
std::string firstConfig(const TreeScan& scan, const std::string& name);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_FIRST_CONFIG_H_
