// Implements PMemStream. The list of blocks only grows until the stream is freed. After a write,
// the block that holds the position always exists, even if it is still empty. The first blocks
// have separate memory for their data; those of a long stream share large pieces, which cost less
// to allocate than many small ones.
#include "qutils/mem_stream.h"

#include <algorithm>
#include <cstring>

#include "mtllib/allocation.h"
#include "platform/large_pages.h"
#include "plugin/error_chain.h"

namespace QUtils {

struct MemRun {
  MemRun* next;
  char* data;
  std::uint64_t blocks;  // that there is room for
  std::uint64_t used;
};

namespace {

// Up to here every block has its data to itself.
constexpr std::uint64_t kSmallStream = std::uint64_t{4} * 1024 * 1024;
constexpr std::uint64_t kLargestRun = std::uint64_t{32} * 1024 * 1024;

// Null when memory runs out.
MemRun* makeRun(std::uint64_t blocks, std::uint64_t blockSize) {
  auto* run = static_cast<MemRun*>(qmalloc(sizeof(MemRun)));
  if (run == nullptr) return nullptr;
  *run = MemRun{nullptr, static_cast<char*>(qmalloc(blocks * blockSize)), blocks, 0};
  if (run->data != nullptr) {
    Platform::preferLargePages(run->data, blocks * blockSize);
    return run;
  }
  qfree(run);
  return nullptr;
}

}  // namespace

PMemStream::~PMemStream() {
  FreeBlocks();
}

ErrorChain PMemStream::Open() {
  if (opened != 0) return makeError("PMemStream::Open", -1, "Stream already opened");
  current = head;
  position = 0;
  opened = 1;
  return {};
}

ErrorChain PMemStream::Close() {
  opened = 0;
  return {};
}

ErrorChain PMemStream::Flush() {
  return {};
}

// A new run is as long as the stream so far, so that little of it stays unused.
char* PMemStream::takeData() {
  if (blockCount_ < kSmallStream / blockSize) return static_cast<char*>(qmalloc(blockSize));
  if (runs_ == nullptr || runs_->used == runs_->blocks) {
    const std::uint64_t blocks = std::min(blockCount_, kLargestRun / blockSize);
    MemRun* run = makeRun(std::max<std::uint64_t>(blocks, 1), blockSize);
    if (run == nullptr) return nullptr;
    run->next = runs_;
    runs_ = run;
  }
  return runs_->data + runs_->used++ * blockSize;
}

MemBlock* PMemStream::makeBlock() {
  auto* block = static_cast<MemBlock*>(qmalloc(sizeof(MemBlock)));
  if (block == nullptr) return nullptr;
  block->next = nullptr;
  block->data = takeData();
  if (block->data == nullptr) {
    qfree(block);
    return nullptr;
  }
  ++blockCount_;
  return block;
}

bool PMemStream::provideBlocks(std::uint64_t count) {
  if (head == nullptr) {
    head = makeBlock();
    current = head;
  }
  if (current == nullptr) return false;
  if (position % blockSize + count == blockSize && current->next == nullptr) {
    current->next = makeBlock();
    return current->next != nullptr;
  }
  return true;
}

void PMemStream::advance(std::uint64_t count) {
  if (position % blockSize + count == blockSize) current = current->next;
  position += count;
}

ErrorChain PMemStream::Write(const void* bytes, std::uint32_t count, std::uint32_t& written) {
  const auto* source = static_cast<const char*>(bytes);
  written = 0;
  while (written < count) {
    const std::uint64_t offset = position % blockSize;
    const auto chunk =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(blockSize - offset, count - written));
    // The blocks come first and a chunk is written whole or not at all, so that the
    // stream can still be used, and the write repeated, when memory runs out.
    if (!provideBlocks(chunk)) return makeError("PMemStream::Write", -1, "Out of memory");
    std::memcpy(current->data + offset, source + written, chunk);
    written += chunk;
    advance(chunk);
    size = std::max(size, position);
  }
  return {};
}

ErrorChain PMemStream::WriteString(const char* text) {
  std::uint32_t written = 0;
  return Write(text, static_cast<std::uint32_t>(std::strlen(text)), written);
}

ErrorChain PMemStream::Read(void* bytes, std::int32_t count, std::uint32_t& read) {
  constexpr const char* kTag = "PMemStream::Read";
  read = 0;
  if (count < 0) return makeError(kTag, -1, "Invalid read size (%d)", count);
  auto* target = static_cast<char*>(bytes);
  const std::uint64_t wanted = std::min(static_cast<std::uint64_t>(count), size - position);
  while (read < wanted) {
    if (current == nullptr) return makeError(kTag, -1, "Block not found (internal error)");
    const std::uint64_t offset = position % blockSize;
    const auto chunk = static_cast<std::uint32_t>(std::min(blockSize - offset, wanted - read));
    std::memcpy(target + read, current->data + offset, chunk);
    read += chunk;
    advance(chunk);
  }
  return {};
}

ErrorChain PMemStream::Seek(std::int64_t target) {
  constexpr const char* kTag = "PMemStream::Seek";
  if (target < 0 || static_cast<std::uint64_t>(target) > size) {
    return makeError(kTag, -1, "Seek position = %lli, stream size = %lli",
                     static_cast<long long>(target), static_cast<long long>(size));
  }
  position = static_cast<std::uint64_t>(target);
  current = head;
  for (std::uint64_t steps = position / blockSize; steps > 0; --steps) {
    if (current == nullptr) return makeError(kTag, -2, "Block not found (internal error)");
    current = current->next;
  }
  return {};
}

// The sums wrap around instead of overflowing; Seek() refuses what is not in the stream.
ErrorChain PMemStream::SeekOff(std::int64_t offset) {
  return Seek(static_cast<std::int64_t>(position + static_cast<std::uint64_t>(offset)));
}

ErrorChain PMemStream::SeekEnd(std::int64_t offset) {
  return Seek(static_cast<std::int64_t>(size + static_cast<std::uint64_t>(offset)));
}

std::int64_t PMemStream::GetSize() {
  return static_cast<std::int64_t>(size);
}

std::int64_t PMemStream::Tell() {
  return static_cast<std::int64_t>(position);
}

bool PMemStream::IsEof() {
  return position == size;
}

int PMemStream::IsOpened() {
  return opened;
}

ErrorChain PMemStream::Reset(bool freeBlocks) {
  if (freeBlocks) {
    FreeBlocks();
    return {};
  }
  size = 0;
  position = 0;
  current = head;
  return {};
}

void PMemStream::FreeBlocks() {
  for (std::uint64_t i = 0; head != nullptr; ++i) {
    MemBlock* next = head->next;
    if (i < kSmallStream / blockSize) qfree(head->data);
    qfree(head);
    head = next;
  }
  while (runs_ != nullptr) {
    MemRun* next = runs_->next;
    qfree(runs_->data);
    qfree(runs_);
    runs_ = next;
  }
  blockCount_ = 0;
  current = nullptr;
  size = 0;
  position = 0;
}

}  // namespace QUtils
