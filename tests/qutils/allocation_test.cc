// Tests which blocks texts, text builders and streams in memory allocate, resize and free, of what
// sizes and in which order.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "mtllib/allocation.h"
#include "mtllib/char_string.h"
#include "platform/utf.h"
#include "plugin/error_chain.h"
#include "qutils/mem_stream.h"
#include "qutils/text_builder.h"

namespace {

using QUtils::CharString;
using QUtils::PMemStream;
using QUtils::PMemStreamGrowStep;
using QUtils::TextBuilder;
using testing::ElementsAre;
using testing::IsEmpty;

class RecordedAllocation : public testing::Test {
 protected:
  RecordedAllocation() {
    AllocationRecord::calls.clear();
    AllocationRecord::live.clear();
    AllocationRecord::allowance = -1;
  }
  ~RecordedAllocation() override {
    EXPECT_THAT(AllocationRecord::live, IsEmpty()) << "blocks that nobody freed";
  }

  /// The calls since the last time.
  static std::vector<std::string> calls() { return std::exchange(AllocationRecord::calls, {}); }
  static void allowBlocks(int count) { AllocationRecord::allowance = count; }
};

using CharStringBlocks = RecordedAllocation;
using MemStreamBlocks = RecordedAllocation;
using ConvertedBlocks = RecordedAllocation;

class TextBuilderBlocks : public RecordedAllocation {
 protected:
  /// Without the freeing of no block, which is of no effect.
  static std::vector<std::string> calls() {
    std::vector<std::string> all = RecordedAllocation::calls();
    all.erase(std::remove(all.begin(), all.end(), "free null"), all.end());
    return all;
  }
};

TEST_F(CharStringBlocks, NoTextHasNone) {
  const CharString none;
  const CharString null(nullptr);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CharStringBlocks, ATextHasARecordAndItsLengthWithTheTerminator) {
  const CharString text("abc");
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 4"));
  const CharString empty("");
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 1"));
}

TEST_F(CharStringBlocks, TheLastHolderFreesTheTextAndThenTheRecord) {
  CharString first("abc");
  CharString second(first);
  calls();
  first.release();
  EXPECT_THAT(calls(), IsEmpty());
  second.release();
  EXPECT_THAT(calls(), ElementsAre("free 4", "free 32"));
  second.release();
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CharStringBlocks, TheDestructorReleases) {
  {
    const CharString text("abc");
    calls();
  }
  EXPECT_THAT(calls(), ElementsAre("free 4", "free 32"));
}

TEST_F(CharStringBlocks, CopyingAndMovingAllocateNothing) {
  CharString first("abc");
  CharString target;
  calls();
  CharString second(first);
  target = second;
  target = first;
  CharString third(std::move(first));
  first = std::move(third);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CharStringBlocks, CopyAndMoveAssignmentFreeWhatTheTargetHeld) {
  CharString source("abc");
  CharString target("old");
  calls();
  target = source;
  EXPECT_THAT(calls(), ElementsAre("free 4", "free 32"));
  CharString other("other");
  calls();
  other = std::move(source);
  EXPECT_THAT(calls(), ElementsAre("free 6", "free 32"));
}

TEST_F(CharStringBlocks, AssigningResizesInPlaceBothWays) {
  CharString text("abc");
  calls();
  text.assign("abcdef");
  EXPECT_THAT(calls(), ElementsAre("realloc 4 to 7"));
  text.assign("x");
  EXPECT_THAT(calls(), ElementsAre("realloc 7 to 2"));
  text.assign("y");
  EXPECT_THAT(calls(), ElementsAre("realloc 2 to 2"));
}

TEST_F(CharStringBlocks, AssigningToASharerMakesANewRecord) {
  CharString text("abc");
  const CharString sharer(text);
  calls();
  text.assign("abcdef");
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 7"));
}

TEST_F(CharStringBlocks, AssigningALengthTakesRoomForAllOfIt) {
  CharString text;
  text.assign("ab", 10);
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 11"));
  EXPECT_STREQ(text.text(), "ab");
  text.assign("abcdef", 3);
  EXPECT_THAT(calls(), ElementsAre("realloc 11 to 4"));
  EXPECT_STREQ(text.text(), "abc");
}

TEST_F(CharStringBlocks, AppendingResizesInPlaceToTheSumOfTheLengths) {
  CharString text("abc");
  calls();
  text.append("de");
  EXPECT_THAT(calls(), ElementsAre("realloc 4 to 6"));
  text.append("");
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CharStringBlocks, AppendingGoesByTheTextAndNotByTheRoomItHas) {
  CharString text;
  text.assign("ab", 10);
  calls();
  text.append("c");
  EXPECT_THAT(calls(), ElementsAre("realloc 11 to 4"));
  EXPECT_STREQ(text.text(), "abc");
}

TEST_F(CharStringBlocks, AppendingToASharerMakesANewRecord) {
  CharString text("abc");
  const CharString sharer(text);
  calls();
  text.append("de");
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 6"));
}

TEST_F(CharStringBlocks, AppendingToNoTextMakesItsRecord) {
  CharString text;
  text.append("de");
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 3"));
}

TEST_F(CharStringBlocks, ConcatenationMakesOneRecordOfExactlyTheLength) {
  const CharString left("ab");
  calls();
  const CharString result = left + "c";
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 4"));
  const CharString same = left + "";
  const CharString sameAgain = left + CharString();
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(CharStringBlocks, ABufferHasTheSizeThatIsAskedFor) {
  const CharString text = CharString::withSize(5);
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 5"));
  const CharString smallest = CharString::withSize(1);
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 1"));
}

TEST_F(CharStringBlocks, ABufferOfNoSizeHandsNullToItsFreeFunction) {
  const CharString zero = CharString::withSize(0);
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "free null"));
  const CharString negative = CharString::withSize(-1);
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "free null"));
}

