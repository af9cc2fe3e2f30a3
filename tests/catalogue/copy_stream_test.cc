// Tests copying between streams in chunks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "catalogue/stub_stream.h"
#include "fakes/downloader_fixture.h"
#include "qutils/stream_content.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CopyStream : public testing::Test {
 protected:
  /// The source, rewound, holds `content`.
  void provide(const std::string& content) {
    fill(source, content);
    source.Seek(0);
    source.writeSizes.clear();
  }
  void copy(std::int64_t size, std::int32_t chunk) {
    copyStream(error, destination, source, size, bytesRead, bytesWritten, chunk);
  }
  void expectCounts(std::int64_t read, std::int64_t written) const {
    EXPECT_EQ(bytesRead, read);
    EXPECT_EQ(bytesWritten, written);
  }

  StubStream source;
  StubStream destination;
  ErrorChain error;
  std::int64_t bytesRead = 77;
  std::int64_t bytesWritten = 77;
};

TEST_F(CopyStream, CopiesInChunks) {
  provide("0123456789");
  copy(10, 4);
  EXPECT_FALSE(error);
  expectCounts(10, 10);
  EXPECT_THAT(source.readSizes, ElementsAre(4, 4, 2));
  EXPECT_THAT(destination.writeSizes, ElementsAre(4, 4, 2));
  EXPECT_EQ(contentOf(destination), "0123456789");
}

TEST_F(CopyStream, CopiesFromTheSourcesPosition) {
  provide("0123456789");
  source.Seek(3);
  copy(4, 100);
  EXPECT_FALSE(error);
  expectCounts(4, 4);
  EXPECT_EQ(contentOf(destination), "3456");
}

TEST_F(CopyStream, CopiesNothingForASizeBelowOne) {
  provide("0123456789");
  copy(0, 4);
  EXPECT_FALSE(error);
  expectCounts(0, 0);
  bytesRead = bytesWritten = 77;
  copy(-5, 4);
  EXPECT_FALSE(error);
  expectCounts(0, 0);
  EXPECT_THAT(source.readSizes, IsEmpty());
  EXPECT_THAT(destination.writeSizes, IsEmpty());
}

TEST_F(CopyStream, ChoosesTheChunkWhenNoneIsGiven) {
  provide(std::string(70000, 'x'));
  copy(70000, 0);
  EXPECT_THAT(source.readSizes, ElementsAre(32768, 32768, 4464));
  source.Seek(0);
  source.readSizes.clear();
  copy(70000, -1);
  EXPECT_THAT(source.readSizes, ElementsAre(32768, 32768, 4464));
  EXPECT_FALSE(error);
}

TEST_F(CopyStream, SplitsOnlyWhatIsLargerThanAChunk) {
  provide(std::string(32769, 'x'));
  const std::pair<std::int64_t, std::vector<std::int64_t>> copies[] = {
      {1, {1}}, {32767, {32767}}, {32768, {32768}}, {32769, {32768, 1}}};
  for (const auto& [size, reads] : copies) {
    source.Seek(0);
    source.readSizes.clear();
    copy(size, 32768);
    EXPECT_FALSE(error);
    expectCounts(size, size);
    EXPECT_EQ(source.readSizes, reads);
  }
}

TEST_F(CopyStream, TakesAChunkOfOneByte) {
  provide("012");
  copy(3, 1);
  expectCounts(3, 3);
  EXPECT_THAT(source.readSizes, ElementsAre(1, 1, 1));
}

TEST_F(CopyStream, LimitsTheChunk) {
  provide("0123456789");
  const std::pair<std::int32_t, std::int64_t> chunks[] = {
      {33554431, 33554431}, {33554432, 33554432}, {33554433, 33554432}, {INT32_MAX, 33554432}};
  for (const auto& [chunk, asked] : chunks) {
    source.Seek(0);
    source.readSizes.clear();
    copy(INT64_MAX, chunk);
    EXPECT_FALSE(error);
    expectCounts(10, 10);
    EXPECT_THAT(source.readSizes, ElementsAre(asked));
  }
}

TEST_F(CopyStream, EndsQuietlyAtAShortRead) {
  provide("0123456789");
  copy(100, 4);
  EXPECT_FALSE(error);
  expectCounts(10, 10);
  EXPECT_THAT(source.readSizes, ElementsAre(4, 4, 4));
  EXPECT_EQ(contentOf(destination), "0123456789");
}

TEST_F(CopyStream, EndsQuietlyAtAnEmptyRead) {
  provide("01234567");
  copy(100, 4);
  EXPECT_FALSE(error);
  expectCounts(8, 8);
  EXPECT_THAT(source.readSizes, ElementsAre(4, 4, 4));
  EXPECT_THAT(destination.writeSizes, ElementsAre(4, 4, 0));
}

