// Tests the string formats that all streams share, over a stream in memory and over one that fails
// or falls short on demand.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "plugin/error_chain.h"
#include "qutils/mem_stream.h"
#include "qutils/stream.h"
#include "qutils/text_of.h"

namespace {

using QUtils::CharString;
using QUtils::PMemStream;
using testing::ElementsAre;

// Takes or gives the first `limit` bytes; the call that asks for more falls short, or
// fails with code 7 if `failing`.
class LimitedStream final : public PMemStream {
 public:
  LimitedStream(std::uint32_t limit, bool failing)
      : PMemStream(64), limit_(limit), failing_(failing) {}

  ErrorChain Write(const void* bytes, std::uint32_t count, std::uint32_t& written) override {
    return limited(count, written,
                   [&](std::uint32_t part) { return PMemStream::Write(bytes, part, written); });
  }
  ErrorChain Read(void* bytes, std::int32_t count, std::uint32_t& read) override {
    return limited(static_cast<std::uint32_t>(count), read, [&](std::uint32_t part) {
      return PMemStream::Read(bytes, static_cast<std::int32_t>(part), read);
    });
  }

 private:
  template <typename Transfer>
  ErrorChain limited(std::uint32_t count, std::uint32_t& done, Transfer transfer) {
    const std::uint32_t part = std::min(count, limit_);
    if (ErrorChain error = transfer(part)) return error;
    limit_ -= done;
    if (part < count && failing_) return makeError("LimitedStream", 7, "limit reached");
    return {};
  }

  std::uint32_t limit_;
  bool failing_;
};

LimitedStream shortAfter(std::uint32_t limit) {
  return {limit, false};
}
LimitedStream failingAfter(std::uint32_t limit) {
  return {limit, true};
}

// Writes down the sizes of its transfers.
class NotingStream final : public PMemStream {
 public:
  NotingStream() : PMemStream(64) {}

  ErrorChain Write(const void* bytes, std::uint32_t count, std::uint32_t& written) override {
    calls.push_back("Write " + std::to_string(count));
    return PMemStream::Write(bytes, count, written);
  }
  ErrorChain Read(void* bytes, std::int32_t count, std::uint32_t& read) override {
    calls.push_back("Read " + std::to_string(count));
    return PMemStream::Read(bytes, count, read);
  }

  std::vector<std::string> calls;
};

template <typename Stream>
void fill(Stream& stream, const std::string& bytes) {
  std::uint32_t written = 0;
  EXPECT_FALSE(
      stream.PMemStream::Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written));
  EXPECT_FALSE(stream.Seek(0));
}

std::string contentOf(PMemStream& stream) {
  std::string bytes(static_cast<std::size_t>(stream.GetSize()), '?');
  std::uint32_t count = 0;
  EXPECT_FALSE(stream.Seek(0));
  EXPECT_FALSE(
      stream.PMemStream::Read(bytes.data(), static_cast<std::int32_t>(bytes.size()), count));
  return bytes;
}

TEST(ReadBuffer, ReadsExactlyTheSize) {
  PMemStream stream(4);
  fill(stream, "abcdef");
  char bytes[5] = {};
  EXPECT_FALSE(stream.ReadBuffer(bytes, 4));
  EXPECT_STREQ(bytes, "abcd");
}

TEST(ReadBuffer, ReportsWhatIsMissing) {
  PMemStream stream(4);
  fill(stream, "abcdef");
  char bytes[10];
  EXPECT_EQ(textOf(stream.ReadBuffer(bytes, 10)),
            "[PStream::ReadBuffer] -1: Expected 10 bytes, got 6");
}

TEST(ReadBuffer, ReturnsTheErrorOfReadAsItIs) {
  LimitedStream stream = failingAfter(2);
  fill(stream, "abcdef");
  char bytes[10];
  EXPECT_EQ(textOf(stream.ReadBuffer(bytes, 4)), "[LimitedStream] 7: limit reached");
}

TEST(ReadBuffer, OfNothingSucceedsAtTheEnd) {
  PMemStream stream(4);
  EXPECT_FALSE(stream.ReadBuffer(nullptr, 0));
}

