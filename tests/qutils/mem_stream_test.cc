// Tests PMemStream: its blocks, its position, its messages.
#include "qutils/mem_stream.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <string>

#include "mtllib/allocation.h"
#include "plugin/error_chain.h"
#include "qutils/text_of.h"

namespace {

using QUtils::MemBlock;
using QUtils::PMemStream;
using QUtils::PMemStreamGrowStep;

// Shows what a stream keeps to itself.
class OpenMemStream : public PMemStream {
 public:
  using PMemStream::PMemStream;

  int blocks() const {
    int count = 0;
    for (const MemBlock* block = head; block != nullptr; block = block->next)
      ++count;
    return count;
  }
  const MemBlock* first() const { return head; }
  bool standsInItsBlock() const {
    const MemBlock* block = head;
    for (std::uint64_t i = 0; i < position / blockSize; ++i)
      block = block->next;
    return block != nullptr && block == current;
  }
  /// Loses the blocks and nothing else, as no operation does.
  void loseBlocks() {
    const std::uint64_t oldSize = size;
    const std::uint64_t oldPosition = position;
    FreeBlocks();
    size = oldSize;
    position = oldPosition;
  }
  /// As if so much had been written, without the blocks for it.
  void pretendSize(std::uint64_t bytes) { size = bytes; }
};

void write(PMemStream& stream, const std::string& bytes) {
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written));
  EXPECT_EQ(written, bytes.size());
}

std::string read(PMemStream& stream, std::int32_t size) {
  std::string bytes(static_cast<std::size_t>(size), '?');
  std::uint32_t count = 99;
  EXPECT_FALSE(stream.Read(bytes.data(), size, count));
  bytes.resize(count);
  return bytes;
}

std::string content(PMemStream& stream) {
  EXPECT_FALSE(stream.Seek(0));
  return read(stream, static_cast<std::int32_t>(stream.GetSize()));
}

TEST(MemStream, IsConstructedEmptyAndClosed) {
  OpenMemStream stream(4096);
  EXPECT_EQ(stream.GetSize(), 0);
  EXPECT_EQ(stream.Tell(), 0);
  EXPECT_TRUE(stream.IsEof());
  EXPECT_EQ(stream.IsOpened(), 0);
  EXPECT_EQ(stream.blocks(), 0);
}

TEST(MemStream, IsWritableWithoutBeingOpened) {
  PMemStream stream(4096);
  write(stream, "abc");
  EXPECT_EQ(content(stream), "abc");
}

TEST(MemStream, WriteOfNothingAllocatesNothing) {
  OpenMemStream stream(4096);
  std::uint32_t written = 99;
  EXPECT_FALSE(stream.Write("", 0, written));
  EXPECT_EQ(written, 0U);
  EXPECT_EQ(stream.blocks(), 0);
}

TEST(MemStream, WriteUpToTheBlockBoundaryAppendsTheNextBlock) {
  OpenMemStream stream(4096);
  write(stream, std::string(4096, 'a'));
  EXPECT_EQ(stream.blocks(), 2);
  EXPECT_EQ(stream.GetSize(), 4096);
  EXPECT_EQ(stream.Tell(), 4096);
  EXPECT_TRUE(stream.standsInItsBlock());
  EXPECT_FALSE(stream.Seek(4096));
  EXPECT_EQ(read(stream, 10), "");
}

TEST(MemStream, WriteShortOfTheBoundaryKeepsOneBlock) {
  OpenMemStream stream(4096);
  write(stream, std::string(4095, 'a'));
  EXPECT_EQ(stream.blocks(), 1);
}

TEST(MemStream, WriteSpansBlocks) {
  OpenMemStream stream(4);
  write(stream, "abcdefghij");
  EXPECT_EQ(stream.blocks(), 3);
  EXPECT_EQ(content(stream), "abcdefghij");
  EXPECT_TRUE(stream.standsInItsBlock());
}