TEST_F(CopyStream, EndsAtAReadError) {
  provide("0123456789");
  source.goodReads = 1;
  copy(10, 4);
  EXPECT_EQ(chainText(error), "[StubStream::Read] 23: unreadable");
  expectCounts(4, 4);
}

TEST_F(CopyStream, EndsAtAWriteError) {
  provide("0123456789");
  destination.goodWrites = 1;
  copy(10, 4);
  EXPECT_EQ(chainText(error), "[StubStream::Write] 112: disk full");
  expectCounts(8, 4);
  EXPECT_EQ(contentOf(destination), "0123");
}

TEST_F(CopyStream, CountsShortWritesApart) {
  provide("0123456789");
  destination.longestWrite = 3;
  copy(10, 4);
  EXPECT_FALSE(error);
  EXPECT_EQ(bytesRead, 10);
  EXPECT_EQ(bytesWritten, 8);
  EXPECT_EQ(contentOf(destination), "01245689");
}

TEST_F(CopyStream, ReadsMoreForBytesThatWereNotWritten) {
  provide("0123456789ABCDEF");
  destination.longestWrite = 3;
  copy(10, 4);
  EXPECT_FALSE(error);
  expectCounts(13, 10);
  EXPECT_THAT(source.readSizes, ElementsAre(4, 4, 4, 1));
}

TEST_F(CopyStream, LeavesTheDestinationsPositionBehindTheBytes) {
  fill(destination, "before ");
  provide("after");
  copy(5, 4);
  EXPECT_EQ(contentOf(destination), "before after");
}

// Comparing.

class CompareStreams : public testing::Test {
 protected:
  int compare(const std::string& contentOfA, const std::string& contentOfB) {
    fill(a, contentOfA);
    fill(b, contentOfB);
    return compareStreams(error, a, b);
  }

  StubStream a;
  StubStream b;
  ErrorChain error;
};

TEST_F(CompareStreams, FindsEqualBytesEqual) {
  EXPECT_EQ(compare("2024-05-01 7f3a", "2024-05-01 7f3a"), 0);
  EXPECT_FALSE(error);
}

TEST_F(CompareStreams, FindsEmptyStreamsEqual) {
  EXPECT_EQ(compare("", ""), 0);
}

TEST_F(CompareStreams, ComparesTheLengthFirst) {
  EXPECT_EQ(compare("stamp\n", "stamp"), -1);
  EXPECT_THAT(a.readSizes, IsEmpty());
  EXPECT_THAT(b.readSizes, IsEmpty());
  EXPECT_EQ(a.seeks, 0);
}

TEST_F(CompareStreams, InterpretsNothing) {
  EXPECT_EQ(compare("Stamp", "stamp"), -1);
}

TEST_F(CompareStreams, ComparesBytesBehindAZero) {
  EXPECT_EQ(compare(std::string("a\0b", 3), std::string("a\0c", 3)), -1);
}

TEST_F(CompareStreams, ReadsInChunks) {
  const std::string content(40000, 's');
  EXPECT_EQ(compare(content, content), 0);
  EXPECT_THAT(a.readSizes, Each(16384));
  EXPECT_THAT(a.readSizes, testing::SizeIs(4));
  EXPECT_THAT(b.readSizes, Each(16384));
}

TEST_F(CompareStreams, SeesADifferenceInTheLastByte) {
  std::string content(40000, 's');
  const std::string other = content;
  content.back() = 't';
  EXPECT_EQ(compare(content, other), -1);
  EXPECT_FALSE(error);
}

TEST_F(CompareStreams, FailsAtOnceWithAnErrorAtHand) {
  error = makeError("Test", 5, "broken");
  EXPECT_EQ(compare("same", "same"), -1);
  EXPECT_EQ(a.seeks, 0);
  EXPECT_EQ(chainText(error), "[Test] 5: broken");
}

TEST_F(CompareStreams, FailsWhenAStreamCannotBeRewound) {
  b.seekable = false;
  EXPECT_EQ(compare("same", "same"), -1);
  EXPECT_THAT(a.readSizes, IsEmpty());
}

TEST_F(CompareStreams, FailsWhenAStreamCannotBeRead) {
  a.goodReads = 0;
  EXPECT_EQ(compare("same", "same"), -1);
  EXPECT_EQ(chainText(error), "[StubStream::Read] 23: unreadable");
}

TEST_F(CompareStreams, CountsDifferentReadsAsADifference) {
  a.longestRead = 2;
  EXPECT_EQ(compare("same", "same"), -1);
  EXPECT_FALSE(error);
}

}  // namespace