TEST(ReadBuffer, ReportsOneRecord) {
  PMemStream stream(4);
  char byte = 0;
  const ErrorChain error = stream.ReadBuffer(&byte, 1);
  EXPECT_EQ(textOf(error), "[PStream::ReadBuffer] -1: Expected 1 bytes, got 0");
  EXPECT_EQ(error.head->next, nullptr);
}

TEST(WriteString, OfAStreamInMemoryTakesNoNoticeOfWhatIsMissing) {
  LimitedStream stream = shortAfter(4);
  EXPECT_FALSE(stream.WriteString("abcdef"));
  EXPECT_EQ(contentOf(stream), "abcd");
}

TEST(WriteString, ReturnsTheErrorOfWriteAsItIs) {
  LimitedStream stream = failingAfter(4);
  EXPECT_EQ(textOf(stream.WriteString("abcdef")), "[LimitedStream] 7: limit reached");
}

TEST(WriteBuffer, WritesExactlyTheSize) {
  PMemStream stream(4);
  EXPECT_FALSE(stream.WriteBuffer("abcdef", 5));
  EXPECT_EQ(contentOf(stream), "abcde");
}

TEST(WriteBuffer, ReportsWhatWasNotWritten) {
  LimitedStream stream = shortAfter(4);
  EXPECT_EQ(textOf(stream.WriteBuffer("abcdef", 6)),
            "[PStream::WriteBuffer] -1: 4 of 6 bytes written");
}

TEST(WriteBuffer, ReturnsTheErrorOfWriteAsItIs) {
  LimitedStream stream = failingAfter(4);
  EXPECT_EQ(textOf(stream.WriteBuffer("abcdef", 6)), "[LimitedStream] 7: limit reached");
}

TEST(WritePascalStr, WritesALittleEndianLengthAndTheText) {
  PMemStream stream(64);
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.WritePascalStr("abc", 3, written));
  EXPECT_EQ(contentOf(stream), std::string("\x03\x00"
                                           "abc",
                                           5));
  EXPECT_EQ(written, 5U);
}

TEST(WritePascalStr, WritesLengthsBeyondAByte) {
  PMemStream stream(64);
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.WritePascalStr(std::string(0x102, 'a').c_str(), 0x102, written));
  EXPECT_EQ(contentOf(stream), "\x02\x01" + std::string(0x102, 'a'));
}

TEST(WritePascalStr, WritesUpTo65535Characters) {
  PMemStream stream(4096);
  const std::string text = std::string(65533, 'a') + "bcd";
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.WritePascalStr(text.c_str(), 65534, written));
  EXPECT_EQ(written, 65536U);
  EXPECT_EQ(contentOf(stream), "\xFE\xFF" + std::string(65533, 'a') + "b");
  EXPECT_FALSE(stream.Reset(false));
  EXPECT_FALSE(stream.WritePascalStr(text.c_str(), 65535, written));
  EXPECT_EQ(written, 65537U);
  EXPECT_EQ(contentOf(stream), "\xFF\xFF" + std::string(65533, 'a') + "bc");
}

TEST(WritePascalStr, TransfersPrefixAndTextSeparately) {
  NotingStream stream;
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.WritePascalStr("abc", 3, written));
  EXPECT_FALSE(stream.WritePascalStr(nullptr, 0, written));
  EXPECT_THAT(stream.calls, ElementsAre("Write 2", "Write 3", "Write 2"));
}

TEST(WritePascalStr, WritesAnEmptyTextAsItsLength) {
  PMemStream stream(64);
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.WritePascalStr("", 0, written));
  EXPECT_EQ(contentOf(stream), std::string(2, '\0'));
  EXPECT_EQ(written, 2U);
}

TEST(WritePascalStr, ReportsACutLength) {
  LimitedStream stream = shortAfter(1);
  std::uint32_t written = 0;
  EXPECT_EQ(textOf(stream.WritePascalStr("abc", 3, written)),
            "[PStream::WritePascalStr] -1: 1 of 2 bytes written");
  EXPECT_EQ(written, 1U);
}