TEST_F(CharStringBlocks, ABufferThatIsRefusedItsDataKeepsItsRecord) {
  allowBlocks(1);
  CharString text = CharString::withSize(5);
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "realloc null to 5 fails", "free null"));
  ASSERT_NE(text.buffer(), nullptr);
  EXPECT_EQ(text.data(), nullptr);
  EXPECT_EQ(text.buffer()->refCount.load(), 1U);
}

TEST_F(CharStringBlocks, ATextThatIsRefusedItsRecordIsEmpty) {
  allowBlocks(0);
  CharString text("abc");
  EXPECT_THAT(calls(), ElementsAre("malloc 32 fails"));
  EXPECT_EQ(text.buffer(), nullptr);
  text.append("def");
  EXPECT_STREQ(text.text(), "");
}

TEST_F(CharStringBlocks, ASharerThatIsRefusedANewRecordLeavesTheOtherUntouched) {
  CharString first("abc");
  CharString second(first);
  const CharString third(first);
  allowBlocks(0);
  first.assign("abcdef");
  EXPECT_STREQ(first.text(), "");
  second.append("def");
  EXPECT_STREQ(second.text(), "");
  EXPECT_STREQ(third.text(), "abc");
  EXPECT_EQ(third.buffer()->refCount.load(), 1U);
}

TEST_F(TextBuilderBlocks, AreMadeByTheFirstText) {
  {
    TextBuilder text;
    EXPECT_THAT(calls(), IsEmpty());
    text.append("a");
    EXPECT_THAT(calls(), ElementsAre("malloc 1024"));
  }
  EXPECT_THAT(calls(), ElementsAre("free 1024"));
}

TEST_F(TextBuilderBlocks, AreFreedAfterTheLargerOneIsFilled) {
  TextBuilder text(16, 0);
  text.append("0123456789abcde");
  EXPECT_THAT(calls(), ElementsAre("malloc 16"));
  text.append("f");
  EXPECT_THAT(calls(), ElementsAre("malloc 32", "free 16"));
  text.free();
  EXPECT_THAT(calls(), ElementsAre("free 32"));
}

