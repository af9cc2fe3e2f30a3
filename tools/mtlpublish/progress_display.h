// Shows on a terminal how far the work has come.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_PROGRESS_DISPLAY_H_
#define MTLLIB_TOOLS_MTLPUBLISH_PROGRESS_DISPLAY_H_

#include "common/console.h"
#include "mtlpublish/work_progress.h"

namespace mtlpublish {

/// Draws the progress in the status line of `console`, which must outlive the result, at
/// most ten times a second; nothing unless on a terminal.
OnProgress shownOn(common::Console& console);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_PROGRESS_DISPLAY_H_
