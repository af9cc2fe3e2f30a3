// Makes the differences between the lists of a library's builds: from one build to the next and,
// by joining those, from any build to the newest.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LIST_DIFFERENCES_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LIST_DIFFERENCES_H_

#include <string>
#include <string_view>

#include "update/list_difference.h"

namespace mtlpublish {

mtlupdate::ListIdentity identityOf(std::string_view list);

/// From one list to the next: lines that both have, in the same order, are copied.
mtlupdate::ListDifference differenceBetween(std::string_view from, std::string_view to);

/// The difference from where `first` begins to where `second` ends. `second` begins where `first`
/// ends.
mtlupdate::ListDifference joined(const mtlupdate::ListDifference& first,
                                 const mtlupdate::ListDifference& second);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LIST_DIFFERENCES_H_
