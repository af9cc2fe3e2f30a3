// The files of the local copy, by the names that the library's list has for them.
#ifndef MTLLIB_TOOLS_MTLSYNC_LOCAL_COPY_H_
#define MTLLIB_TOOLS_MTLSYNC_LOCAL_COPY_H_

#include <filesystem>
#include <string>

#include "mtlsync/options.h"

namespace mtlsync {

/// A file of the local copy: as the user knows it, and as the system does.
struct LocalFile {
  std::string name;
  std::filesystem::path path;
};

/// Throws std::system_error for a name that this system cannot have.
LocalFile localFile(const Options& options, const std::string& name);

/// The stamp, which an ordinary run writes last.
LocalFile stampFile(const Options& options);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_LOCAL_COPY_H_