TEST(WritePascalStr, ReturnsTheErrorOfTheLengthAsItIs) {
  LimitedStream stream = failingAfter(1);
  std::uint32_t written = 0;
  EXPECT_EQ(textOf(stream.WritePascalStr("abc", 3, written)), "[LimitedStream] 7: limit reached");
}

TEST(WritePascalStr, ReturnsTheErrorOfTheTextAsItIs) {
  LimitedStream stream = failingAfter(4);
  std::uint32_t written = 0;
  EXPECT_EQ(textOf(stream.WritePascalStr("abc", 3, written)), "[LimitedStream] 7: limit reached");
  EXPECT_EQ(written, 2U);  // of the text alone
}

TEST(WritePascalStr, CountsACutTextWithoutFailing) {
  LimitedStream stream = shortAfter(4);
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.WritePascalStr("abc", 3, written));
  EXPECT_EQ(written, 4U);
}

TEST(ReadPascalStr, ReadsTheTextAndCountsFour) {
  PMemStream stream(64);
  fill(stream, std::string("\x03\x00"
                           "abcd",
                           6));
  char buffer[4] = {'x', 'x', 'x', 'x'};
  std::uint16_t length = 99;
  std::uint32_t read = 0;
  EXPECT_FALSE(stream.ReadPascalStr(buffer, length, read));
  EXPECT_EQ(std::string(buffer, 4), "abcx");
  EXPECT_EQ(length, 3);
  EXPECT_EQ(read, 4U);
}

TEST(ReadPascalStr, CountsFourForTheLongestTextToo) {
  PMemStream stream(4096);
  fill(stream, "\xFF\xFF" + std::string(65534, 'a') + "bc");
  std::string buffer(65536, 'x');
  std::uint16_t length = 0;
  std::uint32_t read = 0;
  EXPECT_FALSE(stream.ReadPascalStr(buffer.data(), length, read));
  EXPECT_EQ(length, 65535);
  EXPECT_EQ(read, 4U);
  EXPECT_EQ(buffer, std::string(65534, 'a') + "bx");
  EXPECT_EQ(stream.Tell(), 65537);
}

TEST(ReadPascalStr, CountsFourForASingleCharacterToo) {
  PMemStream stream(64);
  fill(stream, std::string("\x01\x00"
                           "a",
                           3));
  char buffer[1];
  std::uint16_t length = 0;
  std::uint32_t read = 0;
  EXPECT_FALSE(stream.ReadPascalStr(buffer, length, read));
  EXPECT_EQ(length, 1);
  EXPECT_EQ(read, 4U);
}

TEST(ReadPascalStr, TransfersPrefixAndTextSeparately) {
  NotingStream stream;
  fill(stream, std::string("\x03\x00"
                           "abc\x00\x00",
                           7));
  char buffer[3];
  std::uint16_t length = 0;
  std::uint32_t read = 0;
  EXPECT_FALSE(stream.ReadPascalStr(buffer, length, read));
  EXPECT_FALSE(stream.ReadPascalStr(buffer, length, read));
  EXPECT_THAT(stream.calls, ElementsAre("Read 2", "Read 3", "Read 2"));
}

TEST(ReadPascalStr, OfAnEmptyTextLeavesTheBufferAlone) {
  PMemStream stream(64);
  fill(stream, std::string(2, '\0'));
  char buffer[1] = {'x'};
  std::uint16_t length = 99;
  std::uint32_t read = 0;
  EXPECT_FALSE(stream.ReadPascalStr(buffer, length, read));
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(length, 0);
  EXPECT_EQ(read, 2U);
}

TEST(ReadPascalStr, ReportsACutLength) {
  PMemStream stream(64);
  fill(stream, "a");
  char buffer[1];
  std::uint16_t length = 99;
  std::uint32_t read = 0;
  EXPECT_EQ(textOf(stream.ReadPascalStr(buffer, length, read)),
            "[PStream::ReadPascalStr] -1: expected 2 bytes, got 1");
  EXPECT_EQ(length, 0);
  EXPECT_EQ(read, 1U);
}

