// Carries out one run of the program, from its options to its result.
#ifndef MTLLIB_TOOLS_MTLSYNC_SYNC_RUN_H_
#define MTLLIB_TOOLS_MTLSYNC_SYNC_RUN_H_

#include "mtlsync/exit_status.h"
#include "mtlsync/options.h"

namespace mtlsync {

/// Does what the options say, reporting on the standard streams.
ExitStatus runSync(Options options);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_SYNC_RUN_H_
