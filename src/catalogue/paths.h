// The rules that turn a library path into a local path or a URL path, and the copy that
// saves a stream into a file.
#ifndef MTLLIB_CATALOGUE_PATHS_H_
#define MTLLIB_CATALOGUE_PATHS_H_

#include <cstdint>
#include <string>

#include "mtllib/char_string.h"
#include "mtllib/error_chain.h"
#include "qutils/stream.h"

/// The text of a path. Throws std::bad_alloc when memory runs out: a CharString alone would
/// become empty, and a path that lost a part of itself names another file. So paths are put
/// together in standard strings, here and below.
QUtils::CharString toCharString(const std::string& path);

/// The canonical form of a path, with '\' as its separator: runs of separators become
/// one, "." and ".." are resolved as far as the text goes. Two leading separators (a
/// network path) stay, and so do a leading "." and a ".." with nothing before it; a ".."
/// directly behind a leading "." takes it along.
QUtils::CharString canonicalisePath(const char* path);

/// Percent-encodes every byte of a URL path but letters, digits, and "-._~/".
QUtils::CharString percentEncodePath(const char* path);

/// Whether `relative`, appended to a directory, names something below it: it never
/// climbs above the directory on its way, does not end at the directory itself, and has
/// no part that the system takes for a device, a drive or a stream of another file.
bool staysBelow(const char* relative);

/// Copies `size` bytes from the source's position, `chunkSize` bytes at a time (32,768
/// when below 1, at most 32 MiB). Ends early, without an error, at the source's end: the
/// two counters tell.
void copyStream(ErrorChain& error, QUtils::PStream& destination, QUtils::PStream& source,
                std::int64_t size, std::int64_t& bytesRead, std::int64_t& bytesWritten,
                std::int32_t chunkSize);

/// The chunk size of every file that is written.
constexpr std::int32_t kSaveChunkSize = 32768;

#endif  // MTLLIB_CATALOGUE_PATHS_H_