TEST(MemStream, AWriteThatEndsAtABoundaryGoesOnInTheBlockThatIsThere) {
  OpenMemStream stream(4);
  write(stream, "abcdefghij");
  EXPECT_FALSE(stream.Seek(2));
  write(stream, "CD");
  EXPECT_TRUE(stream.standsInItsBlock());
  write(stream, "EFGH");
  EXPECT_TRUE(stream.standsInItsBlock());
  EXPECT_EQ(stream.blocks(), 3);
  EXPECT_EQ(content(stream), "abCDEFGHij");
}

TEST(MemStream, AReadThatEndsAtABoundaryGoesOnInTheNextBlock) {
  OpenMemStream stream(4);
  write(stream, "abcdefgh");
  EXPECT_FALSE(stream.Seek(1));
  EXPECT_EQ(read(stream, 3), "bcd");
  EXPECT_TRUE(stream.standsInItsBlock());
  EXPECT_EQ(read(stream, 4), "efgh");
  EXPECT_TRUE(stream.standsInItsBlock());
  write(stream, "i");
  EXPECT_EQ(stream.blocks(), 3);
  EXPECT_EQ(content(stream), "abcdefghi");
}

TEST(MemStream, WritesContinueOneAnother) {
  OpenMemStream stream(4);
  for (int i = 0; i < 10; ++i)
    write(stream, "abc");
  EXPECT_EQ(content(stream), "abcabcabcabcabcabcabcabcabcabc");
  EXPECT_EQ(stream.blocks(), 8);
}

TEST(MemStream, WriteInTheMiddleOverwritesAndKeepsTheSize) {
  PMemStream stream(4);
  write(stream, "abcdefghij");
  EXPECT_FALSE(stream.Seek(3));
  write(stream, "XY");
  EXPECT_EQ(stream.GetSize(), 10);
  EXPECT_EQ(stream.Tell(), 5);
  EXPECT_EQ(content(stream), "abcXYfghij");
}

TEST(MemStream, WriteThatPassesTheEndGrowsTheStream) {
  PMemStream stream(4);
  write(stream, "abcdef");
  EXPECT_FALSE(stream.Seek(5));
  write(stream, "XYZ");
  EXPECT_EQ(stream.GetSize(), 8);
  EXPECT_EQ(content(stream), "abcdeXYZ");
}

TEST(MemStream, WriteStringLeavesTheTerminatorOut) {
  PMemStream stream(4);
  EXPECT_FALSE(stream.WriteString("hello"));
  EXPECT_EQ(stream.GetSize(), 5);
  EXPECT_EQ(content(stream), "hello");
}

TEST(MemStream, ReadIsCutAtTheEnd) {
  PMemStream stream(4);
  write(stream, "abcdef");
  EXPECT_FALSE(stream.Seek(2));
  EXPECT_EQ(read(stream, 100), "cdef");
  EXPECT_EQ(stream.Tell(), 6);
}

TEST(MemStream, ReadAtTheEndGivesNothing) {
  PMemStream stream(4096);
  write(stream, "abc");
  EXPECT_EQ(read(stream, 10), "");
}

TEST(MemStream, ReadOfNegativeSizeFailsAndStays) {
  PMemStream stream(4096);
  write(stream, "abc");
  EXPECT_FALSE(stream.Seek(1));
  char byte = 'x';
  std::uint32_t count = 0;
  EXPECT_EQ(textOf(stream.Read(&byte, -1, count)), "[PMemStream::Read] -1: Invalid read size (-1)");
  EXPECT_EQ(textOf(stream.Read(&byte, std::numeric_limits<std::int32_t>::min(), count)),
            "[PMemStream::Read] -1: Invalid read size (-2147483648)");
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(stream.Tell(), 1);
}

TEST(MemStream, ReadOfSizeZeroSucceedsOnAnEmptyStream) {
  PMemStream stream(4096);
  std::uint32_t count = 99;
  EXPECT_FALSE(stream.Read(nullptr, 0, count));
  EXPECT_EQ(count, 0U);
}

TEST(MemStream, ReadWithoutItsBlockFails) {
  OpenMemStream stream(4);
  write(stream, "abc");
  EXPECT_FALSE(stream.Seek(1));
  stream.loseBlocks();
  char bytes[2];
  std::uint32_t count = 99;
  EXPECT_EQ(textOf(stream.Read(bytes, 2, count)),
            "[PMemStream::Read] -1: Block not found (internal error)");
  EXPECT_EQ(count, 0U);
}