TEST(ReadPascalStr, ReportsACutText) {
  PMemStream stream(64);
  fill(stream, std::string("\x05\x00"
                           "abc",
                           5));
  char buffer[5];
  std::uint16_t length = 99;
  std::uint32_t read = 0;
  EXPECT_EQ(textOf(stream.ReadPascalStr(buffer, length, read)),
            "[PStream::ReadBuffer] -1: Expected 5 bytes, got 3");
  EXPECT_EQ(length, 0);
  EXPECT_EQ(read, 2U);
}

TEST(ReadPascalStr, ReturnsTheErrorOfReadAsItIs) {
  LimitedStream stream = failingAfter(1);
  fill(stream, "abc");
  char buffer[5];
  std::uint16_t length = 99;
  std::uint32_t read = 0;
  EXPECT_EQ(textOf(stream.ReadPascalStr(buffer, length, read)), "[LimitedStream] 7: limit reached");
  EXPECT_EQ(length, 0);
}

TEST(ReadPascalStr1, RefusesATextAsLongAsTheBuffer) {
  PMemStream stream(64);
  fill(stream, std::string("\x05\x00"
                           "abcde",
                           7));
  char buffer[5];
  std::uint16_t length = 5;
  std::uint32_t read = 0;
  EXPECT_EQ(textOf(stream.ReadPascalStr1(buffer, length, read)),
            "[PStream::ReadPascalStr1] -1: Buffer length = 5 too short for 5 characters");
  EXPECT_EQ(length, 5);
  EXPECT_EQ(read, 2U);
  EXPECT_EQ(stream.Tell(), 2);
}

TEST(ReadPascalStr1, ReadsATextThatLeavesRoomAndTerminatesIt) {
  PMemStream stream(64);
  fill(stream, std::string("\x04\x00"
                           "abcde",
                           7));
  char buffer[5] = {'x', 'x', 'x', 'x', 'x'};
  std::uint16_t length = 5;
  std::uint32_t read = 0;
  EXPECT_FALSE(stream.ReadPascalStr1(buffer, length, read));
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(length, 4);
  EXPECT_EQ(read, 4U);
}

TEST(ReadPascalStr1, TakesUpTo65534CharactersIntoTheLargestBuffer) {
  PMemStream stream(4096);
  fill(stream, "\xFE\xFF" + std::string(65533, 'a') + "bc");
  std::string buffer(65536, 'x');
  std::uint16_t length = 65535;
  std::uint32_t read = 0;
  EXPECT_FALSE(stream.ReadPascalStr1(buffer.data(), length, read));
  EXPECT_EQ(length, 65534);
  EXPECT_EQ(read, 4U);
  EXPECT_EQ(buffer, std::string(65533, 'a') + "b" + std::string("\0x", 2));
}

TEST(ReadPascalStr1, FindsEveryBufferTooShortForTheLongestText) {
  PMemStream stream(4096);
  fill(stream, "\xFF\xFF" + std::string(65535, 'a'));
  std::string buffer(65536, 'x');
  std::uint16_t length = 65535;
  std::uint32_t read = 0;
  EXPECT_EQ(textOf(stream.ReadPascalStr1(buffer.data(), length, read)),
            "[PStream::ReadPascalStr1] -1: Buffer length = 65535 too short for 65535 characters");
  EXPECT_EQ(buffer, std::string(65536, 'x'));
}

TEST(ReadPascalStr1, RefusesEveryTextForABufferOfNoBytes) {
  PMemStream stream(64);
  fill(stream, std::string("\x01\x00"
                           "a",
                           3));
  std::uint16_t length = 0;
  std::uint32_t read = 0;
  EXPECT_EQ(textOf(stream.ReadPascalStr1(nullptr, length, read)),
            "[PStream::ReadPascalStr1] -1: Buffer length = 0 too short for 1 characters");
}

