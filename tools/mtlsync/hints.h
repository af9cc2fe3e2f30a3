// Suggests what the user can do next.
#ifndef MTLLIB_TOOLS_MTLSYNC_HINTS_H_
#define MTLLIB_TOOLS_MTLSYNC_HINTS_H_

#include <string>

#include "mtlsync/error_text.h"
#include "mtlsync/options.h"
#include "mtlsync/sync_observer.h"

namespace mtlsync {

/// The command that does something else with the same library and copy, for a shell of
/// either system: "mtlsync --repair URL DIR" for the option "--repair".
std::string commandWith(const std::string& option, const Options& options);

/// One line for whoever learnt of differences: what fixes them.
std::string hintForDifferences(const Options& options);

/// One line for whoever met the failure; "" when there is nothing to add.
std::string hintFor(const ErrorEntries& errors, const Options& options);

/// The same where the errors alone give no hint, but the kind of the failure does.
std::string hintFor(mtlhost::Result::Failure failure, const ErrorEntries& errors,
                    const Options& options);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_HINTS_H_