TEST_F(TextBuilderBlocks, OfTheCallerAreLeftAlone) {
  char buffer[16];
  {
    TextBuilder text(buffer, sizeof(buffer), false);
    text.append("0123456789abcde");
  }
  EXPECT_THAT(calls(), IsEmpty());
  TextBuilder text(buffer, sizeof(buffer), true);
  text.free();
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(TextBuilderBlocks, AreOursOnceTheTextOutgrowsTheCallers) {
  char buffer[16];
  {
    TextBuilder text(buffer, sizeof(buffer), false);
    text.append("0123456789abcdef");
    EXPECT_THAT(calls(), ElementsAre("malloc 1024"));
  }
  EXPECT_THAT(calls(), ElementsAre("free 1024"));
}

TEST_F(TextBuilderBlocks, HaveAGranularityBetween16AndAGigabyte) {
  TextBuilder belowTheLeast(15, 0);
  TextBuilder theLeast(16, 0);
  TextBuilder aboveTheLeast(17, 0);
  allowBlocks(3);
  for (TextBuilder* text : {&belowTheLeast, &theLeast, &aboveTheLeast})
    text->append("a");
  EXPECT_THAT(calls(), ElementsAre("malloc 16", "malloc 16", "malloc 17"));
  TextBuilder belowTheMost(0x3FFFFFFF, 0);
  TextBuilder theMost(0x40000000, 0);
  TextBuilder aboveTheMost(0x40000001, 0);
  for (TextBuilder* text : {&belowTheMost, &theMost, &aboveTheMost})
    text->append("a");
  EXPECT_THAT(calls(), ElementsAre("malloc 1073741823 fails", "malloc 1073741824 fails",
                                   "malloc 1073741824 fails"));
}

TEST_F(TextBuilderBlocks, AreGivenBackOnRelease) {
  TextBuilder text;
  text.append("abc");
  CharString released = text.releaseText();
  EXPECT_STREQ(released.text(), "abc");
  released.release();
  EXPECT_THAT(AllocationRecord::live, IsEmpty());
}

TEST_F(TextBuilderBlocks, OfAnErrorsTextGrowFrom128BytesByAFactor) {
  const std::string message(200, 'a');
  ErrorChain chain = makeError(nullptr, 1, "%s", message.c_str());
  pushError(chain, nullptr, 2, "%s", std::string(120, 'b').c_str());
  calls();
  const CharString text = errorChainToString(chain);
  // The third block would do with 384 bytes, but 256 x 1.7 is more.
  EXPECT_EQ(text.text(), "2: " + std::string(120, 'b') + " | 1: " + message);
  EXPECT_THAT(calls(), ElementsAre("malloc 128", "malloc 256", "free 128", "malloc 512", "free 256",
                                   "malloc 32", "realloc null to 330", "free 512"));
}

// How many blocks of `blockSize` bytes are made by a write of `size` bytes.
void expectBlocksOfAWrite(PMemStream& stream, const std::string& blockSize, std::uint32_t size,
                          int expectedBlocks) {
  AllocationRecord::calls.clear();
  std::vector<std::string> expected;
  for (int i = 0; i < expectedBlocks; ++i) {
    expected.emplace_back("malloc 16");
    expected.push_back("malloc " + blockSize);
  }
  const std::string bytes(size, 'a');
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.Write(bytes.data(), size, written));
  EXPECT_EQ(written, size);
  EXPECT_EQ(AllocationRecord::calls, expected) << size << " bytes";
  EXPECT_FALSE(stream.Reset(true));
}

TEST_F(MemStreamBlocks, OneMoreIsMadeWhenAWriteReachesTheBoundary) {
  PMemStream stream(4096);
  EXPECT_THAT(calls(), IsEmpty());
  expectBlocksOfAWrite(stream, "4096", 0, 0);
  expectBlocksOfAWrite(stream, "4096", 1, 1);
  expectBlocksOfAWrite(stream, "4096", 4095, 1);
  expectBlocksOfAWrite(stream, "4096", 4096, 2);
  expectBlocksOfAWrite(stream, "4096", 4097, 2);
  expectBlocksOfAWrite(stream, "4096", 8191, 2);
  expectBlocksOfAWrite(stream, "4096", 8192, 3);
  expectBlocksOfAWrite(stream, "4096", 8193, 3);
}

TEST_F(MemStreamBlocks, HaveTheSizeThatIsPartOfAGrowStepsType) {
  PMemStreamGrowStep<0x4000> stream;
  EXPECT_THAT(calls(), IsEmpty());
  expectBlocksOfAWrite(stream, "16384", 1, 1);
  expectBlocksOfAWrite(stream, "16384", 16383, 1);
  expectBlocksOfAWrite(stream, "16384", 16384, 2);
  expectBlocksOfAWrite(stream, "16384", 16385, 2);
  expectBlocksOfAWrite(stream, "16384", 32767, 2);
  expectBlocksOfAWrite(stream, "16384", 32768, 3);
  expectBlocksOfAWrite(stream, "16384", 32769, 3);
}

