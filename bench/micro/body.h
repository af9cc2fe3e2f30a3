// Bodies of files, and the streams that hold them between download and saving.
#ifndef MTLLIB_BENCH_MICRO_BODY_H_
#define MTLLIB_BENCH_MICRO_BODY_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "plugin/downloader.h"
#include "qutils/mem_stream.h"
#include "qutils/stream_content.h"

using BodyStream = QUtils::PMemStreamGrowStep<16384>;

/// Bytes that tell their places apart.
inline std::string makeBody(std::size_t size) {
  std::string body(size, '?');
  for (std::size_t i = 0; i < size; ++i)
    body[i] = static_cast<char>(i ^ i >> 8 ^ i >> 16);
  return body;
}

/// Whether all of `body` could be written.
inline bool writeInPieces(QUtils::PStream& stream, const std::string& body, std::size_t piece) {
  for (std::size_t begin = 0; begin < body.size(); begin += piece) {
    const auto count = static_cast<std::uint32_t>(std::min(piece, body.size() - begin));
    if (stream.WriteBuffer(body.data() + begin, count)) return false;
  }
  return true;
}

/// Calls `take` with each chunk, of the size that saving reads. False when the stream fails.
template <typename Take>
bool readInChunks(QUtils::PStream& stream, std::vector<char>& chunk, Take take) {
  chunk.resize(kSaveChunkSize);
  if (stream.Seek(0)) return false;
  while (!stream.IsEof()) {
    std::uint32_t read = 0;
    if (stream.Read(chunk.data(), kSaveChunkSize, read)) return false;
    take(read);
  }
  return true;
}

/// Whether `stream` holds `body` and nothing else.
inline bool holds(QUtils::PStream& stream, const std::string& body) {
  if (stream.GetSize() != static_cast<std::int64_t>(body.size())) return false;
  std::vector<char> chunk;
  std::size_t begin = 0;
  bool isSame = true;
  const bool isRead = readInChunks(stream, chunk, [&](std::uint32_t count) {
    isSame = isSame && std::memcmp(chunk.data(), body.data() + begin, count) == 0;
    begin += count;
  });
  return isRead && isSame;
}

#endif  // MTLLIB_BENCH_MICRO_BODY_H_
