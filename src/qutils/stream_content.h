// Copies and compares the contents of streams.
#ifndef MTLLIB_QUTILS_STREAM_CONTENT_H_
#define MTLLIB_QUTILS_STREAM_CONTENT_H_

#include <cstdint>

#include "mtllib/error_chain.h"
#include "qutils/stream.h"

/// Copies `size` bytes from the source's position, `chunkSize` bytes at a time (32,768
/// when below 1, at most 32 MiB). Ends early, without an error, at the source's end: the
/// two counters say how far it came.
void copyStream(ErrorChain& error, QUtils::PStream& destination, QUtils::PStream& source,
                std::int64_t size, std::int64_t& bytesRead, std::int64_t& bytesWritten,
                std::int32_t chunkSize);

/// Compares two streams byte for byte: 0 equal, -1 different or failed.
int compareStreams(ErrorChain& error, QUtils::PStream& a, QUtils::PStream& b);

#endif  // MTLLIB_QUTILS_STREAM_CONTENT_H_
