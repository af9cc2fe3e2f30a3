// Digests the contents of a library's files, reading no more of them than necessary.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_DIGEST_FILES_H_
#define MTLLIB_TOOLS_MTLPUBLISH_DIGEST_FILES_H_

#include <chrono>
#include <string>
#include <vector>

#include "mtlpublish/digest_cache.h"
#include "mtlpublish/system.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/work_progress.h"

namespace mtlpublish {

struct DigestedFile {
  LibraryFile file;
  /// Before it was read.
  FileState state;
  std::string sha256;
};

struct DigestedFiles {
  /// In the order of what was asked for.
  std::vector<DigestedFile> files;
  /// For the files that can be trusted not to have changed when they look the same.
  DigestCache cache;
  /// "PATH: what is wrong", for each file that could not be read.
  std::vector<std::string> problems;
};

/// Digests `files`, which are in bytewise order, except those that `known` knows. `start` is
/// not later than the present.
DigestedFiles digestFiles(std::vector<LibraryFile> files, const DigestCache& known,
                          std::chrono::system_clock::time_point start,
                          const OnProgress& onProgress);

/// "PATH: what is wrong", for each file that is not what it was when it was digested.
std::vector<std::string> changedSince(const std::vector<DigestedFile>& files);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_DIGEST_FILES_H_