TEST(MemStream, SeekBehindTheEndFailsAndStays) {
  PMemStream stream(4);
  write(stream, "abcdef");
  EXPECT_FALSE(stream.Seek(2));
  EXPECT_EQ(textOf(stream.Seek(7)), "[PMemStream::Seek] -1: Seek position = 7, stream size = 6");
  EXPECT_EQ(stream.Tell(), 2);
  EXPECT_EQ(read(stream, 2), "cd");
}

TEST(MemStream, SeekBeforeTheBeginningFailsAndStays) {
  PMemStream stream(4);
  write(stream, "abcdef");
  EXPECT_FALSE(stream.Seek(2));
  EXPECT_EQ(textOf(stream.Seek(-1)), "[PMemStream::Seek] -1: Seek position = -1, stream size = 6");
  EXPECT_EQ(stream.Tell(), 2);
}

TEST(MemStream, SeekToTheEndSucceeds) {
  PMemStream stream(4);
  write(stream, "abcdef");
  EXPECT_FALSE(stream.Seek(6));
  EXPECT_TRUE(stream.IsEof());
  write(stream, "gh");
  EXPECT_EQ(content(stream), "abcdefgh");
}

TEST(MemStream, SeekInAnEmptyStreamReachesOnlyItsBeginning) {
  PMemStream stream(4);
  EXPECT_FALSE(stream.Seek(0));
  EXPECT_EQ(textOf(stream.Seek(1)), "[PMemStream::Seek] -1: Seek position = 1, stream size = 0");
}

TEST(MemStream, SeekThroughAMissingBlockFailsWithMinusTwoAndMoves) {
  OpenMemStream stream(4);
  write(stream, "abcdef");
  stream.loseBlocks();
  EXPECT_EQ(textOf(stream.Seek(5)), "[PMemStream::Seek] -2: Block not found (internal error)");
  EXPECT_EQ(stream.Tell(), 5);
}

TEST(MemStream, SeekFollowsNoLinkOutOfAMissingBlock) {
  OpenMemStream stream(4);
  write(stream, "abc");
  stream.pretendSize(9);
  EXPECT_FALSE(stream.Seek(7)) << "lands behind the last block";
  EXPECT_EQ(stream.Tell(), 7);
  char byte = 0;
  std::uint32_t count = 99;
  EXPECT_EQ(textOf(stream.Read(&byte, 1, count)),
            "[PMemStream::Read] -1: Block not found (internal error)");
  EXPECT_EQ(textOf(stream.Seek(8)), "[PMemStream::Seek] -2: Block not found (internal error)");
  EXPECT_EQ(stream.Tell(), 8);
}

TEST(MemStream, ReadThatRunsOutOfBlocksCountsWhatItRead) {
  OpenMemStream stream(4);
  write(stream, "abc");
  stream.pretendSize(9);
  EXPECT_FALSE(stream.Seek(1));
  char bytes[6];
  std::uint32_t count = 99;
  EXPECT_EQ(textOf(stream.Read(bytes, 6, count)),
            "[PMemStream::Read] -1: Block not found (internal error)");
  EXPECT_EQ(count, 3U);
  EXPECT_EQ(std::string(bytes, 2), "bc");
}

TEST(MemStream, SeekThatLandsOnAMissingBlockSucceeds) {
  OpenMemStream stream(4);
  write(stream, "abcdef");
  stream.loseBlocks();
  EXPECT_FALSE(stream.Seek(3));
  EXPECT_EQ(stream.Tell(), 3);
}

TEST(MemStream, SeekOffCountsFromThePosition) {
  PMemStream stream(4);
  write(stream, "abcdef");
  EXPECT_FALSE(stream.SeekOff(-2));
  EXPECT_EQ(read(stream, 1), "e");
  EXPECT_FALSE(stream.SeekOff(1));
  EXPECT_EQ(stream.Tell(), 6);
  EXPECT_EQ(textOf(stream.SeekOff(1)), "[PMemStream::Seek] -1: Seek position = 7, stream size = 6");
}

