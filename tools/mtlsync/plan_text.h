// Describes in words what an update will do or has done, and how a copy differs from its list.
#ifndef MTLLIB_TOOLS_MTLSYNC_PLAN_TEXT_H_
#define MTLLIB_TOOLS_MTLSYNC_PLAN_TEXT_H_

#include <string>
#include <vector>

#include "mtlhost/library.h"
#include "mtlhost/update.h"

namespace mtlsync {

/// The word that programs know it by: "fetched", "skipped".
const char* nameOf(mtlhost::FileChange::Kind kind);
/// "missing".
const char* nameOf(mtlhost::Difference::Kind kind);

/// For people, behind the path: "is missing".
std::string textOf(const mtlhost::Difference& difference);

/// What an update did besides fetching: a line for each kind. `detailed` adds how long it took to
/// put files in their places.
std::vector<std::string> changeLines(const mtlhost::Result& result, bool detailed);

/// A line a file, in the plan's order, then the totals.
std::vector<std::string> planLines(const mtlhost::Plan& plan);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_PLAN_TEXT_H_
