// Formats progress as one line.
#ifndef MTLLIB_TOOLS_MTLSYNC_PROGRESS_LINE_H_
#define MTLLIB_TOOLS_MTLSYNC_PROGRESS_LINE_H_

#include <string>

#include "mtlhost/progress.h"

namespace mtlsync {

/// One line of at most `columns` columns, with as much as fits of: the phase, a bar, per
/// cent, megabytes, rate, remaining time and, with its front cut, the file. What is shown
/// depends on the width, not on the file, so that a line keeps its shape.
///
/// `file` is the one that was begun last; "" when it is not known.
std::string progressLine(const mtlhost::Progress& progress, const std::string& file, int columns);

/// The same in a few words, for a log: "Downloading files: 30 % (5.7 of 19 MB)".
std::string progressNote(const mtlhost::Progress& progress);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_PROGRESS_LINE_H_
