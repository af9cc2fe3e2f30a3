// Names as systems compare them that do not tell upper from lower case.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_FOLD_CASE_H_
#define MTLLIB_TOOLS_MTLPUBLISH_FOLD_CASE_H_

#include <string>

namespace mtlpublish {

/// The code points in lower case, each for itself, by the system's own tables.
std::u32string foldCase(std::u32string text);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_FOLD_CASE_H_