TEST(ReadPascalStr1, OfAnEmptyTextLeavesLengthAndBufferAlone) {
  PMemStream stream(64);
  fill(stream, std::string(2, '\0'));
  char buffer[5] = {'x', 'x', 'x', 'x', 'x'};
  std::uint16_t length = 5;
  std::uint32_t read = 0;
  EXPECT_FALSE(stream.ReadPascalStr1(buffer, length, read));
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(length, 5);
  EXPECT_EQ(read, 2U);
}

TEST(ReadPascalStr1, ReportsACutLength) {
  PMemStream stream(64);
  char buffer[5];
  std::uint16_t length = 5;
  std::uint32_t read = 0;
  EXPECT_EQ(textOf(stream.ReadPascalStr1(buffer, length, read)),
            "[PStream::ReadPascalStr1] -1: expected 2 bytes, got 0");
  EXPECT_EQ(length, 5);
}

TEST(ReadPascalStr1, ReportsACutText) {
  PMemStream stream(64);
  fill(stream, std::string("\x04\x00"
                           "ab",
                           4));
  char buffer[5];
  std::uint16_t length = 5;
  std::uint32_t read = 0;
  EXPECT_EQ(textOf(stream.ReadPascalStr1(buffer, length, read)),
            "[PStream::ReadBuffer] -1: Expected 4 bytes, got 2");
  EXPECT_EQ(length, 5);
  EXPECT_EQ(read, 2U);
}

TEST(ReadPascalStr1, ReturnsTheErrorsOfReadAsTheyAre) {
  for (const std::uint32_t limit : {1U, 3U}) {
    LimitedStream stream = failingAfter(limit);
    fill(stream, std::string("\x03\x00"
                             "abc",
                             5));
    char buffer[5];
    std::uint16_t length = 5;
    std::uint32_t read = 0;
    EXPECT_EQ(textOf(stream.ReadPascalStr1(buffer, length, read)),
              "[LimitedStream] 7: limit reached");
    EXPECT_EQ(length, 5);
  }
}

TEST(WriteCharString, WritesALittleEndianLengthAndTheText) {
  PMemStream stream(64);
  EXPECT_FALSE(stream.WriteCharString("abc"));
  EXPECT_EQ(contentOf(stream), std::string("\x03\x00\x00\x00"
                                           "abc",
                                           7));
}

TEST(WriteCharString, OfAnEmptyTextWritesFourZeroBytes) {
  PMemStream stream(64);
  EXPECT_FALSE(stream.WriteCharString(CharString()));
  EXPECT_EQ(contentOf(stream), std::string(4, '\0'));
}

TEST(WriteCharString, WritesLengthsBeyond16Bits) {
  PMemStream stream(4096);
  const std::string text = std::string(65535, 'a') + "b";
  EXPECT_FALSE(stream.WriteCharString(text.c_str()));
  EXPECT_EQ(contentOf(stream), std::string("\x00\x00\x01\x00", 4) + text);
}

TEST(WriteCharString, TransfersPrefixAndTextSeparately) {
  NotingStream stream;
  EXPECT_FALSE(stream.WriteCharString("abc"));
  EXPECT_FALSE(stream.WriteCharString(CharString()));
  EXPECT_THAT(stream.calls, ElementsAre("Write 4", "Write 3", "Write 4", "Write 0"));
}

TEST(WriteCharString, ReturnsTheErrorOfTheLengthAsItIs) {
  LimitedStream stream = failingAfter(3);
  EXPECT_EQ(textOf(stream.WriteCharString("abc")), "[LimitedStream] 7: limit reached");
}

TEST(WriteCharString, ReportsACutLength) {
  LimitedStream stream = shortAfter(3);
  EXPECT_EQ(textOf(stream.WriteCharString("abc")),
            "[PStream::WriteBuffer] -1: 3 of 4 bytes written");
}

TEST(WriteCharString, ReportsACutText) {
  LimitedStream stream = shortAfter(6);
  EXPECT_EQ(textOf(stream.WriteCharString("abc")),
            "[PStream::WriteBuffer] -1: 2 of 3 bytes written");
}

TEST(WriteCharString, ReportsACutTextOnTopOfItsCause) {
  LimitedStream stream = failingAfter(6);
  EXPECT_EQ(textOf(stream.WriteCharString("abc")),
            "[PStream::WriteBuffer] -1: 2 of 3 bytes written | [LimitedStream] 7: limit reached");
}

