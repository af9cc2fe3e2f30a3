// Texts from elsewhere made fit to be printed. File names and messages may come from a
// server that cannot be trusted.
#ifndef MTLLIB_TOOLS_MTLSYNC_PRINTABLE_H_
#define MTLLIB_TOOLS_MTLSYNC_PRINTABLE_H_

#include <string>
#include <string_view>

namespace mtlsync {

/// `text` as one line that leaves a terminal alone: valid UTF-8, no blanks at the ends,
/// line breaks and tabs with the blanks around them made one blank, other control
/// characters written as "\x1B".
std::string printableLine(std::string_view text);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_PRINTABLE_H_