TEST(MemStream, SeekEndCountsFromTheEnd) {
  PMemStream stream(4);
  write(stream, "abcdef");
  EXPECT_FALSE(stream.SeekEnd(-6));
  EXPECT_EQ(stream.Tell(), 0);
  EXPECT_FALSE(stream.SeekEnd(0));
  EXPECT_EQ(stream.Tell(), 6);
  EXPECT_EQ(textOf(stream.SeekEnd(1)), "[PMemStream::Seek] -1: Seek position = 7, stream size = 6");
  EXPECT_EQ(textOf(stream.SeekEnd(-7)),
            "[PMemStream::Seek] -1: Seek position = -1, stream size = 6");
}

TEST(MemStream, SeekOffAndSeekEndAreSeeksOfTheStream) {
  class OwnSeek final : public PMemStream {
   public:
    OwnSeek() : PMemStream(4) {}
    ErrorChain Seek(std::int64_t target) override {
      return makeError("OwnSeek", static_cast<std::int32_t>(target), nullptr);
    }
  };
  OwnSeek stream;
  write(stream, "abcdef");
  EXPECT_EQ(textOf(stream.SeekOff(-4)), "[OwnSeek] 2");
  EXPECT_EQ(textOf(stream.SeekEnd(3)), "[OwnSeek] 9");
}

