// Where the plug-in is.
#ifndef MTLLIB_TOOLS_MTLSYNC_MODULE_SEARCH_H_
#define MTLLIB_TOOLS_MTLSYNC_MODULE_SEARCH_H_

#include <string>
#include <vector>

#include "mtlsync/error_text.h"

namespace mtlsync {

/// Where a program in `programFolder` looks for the module, in this order.
std::vector<std::string> moduleCandidates(const std::string& programFolder);

/// The first of `candidates` that exists; "", with the reason in `problem`, when none does.
std::string firstExisting(const std::vector<std::string>& candidates, ErrorEntries& problem);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_MODULE_SEARCH_H_