TEST(ReadCharString, ReadsWhatWriteCharStringWrote) {
  PMemStream stream(4);
  EXPECT_FALSE(stream.WriteCharString("some text"));
  EXPECT_FALSE(stream.Seek(0));
  CharString text;
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_STREQ(text.text(), "some text");
}

TEST(ReadCharString, OfFourZeroBytesLeavesAnEmptyText) {
  PMemStream stream(64);
  fill(stream, std::string(4, '\0'));
  CharString text("old");
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_EQ(text.buffer(), nullptr);
}

TEST(ReadCharString, ReadsLengthsBeyond16Bits) {
  PMemStream stream(4096);
  const std::string bytes = std::string(65535, 'a') + "b";
  fill(stream, std::string("\x00\x00\x01\x00", 4) + bytes + "more");
  CharString text;
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_EQ(text.text(), bytes);
  EXPECT_EQ(stream.Tell(), 65540);
}

TEST(ReadCharString, TransfersPrefixAndTextSeparately) {
  NotingStream stream;
  fill(stream, std::string("\x03\x00\x00\x00"
                           "abc\x00\x00\x00\x00",
                           11));
  CharString text;
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_THAT(stream.calls, ElementsAre("Read 4", "Read 3", "Read 4", "Read 0"));
}

TEST(ReadCharString, KeepsZeroBytesOfTheTextAndTerminatesIt) {
  PMemStream stream(64);
  fill(stream, std::string("\x03\x00\x00\x00"
                           "a\x00"
                           "b",
                           7));
  CharString text("a longer text");
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_EQ(std::string(text.data(), 4), std::string("a\0b\0", 4));
}

TEST(ReadCharString, CutsALongerText) {
  PMemStream stream(64);
  fill(stream, std::string("\x02\x00\x00\x00xy", 6));
  CharString text("a longer text");
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_STREQ(text.text(), "xy");
}

TEST(ReadCharString, LeavesSharersOfTheTextUntouched) {
  PMemStream stream(64);
  fill(stream, std::string("\x02\x00\x00\x00xy", 6));
  CharString text("old");
  const CharString sharer(text);
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_STREQ(text.text(), "xy");
  EXPECT_STREQ(sharer.text(), "old");
  EXPECT_EQ(text.buffer()->refCount.load(), 1U);
  EXPECT_EQ(sharer.buffer()->refCount.load(), 1U);
}

TEST(ReadCharString, ReportsACutTextAndLeavesTheRestAsItWas) {
  PMemStream stream(64);
  fill(stream, std::string("\x06\x00\x00\x00xy", 6));
  CharString text("old1");
  EXPECT_EQ(textOf(stream.ReadCharString(text)),
            "[PStream::ReadCharString] -1: expected 6 bytes, got 2");
  EXPECT_STREQ(text.text(), "xyd1  ");
}

TEST(ReadCharString, ReportsACutLength) {
  PMemStream stream(64);
  fill(stream, "abc");
  CharString text("old");
  EXPECT_EQ(textOf(stream.ReadCharString(text)),
            "[PStream::ReadBuffer] -1: Expected 4 bytes, got 3");
  EXPECT_STREQ(text.text(), "old");
}

TEST(ReadCharString, ReturnsTheErrorOfTheTextAsItIs) {
  LimitedStream stream = failingAfter(5);
  fill(stream, std::string("\x02\x00\x00\x00xy", 6));
  CharString text;
  EXPECT_EQ(textOf(stream.ReadCharString(text)), "[LimitedStream] 7: limit reached");
}

TEST(ReadCharString, RefusesANegativeLength) {
  PMemStream stream(64);
  fill(stream, "\xFB\xFF\xFF\xFF and more");
  CharString text("old");
  EXPECT_EQ(textOf(stream.ReadCharString(text)), "[PMemStream::Read] -1: Invalid read size (-5)");
  EXPECT_STREQ(text.text(), "");
}

}  // namespace
