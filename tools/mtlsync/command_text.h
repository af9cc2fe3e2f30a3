// Writes the command that does something else with the same library and copy.
#ifndef MTLLIB_TOOLS_MTLSYNC_COMMAND_TEXT_H_
#define MTLLIB_TOOLS_MTLSYNC_COMMAND_TEXT_H_

#include <string>

#include "mtlsync/options.h"

namespace mtlsync {

/// For a shell of either system: "mtlsync --repair URL DIR" for the option "--repair".
std::string commandWith(const std::string& option, const Options& options);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_COMMAND_TEXT_H_
