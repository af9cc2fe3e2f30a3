// Processes streams one chunk at a time, so that streams of any size need little memory.
#include "qutils/stream_content.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "mtllib/allocation.h"
#include "platform/utf.h"
#include "plugin/error_chain.h"

using QUtils::PStream;

namespace {

constexpr std::int32_t kDefaultChunk = 32768;
constexpr std::int32_t kLargestChunk = 33554432;
constexpr std::int32_t kCompareChunk = 16384;

}  // namespace

void copyStream(ErrorChain& error, PStream& destination, PStream& source, std::int64_t size,
                std::int64_t& bytesRead, std::int64_t& bytesWritten, std::int32_t chunkSize) {
  bytesRead = 0;
  bytesWritten = 0;
  if (size < 1) return;
  const std::int32_t chunk = chunkSize < 1 ? kDefaultChunk : std::min(chunkSize, kLargestChunk);
  const std::unique_ptr<void, Platform::FreeWithQfree> buffer(
      QUtils::qmalloc(static_cast<std::size_t>(chunk)));
  if (buffer == nullptr) {
    setError(error, "copyStream", -1, "Out of memory");
    return;
  }
  while (size > 0) {
    const auto wanted = static_cast<std::int32_t>(std::min<std::int64_t>(chunk, size));
    std::uint32_t read = 0;
    error = source.Read(buffer.get(), wanted, read);
    if (error) return;
    bytesRead += read;
    std::uint32_t written = 0;
    error = destination.Write(buffer.get(), read, written);
    if (error) return;
    bytesWritten += written;
    size -= written;
    if (read < static_cast<std::uint32_t>(wanted)) return;
  }
}

int compareStreams(ErrorChain& error, PStream& a, PStream& b) {
  if (error || a.GetSize() != b.GetSize()) return -1;
  error = a.Seek(0);
  if (!error) error = b.Seek(0);
  char bytesOfA[kCompareChunk];
  char bytesOfB[kCompareChunk];
  while (!error) {
    std::uint32_t countOfA = 0;
    std::uint32_t countOfB = 0;
    error = a.Read(bytesOfA, kCompareChunk, countOfA);
    if (!error) error = b.Read(bytesOfB, kCompareChunk, countOfB);
    if (error || countOfA != countOfB) return -1;
    if (countOfA == 0) return 0;
    if (std::memcmp(bytesOfA, bytesOfB, countOfA) != 0) return -1;
  }
  return -1;
}
