// A PMemStream is a stream in memory: a linked list of blocks of equal size.
#ifndef MTLLIB_QUTILS_MEM_STREAM_H_
#define MTLLIB_QUTILS_MEM_STREAM_H_

#include <cstdint>

#include "qutils/stream.h"

namespace QUtils {

/// One block; byte p of the stream is in block p / blockSize at p % blockSize.
struct MemBlock {
  char* data;
  MemBlock* next;
};

/// The data of many blocks of a long stream, allocated at once.
struct MemRun;

/// A byte stream in memory. Writable at once: Open() only rewinds and marks it opened.
class PMemStream : public PStream {
 public:
  /// At least 1 byte a block; no block is allocated before the first write.
  explicit PMemStream(std::uint64_t bytesPerBlock) : blockSize(bytesPerBlock) {}
  ~PMemStream() override;

  ErrorChain Open() override;
  ErrorChain Close() override;
  ErrorChain Flush() override;
  /// Fails only when memory runs out; what `written` counts is then in the stream.
  ErrorChain Write(const void* bytes, std::uint32_t count, std::uint32_t& written) override;
  ErrorChain WriteString(const char* text) override;
  ErrorChain Read(void* bytes, std::int32_t count, std::uint32_t& read) override;
  ErrorChain Seek(std::int64_t target) override;
  ErrorChain SeekOff(std::int64_t offset) override;
  ErrorChain SeekEnd(std::int64_t offset) override;
  std::int64_t GetSize() override;
  std::int64_t Tell() override;
  bool IsEof() override;
  int IsOpened() override;

  /// Empties the stream; keeps its blocks for reuse unless `freeBlocks`.
  ErrorChain Reset(bool freeBlocks);
  void FreeBlocks();

 protected:
  MemBlock* head = nullptr;
  std::uint64_t size = 0;
  MemBlock* current = nullptr;
  std::uint64_t position = 0;
  std::int32_t opened = 0;
  std::uint64_t blockSize;

 private:
  // Null when memory runs out.
  MemBlock* makeBlock();
  char* takeData();
  // Makes the block of the position, and the next one if `count` bytes fill the first.
  bool provideBlocks(std::uint64_t count);
  // Moves the position by `count` bytes, which end in the current block or fill it.
  void advance(std::uint64_t count);

  std::uint64_t blockCount_ = 0;
  MemRun* runs_ = nullptr;  // The newest first.
};

/// A PMemStream whose block size is part of its type.
template <std::uint64_t N>
class PMemStreamGrowStep : public PMemStream {
 public:
  PMemStreamGrowStep() : PMemStream(N) {}
  ~PMemStreamGrowStep() override = default;
};

}  // namespace QUtils

#endif  // MTLLIB_QUTILS_MEM_STREAM_H_
