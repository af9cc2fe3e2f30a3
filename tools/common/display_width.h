// Computes how many columns of a terminal a text takes.
#ifndef MTLLIB_TOOLS_COMMON_DISPLAY_WIDTH_H_
#define MTLLIB_TOOLS_COMMON_DISPLAY_WIDTH_H_

#include <string>
#include <string_view>

namespace common {

/// The columns of a text in valid UTF-8 without control characters. Terminals differ; it may
/// be more than one of them takes, hardly ever less.
int displayWidth(std::string_view text);

/// `text` cut to at most `columns` columns, which "..." then ends if there is room for that.
std::string elided(std::string_view text, int columns);

/// The same, with the end of the text kept and "..." in front: of a path the file's name.
std::string elidedFront(std::string_view text, int columns);

}  // namespace common

#endif  // MTLLIB_TOOLS_COMMON_DISPLAY_WIDTH_H_
