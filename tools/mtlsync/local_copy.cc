// The stamp lies below the sub-path; the list names the other files as they are.
#include "mtlsync/local_copy.h"

#include "rules/own_names.h"
#include "rules/path.h"

namespace mtlsync {

LocalFile localFile(const Options& options, const std::string& name) {
  return {name, std::filesystem::u8path(mtlrules::joinedPath(options.directory, name))};
}

LocalFile stampFile(const Options& options) {
  return localFile(options, mtlrules::stampName(options.subPath));
}

}  // namespace mtlsync