TEST_F(MemStreamBlocks, AreFreedFromTheFirstToTheLast) {
  {
    PMemStream stream(4);
    EXPECT_FALSE(stream.WriteString("abcde"));
    calls();
    stream.FreeBlocks();
    EXPECT_THAT(calls(), ElementsAre("free 4", "free 16", "free 4", "free 16"));
    EXPECT_FALSE(stream.WriteString("abc"));
    calls();
    EXPECT_FALSE(stream.Reset(true));
    EXPECT_THAT(calls(), ElementsAre("free 4", "free 16"));
    EXPECT_FALSE(stream.WriteString("abc"));
    calls();
  }
  EXPECT_THAT(calls(), ElementsAre("free 4", "free 16"));
  {
    PMemStreamGrowStep<4> stream;
    EXPECT_FALSE(stream.WriteString("abc"));
    calls();
  }
  EXPECT_THAT(calls(), ElementsAre("free 4", "free 16"));
}

TEST_F(MemStreamBlocks, OfALongStreamShareRunsAsLongAsTheStreamBeforeThem) {
  constexpr std::uint32_t kMebibyte = 1024 * 1024;
  PMemStream stream(kMebibyte);
  const std::string bytes(5 * kMebibyte, 'a');
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.Write(bytes.data(), 4 * kMebibyte - 1, written));
  EXPECT_THAT(calls(), ElementsAre("malloc 16", "malloc 1048576", "malloc 16", "malloc 1048576",
                                   "malloc 16", "malloc 1048576", "malloc 16", "malloc 1048576"));
  EXPECT_FALSE(stream.Write(bytes.data(), 5 * kMebibyte, written));
  EXPECT_THAT(calls(),
              ElementsAre("malloc 16", "malloc 32", "malloc 4194304", "malloc 16", "malloc 16",
                          "malloc 16", "malloc 16", "malloc 32", "malloc 8388608"));
  stream.FreeBlocks();
  EXPECT_THAT(calls(), ElementsAre("free 1048576", "free 16", "free 1048576", "free 16",
                                   "free 1048576", "free 16", "free 1048576", "free 16", "free 16",
                                   "free 16", "free 16", "free 16", "free 16", "free 8388608",
                                   "free 32", "free 4194304", "free 32"));
  EXPECT_FALSE(stream.Write(bytes.data(), 1, written));
  EXPECT_THAT(calls(), ElementsAre("malloc 16", "malloc 1048576"));
}

TEST_F(MemStreamBlocks, LargerThanARunAreRunsOfOne) {
  PMemStream stream(48 * 1024 * 1024);
  EXPECT_FALSE(stream.WriteString("a"));
  EXPECT_THAT(calls(), ElementsAre("malloc 16", "malloc 32", "malloc 50331648"));
}

TEST_F(MemStreamBlocks, AreNeitherMadeNorFreedForBytesThatHavePlace) {
  PMemStream stream(4);
  EXPECT_FALSE(stream.WriteString("abcdefgh"));
  calls();
  EXPECT_FALSE(stream.Seek(2));
  EXPECT_FALSE(stream.WriteString("CDEFGH"));
  EXPECT_FALSE(stream.Seek(0));
  char bytes[8];
  std::uint32_t read = 0;
  EXPECT_FALSE(stream.Read(bytes, 8, read));
  EXPECT_FALSE(stream.Reset(false));
  EXPECT_FALSE(stream.WriteString("ijklmnop"));
  EXPECT_FALSE(stream.Open());
  EXPECT_FALSE(stream.Flush());
  EXPECT_FALSE(stream.Close());
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(ConvertedBlocks, AreAsLargeAsTheTextAndItsTerminator) {
  const Platform::WideText wide = Platform::duplicateAsWide("oak\xC3\xA9");
  EXPECT_THAT(calls(), ElementsAre("malloc 10"));
  const Platform::Utf8Text back = Platform::duplicateAsUtf8(wide.get());
  EXPECT_THAT(calls(), ElementsAre("malloc 6"));
}

}  // namespace
