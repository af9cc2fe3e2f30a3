// Addresses of libraries, as people write them.
#ifndef MTLLIB_RULES_ADDRESS_H_
#define MTLLIB_RULES_ADDRESS_H_

#include <string>
#include <string_view>

namespace mtlrules {

/// `address` without the slashes at its end, unless they follow the scheme ("http://") or are
/// all there is. Below "http://host/" the names of files would begin with two slashes, and
/// servers may tell "//id.txt" from "/id.txt".
std::string withoutTrailingSlashes(std::string_view address);

}  // namespace mtlrules

#endif  // MTLLIB_RULES_ADDRESS_H_
