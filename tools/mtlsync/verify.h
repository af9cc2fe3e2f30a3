// Telling how the local copy differs from the library, without changing anything.
#ifndef MTLLIB_TOOLS_MTLSYNC_VERIFY_H_
#define MTLLIB_TOOLS_MTLSYNC_VERIFY_H_

#include "mtlhost/library.h"
#include "mtlsync/error_text.h"
#include "mtlsync/options.h"
#include "mtlsync/sync_observer.h"

namespace mtlsync {

/// Compares the stamp, through the library, and then every listed file, and tells the
/// observer of each difference. The result's code is 0 when there is none, 1 when there are
/// some; a failure, for a reason that the result, `problem` or the observer has, when it
/// could not be done.
mtlhost::Result verifyCopy(const Options& options, mtlhost::Library& library,
                           SyncObserver& observer, ErrorEntries& problem);

/// Tells the observer of the differences that the engine found.
void tellDifferences(const mtlhost::Result& result, SyncObserver& observer);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_VERIFY_H_
