// Making good what an ordinary run takes for complete.
#ifndef MTLLIB_TOOLS_MTLSYNC_REPAIR_H_
#define MTLLIB_TOOLS_MTLSYNC_REPAIR_H_

#include <string>
#include <vector>

#include "library_list/listed_files.h"
#include "mtlsync/error_text.h"
#include "mtlsync/options.h"
#include "mtlsync/sync_observer.h"

namespace mtlsync {

/// Fetches the library's list and removes the local files that differ from it in size or
/// content and, when any file differs or is missing, the local stamp, so that the run that
/// follows fetches whatever is missing. False when it must not follow, for a reason that is in
/// `problem` or known to the observer.
bool prepareRepair(const Options& options, SyncObserver& observer, ErrorEntries& problem);

/// The part of the above that needs no network.
bool removeDamaged(const Options& options, const std::vector<library_list::ListedFile>& files,
                   SyncObserver& observer, ErrorEntries& problem);

/// What a repair that left something as it is ends with.
std::string leftText(const RunRecord& record);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_REPAIR_H_
