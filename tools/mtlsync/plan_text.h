// What an update would do, in words for people.
#ifndef MTLLIB_TOOLS_MTLSYNC_PLAN_TEXT_H_
#define MTLLIB_TOOLS_MTLSYNC_PLAN_TEXT_H_

#include <string>
#include <vector>

#include "mtlhost/update.h"

namespace mtlsync {

/// The word that programs know it by: "fetched", "passedOver".
const char* nameOf(mtlhost::FileChange::Kind kind);

/// A line a file, in the plan's order, then the totals.
std::vector<std::string> planLines(const mtlhost::Plan& plan);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_PLAN_TEXT_H_