TEST(MemStream, SeekByTheLargestOffsetsFails) {
  PMemStream stream(4);
  write(stream, "abcdef");
  EXPECT_TRUE(stream.SeekOff(std::numeric_limits<std::int64_t>::max()));
  EXPECT_TRUE(stream.SeekOff(std::numeric_limits<std::int64_t>::min()));
  EXPECT_TRUE(stream.SeekEnd(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(textOf(stream.Seek(std::numeric_limits<std::int64_t>::min())),
            "[PMemStream::Seek] -1: Seek position = -9223372036854775808, stream size = 6");
  EXPECT_EQ(textOf(stream.Seek(std::numeric_limits<std::int64_t>::max())),
            "[PMemStream::Seek] -1: Seek position = 9223372036854775807, stream size = 6");
  EXPECT_EQ(stream.Tell(), 6);
}

TEST(MemStream, IsEofOnlyAtTheEnd) {
  PMemStream stream(4);
  write(stream, "ab");
  EXPECT_TRUE(stream.IsEof());
  EXPECT_FALSE(stream.Seek(1));
  EXPECT_FALSE(stream.IsEof());
}

TEST(MemStream, OpenTwiceFails) {
  PMemStream stream(4);
  EXPECT_FALSE(stream.Open());
  EXPECT_EQ(stream.IsOpened(), 1);
  EXPECT_EQ(textOf(stream.Open()), "[PMemStream::Open] -1: Stream already opened");
}

TEST(MemStream, OpenAfterCloseRewindsAndKeepsTheContent) {
  PMemStream stream(4);
  EXPECT_FALSE(stream.Open());
  write(stream, "abcdef");
  EXPECT_FALSE(stream.Close());
  EXPECT_EQ(stream.IsOpened(), 0);
  EXPECT_FALSE(stream.Open());
  EXPECT_EQ(stream.Tell(), 0);
  EXPECT_EQ(read(stream, 100), "abcdef");
}

TEST(MemStream, CloseAndFlushSucceedOnAClosedStream) {
  PMemStream stream(4);
  write(stream, "abc");
  EXPECT_FALSE(stream.Close());
  EXPECT_EQ(stream.IsOpened(), 0);
  EXPECT_FALSE(stream.Flush());
  EXPECT_EQ(stream.Tell(), 3);
  EXPECT_EQ(content(stream), "abc");
}

TEST(MemStream, TruncateFails) {
  PMemStream stream(4);
  EXPECT_EQ(textOf(stream.Truncate()), "[PStream::Truncate] -1: Not implemented");
}

TEST(MemStream, ResetKeepsTheBlocksForReuse) {
  OpenMemStream stream(4);
  write(stream, "abcdef");
  const MemBlock* first = stream.first();
  EXPECT_FALSE(stream.Reset(false));
  EXPECT_EQ(stream.GetSize(), 0);
  EXPECT_EQ(stream.Tell(), 0);
  EXPECT_EQ(stream.blocks(), 2);
  write(stream, "XYZUVW");
  EXPECT_EQ(stream.first(), first);
  EXPECT_EQ(stream.blocks(), 2);
  EXPECT_EQ(content(stream), "XYZUVW");
}

TEST(MemStream, ResetWithFreeingDropsTheBlocks) {
  OpenMemStream stream(4);
  write(stream, "abcdef");
  EXPECT_FALSE(stream.Reset(true));
  EXPECT_EQ(stream.blocks(), 0);
  EXPECT_EQ(stream.GetSize(), 0);
  EXPECT_EQ(stream.Tell(), 0);
  write(stream, "again");
  EXPECT_EQ(content(stream), "again");
}

TEST(MemStream, ResetLeavesAnOpenStreamOpen) {
  PMemStream stream(4);
  EXPECT_FALSE(stream.Open());
  EXPECT_FALSE(stream.Reset(false));
  EXPECT_EQ(stream.IsOpened(), 1);
  EXPECT_FALSE(stream.Reset(true));
  EXPECT_EQ(stream.IsOpened(), 1);
}

TEST(MemStream, ResetRewindsFromAnyBlock) {
  PMemStream stream(4);
  write(stream, "abcdefghij");
  EXPECT_FALSE(stream.Reset(false));
  EXPECT_EQ(read(stream, 10), "");
  EXPECT_EQ(textOf(stream.Seek(1)), "[PMemStream::Seek] -1: Seek position = 1, stream size = 0");
  write(stream, "X");
  EXPECT_EQ(content(stream), "X");
}

// Bytes that tell their places apart.
std::string differentBytes(std::size_t size) {
  std::string bytes(size, '?');
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<char>(i ^ i >> 8);
  return bytes;
}

// Writes, reads and seeks that end just before, at and just behind the boundary.
void expectNoSeamAt(PMemStream& stream, std::size_t boundary) {
  for (const std::size_t size : {boundary - 1, boundary, boundary + 1}) {
    const std::string bytes = differentBytes(size);
    EXPECT_FALSE(stream.Reset(false));
    write(stream, bytes);
    EXPECT_EQ(stream.GetSize(), static_cast<std::int64_t>(size));
    EXPECT_EQ(stream.Tell(), static_cast<std::int64_t>(size));
    EXPECT_TRUE(stream.IsEof());
    EXPECT_EQ(read(stream, 1), "");
    EXPECT_TRUE(content(stream) == bytes) << size;
    write(stream, "xyz");
    EXPECT_TRUE(content(stream) == bytes + "xyz") << size;
    EXPECT_FALSE(stream.Seek(static_cast<std::int64_t>(size)));
    EXPECT_EQ(read(stream, 3), "xyz");
  }
}

TEST(MemStream, HasNoSeamsAtItsBlockBoundaries) {
  PMemStream stream(4096);
  expectNoSeamAt(stream, 4096);
  expectNoSeamAt(stream, 8192);
  PMemStream largerBlocks(16384);
  expectNoSeamAt(largerBlocks, 16384);
  expectNoSeamAt(largerBlocks, 32768);
}

TEST(MemStream, AGrowStepHasNoSeamsEither) {
  PMemStreamGrowStep<0x4000> stream;
  expectNoSeamAt(stream, 16384);
  expectNoSeamAt(stream, 32768);
}

TEST(MemStream, HasNoSeamsWhereBlocksBeginToShareTheirMemory) {
  constexpr std::size_t kMebibyte = 1024 * 1024;
  PMemStreamGrowStep<0x4000> stream;
  expectNoSeamAt(stream, 4 * kMebibyte);
  expectNoSeamAt(stream, 8 * kMebibyte);
  EXPECT_FALSE(stream.Reset(true));
  expectNoSeamAt(stream, 16 * kMebibyte);
}

TEST(MemStream, MayHaveBlocksOfOneByte) {
  OpenMemStream stream(1);
  write(stream, "abc");
  EXPECT_EQ(stream.blocks(), 4);
  EXPECT_EQ(content(stream), "abc");
}

}  // namespace
