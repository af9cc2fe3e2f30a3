// Creates directory paths, and finds out what a path names.
#ifndef MTLLIB_QUTILS_FILE_SYSTEM_H_
#define MTLLIB_QUTILS_FILE_SYSTEM_H_

#include "mtllib/error_chain.h"
#include "platform/win32.h"

namespace QUtils {

/// Creates every missing level of `path` (UTF-8, '/' or '\'), the last included. Paths
/// of 260 bytes or more are refused. Levels made before a failure stay.
ErrorChain createPath(const char* path);

/// The same without the last component, which names a file, unless the path ends in a
/// separator.
ErrorChain createParentPath(const char* path);

/// What createPathImpl asks of the system. Tests answer in its place where a real file
/// system cannot be made to: a network share that refuses one level but not the next.
class DirectoryCalls {
 public:
  /// The attributes of `path`; INVALID_FILE_ATTRIBUTES when it names nothing.
  virtual DWORD attributes(const char* path) = 0;
  /// Makes the directory `path`: 0, or the system's error code.
  virtual DWORD create(const char* path) = 0;

 protected:
  ~DirectoryCalls() = default;
};

ErrorChain createPathImpl(const char* path, bool createLast);
ErrorChain createPathImpl(const char* path, bool createLast, DirectoryCalls& system);

/// Whether `path` names anything, a file or a directory.
bool pathExists(const char* path);

/// Whether `path` names a directory; false for null.
bool isDirectory(const char* path);

}  // namespace QUtils

#endif  // MTLLIB_QUTILS_FILE_SYSTEM_H_
