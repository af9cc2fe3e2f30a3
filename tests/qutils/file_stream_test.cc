// Tests PFileStream over real files.
#include "qutils/file_stream.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "platform/utf.h"
#include "plugin/error_chain.h"
#include "qutils/system_error.h"
#include "qutils/text_of.h"
#include "support/temp_dir.h"

namespace {

using QUtils::PFileStream;
using QUtils::systemErrorText;
using namespace QUtils;  // the modes

constexpr std::uint32_t kReadWrite = GENERIC_READ | GENERIC_WRITE;

// A failed system call: one record with the system's code and text.
void expectSystemError(const ErrorChain& error, const char* tag, DWORD code) {
  ASSERT_TRUE(error);
  EXPECT_STREQ(error.head->tag, tag);
  EXPECT_EQ(error.head->code, static_cast<std::int32_t>(code));
  EXPECT_STREQ(error.head->message, systemErrorText(code).text());
  EXPECT_EQ(error.head->next, nullptr);
}

void write(PFileStream& stream, const std::string& bytes) {
  std::uint32_t written = 0;
  EXPECT_FALSE(stream.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written));
  EXPECT_EQ(written, bytes.size());
}

std::string read(PFileStream& stream, std::int32_t size) {
  std::string bytes(static_cast<std::size_t>(size), '?');
  std::uint32_t count = 99;
  EXPECT_FALSE(stream.Read(bytes.data(), size, count));
  bytes.resize(count);
  return bytes;
}

class FileStream : public testing::Test {
 protected:
  TempDir directory_;
  const std::string name_ = directory_ / "file";
};

// What the stream does, and what is in the file afterwards.
class FileStreamModes : public FileStream {
 protected:
  std::string create(std::uint32_t mode) {
    PFileStream stream;
    EXPECT_FALSE(stream.Create(name_.c_str(), mode));
    write(stream, "X");
    EXPECT_FALSE(stream.Close());
    return readFile(name_);
  }
  std::string open(std::uint32_t mode) {
    PFileStream stream;
    EXPECT_FALSE(stream.OpenFile(name_.c_str(), kReadWrite, FILE_SHARE_READ, mode));
    write(stream, "X");
    EXPECT_FALSE(stream.Close());
    return readFile(name_);
  }
  ErrorChain openError(std::uint32_t mode) {
    PFileStream stream;
    return stream.OpenFile(name_.c_str(), kReadWrite, FILE_SHARE_READ, mode);
  }
};

TEST_F(FileStream, IsConstructedClosedAndWithoutAName) {
  PFileStream stream;
  EXPECT_EQ(stream.IsOpened(), 0);
  EXPECT_EQ(textOf(stream.Open()), "[PFileStream::Open] -1: Empty file name");
}

TEST_F(FileStream, OpenWithAnEmptyNameFails) {
  PFileStream stream;
  EXPECT_EQ(textOf(stream.OpenFile("", GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING)),
            "[PFileStream::Open] -1: Empty file name");
}

TEST_F(FileStream, OpenWithoutANameFails) {
  PFileStream stream;
  EXPECT_EQ(textOf(stream.OpenFile(nullptr, GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING)),
            "[PFileStream::Open] -1: Empty file name");
}

TEST_F(FileStream, CreateWithoutANameFails) {
  PFileStream stream;
  EXPECT_EQ(textOf(stream.Create(nullptr, PFS_MODE_CREATE_ALWAYS)),
            "[PFileStream::Create] -1: Empty file name");
  EXPECT_EQ(textOf(stream.Create("", PFS_MODE_CREATE_ALWAYS)),
            "[PFileStream::Create] -1: Empty file name");
}

TEST_F(FileStream, OpenOfAMissingFileFailsWithTheSystemsCode) {
  PFileStream stream;
  expectSystemError(
      stream.OpenFile(name_.c_str(), GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING),
      "PFileStream::Open", ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(stream.IsOpened(), 0);
}

TEST_F(FileStream, OpenInAMissingDirectoryFailsWithTheSystemsCode) {
  PFileStream stream;
  const std::string name = directory_ / "missing/file";
  expectSystemError(stream.OpenFile(name.c_str(), GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING),
                    "PFileStream::Open", ERROR_PATH_NOT_FOUND);
}

TEST_F(FileStream, CreateInAMissingDirectoryFailsWithTheSystemsCode) {
  PFileStream stream;
  const std::string name = directory_ / "missing/file";
  expectSystemError(stream.Create(name.c_str(), PFS_MODE_CREATE_ALWAYS), "PFileStream::Create",
                    ERROR_PATH_NOT_FOUND);
}

TEST_F(FileStream, CreateOfADirectoryFailsWithTheSystemsCode) {
  PFileStream stream;
  const std::string name = directory_.path().u8string();
  expectSystemError(stream.Create(name.c_str(), PFS_MODE_CREATE_ALWAYS), "PFileStream::Create",
                    ERROR_ACCESS_DENIED);
}

TEST_F(FileStreamModes, CreateAlwaysTruncatesAnExistingFile) {
  writeFile(name_, "abc");
  EXPECT_EQ(create(PFS_MODE_CREATE_ALWAYS), "X");
}

TEST_F(FileStreamModes, CreateAlwaysMakesAMissingFile) {
  EXPECT_EQ(create(PFS_MODE_CREATE_ALWAYS), "X");
}

TEST_F(FileStreamModes, CreateExistingTruncatesToo) {
  writeFile(name_, "abc");
  EXPECT_EQ(create(PFS_MODE_EXISTING), "X");
}

TEST_F(FileStreamModes, CreateOpenAlwaysTruncatesToo) {
  writeFile(name_, "abc");
  EXPECT_EQ(create(PFS_MODE_OPEN_ALWAYS), "X");
}

TEST_F(FileStreamModes, CreateAppendKeepsTheContentAndAddsToIt) {
  writeFile(name_, "abc");
  EXPECT_EQ(create(PFS_MODE_APPEND), "abcX");
}

TEST_F(FileStreamModes, CreateAppendMakesAMissingFile) {
  EXPECT_EQ(create(PFS_MODE_APPEND), "X");
}

TEST_F(FileStreamModes, CreateNewOfAnExistingFileFailsWithTheFileExistsCode) {
  writeFile(name_, "abc");
  PFileStream stream;
  expectSystemError(stream.Create(name_.c_str(), PFS_MODE_CREATE_NEW), "PFileStream::Create",
                    ERROR_FILE_EXISTS);
  EXPECT_EQ(readFile(name_), "abc");
}

TEST_F(FileStreamModes, CreateNewWinsOverTheLowBits) {
  writeFile(name_, "abc");
  PFileStream stream;
  expectSystemError(stream.Create(name_.c_str(), PFS_MODE_CREATE_NEW | PFS_MODE_APPEND),
                    "PFileStream::Create", ERROR_FILE_EXISTS);
}

TEST_F(FileStreamModes, CreateNewMakesAMissingFile) {
  EXPECT_EQ(create(PFS_MODE_CREATE_NEW), "X");
}

TEST_F(FileStreamModes, TheFlagBitsDoNotChangeWhatIsWritten) {
  EXPECT_EQ(create(PFS_MODE_CREATE_ALWAYS | PFS_MODE_SEQUENTIAL | PFS_MODE_WRITE_THROUGH), "X");
  EXPECT_EQ(create(PFS_MODE_APPEND | PFS_MODE_WRITE_THROUGH), "XX");
  EXPECT_EQ(open(PFS_MODE_EXISTING | PFS_MODE_SEQUENTIAL | PFS_MODE_WRITE_THROUGH), "XX");
}

TEST_F(FileStreamModes, OpenExistingKeepsTheContent) {
  writeFile(name_, "abc");
  EXPECT_EQ(open(PFS_MODE_EXISTING), "Xbc");
}

TEST_F(FileStreamModes, OpenExistingNeedsTheFile) {
  expectSystemError(openError(PFS_MODE_EXISTING), "PFileStream::Open", ERROR_FILE_NOT_FOUND);
}

TEST_F(FileStreamModes, OpenAppendIsOpenExisting) {
  writeFile(name_, "abc");
  EXPECT_EQ(open(PFS_MODE_APPEND), "Xbc");
  std::filesystem::remove(std::filesystem::u8path(name_));
  expectSystemError(openError(PFS_MODE_APPEND), "PFileStream::Open", ERROR_FILE_NOT_FOUND);
}

TEST_F(FileStreamModes, OpenAlwaysKeepsTheContent) {
  writeFile(name_, "abc");
  EXPECT_EQ(open(PFS_MODE_OPEN_ALWAYS), "Xbc");
}

TEST_F(FileStreamModes, OpenAlwaysMakesAMissingFile) {
  EXPECT_EQ(open(PFS_MODE_OPEN_ALWAYS), "X");
}

TEST_F(FileStreamModes, OpenCreateAlwaysTruncates) {
  writeFile(name_, "abc");
  EXPECT_EQ(open(PFS_MODE_CREATE_ALWAYS), "X");
}

TEST_F(FileStreamModes, OpenCreateNewMakesAMissingFileOnly) {
  EXPECT_EQ(open(PFS_MODE_CREATE_NEW), "X");
  expectSystemError(openError(PFS_MODE_CREATE_NEW | PFS_MODE_CREATE_ALWAYS), "PFileStream::Open",
                    ERROR_FILE_EXISTS);
}

TEST_F(FileStream, OpensByDefaultForBothDirectionsAndMakesAMissingFile) {
  PFileStream stream;
  EXPECT_FALSE(stream.Create(name_.c_str(), PFS_MODE_CREATE_ALWAYS));
  write(stream, "abc");
  EXPECT_FALSE(stream.Close());
  std::filesystem::remove(std::filesystem::u8path(name_));
  EXPECT_FALSE(stream.Open());
  write(stream, "xyz");
  EXPECT_FALSE(stream.Seek(0));
  EXPECT_EQ(read(stream, 3), "xyz");
}

TEST_F(FileStream, CreateIgnoresAndKeepsTheStoredParameters) {
  writeFile(name_, "abc");
  PFileStream stream;
  EXPECT_FALSE(stream.SetFileParams(name_.c_str(), GENERIC_READ, 0, PFS_MODE_EXISTING));
  EXPECT_FALSE(stream.Create(nullptr, PFS_MODE_CREATE_ALWAYS));
  write(stream, "new");
  EXPECT_FALSE(stream.Close());
  EXPECT_FALSE(stream.Open());
  EXPECT_EQ(read(stream, 10), "new");
  std::uint32_t written = 99;
  expectSystemError(stream.Write("x", 1, written), "PFileStream::Write", ERROR_ACCESS_DENIED);
}

TEST_F(FileStream, IsOpenedCountsOpeningAndClosing) {
  PFileStream stream;
  EXPECT_FALSE(stream.Create(name_.c_str(), PFS_MODE_CREATE_ALWAYS));
  EXPECT_EQ(stream.IsOpened(), 1);
  EXPECT_FALSE(stream.Close());
  EXPECT_EQ(stream.IsOpened(), 0);
  EXPECT_FALSE(stream.Open());
  EXPECT_EQ(stream.IsOpened(), 1);
}

TEST_F(FileStream, TheDestructorClosesTheFile) {
  {
    PFileStream stream;
    EXPECT_FALSE(stream.Create(name_.c_str(), PFS_MODE_CREATE_ALWAYS));
    write(stream, "abc");
  }
  EXPECT_EQ(readFile(name_), "abc");
  EXPECT_TRUE(std::filesystem::remove(std::filesystem::u8path(name_)));
}

TEST_F(FileStream, ReadIsShortAtTheEnd) {
  writeFile(name_, "abc");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING));
  EXPECT_EQ(read(stream, 10), "abc");
  EXPECT_EQ(read(stream, 10), "");
}

TEST_F(FileStream, ReadOfNegativeSizeFails) {
  writeFile(name_, "abc");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING));
  char byte = 'x';
  std::uint32_t count = 99;
  EXPECT_EQ(textOf(stream.Read(&byte, -1, count)),
            "[PFileStream::Read] -1: Invalid read size (-1)");
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(byte, 'x');
}

TEST_F(FileStream, WriteToAFileOpenForReadingFails) {
  writeFile(name_, "abc");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING));
  std::uint32_t written = 99;
  expectSystemError(stream.Write("x", 1, written), "PFileStream::Write", ERROR_ACCESS_DENIED);
  EXPECT_EQ(written, 0U);
}

TEST_F(FileStream, ReadFromAFileOpenForWritingFails) {
  writeFile(name_, "abc");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, PFS_MODE_EXISTING));
  char byte = 0;
  std::uint32_t count = 99;
  expectSystemError(stream.Read(&byte, 1, count), "PFileStream::Read", ERROR_ACCESS_DENIED);
  EXPECT_EQ(count, 0U);
}

TEST_F(FileStream, WriteStringLeavesTheTerminatorOut) {
  PFileStream stream;
  EXPECT_FALSE(stream.Create(name_.c_str(), PFS_MODE_CREATE_ALWAYS));
  EXPECT_FALSE(stream.WriteString("hello"));
  EXPECT_FALSE(stream.Close());
  EXPECT_EQ(readFile(name_), "hello");
}

TEST_F(FileStream, WriteStringReportsWhatWasNotWrittenOnTopOfItsCause) {
  writeFile(name_, "abc");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING));
  EXPECT_EQ(textOf(stream.WriteString("hello")),
            std::string("[PStream::WriteBuffer] -1: 0 of 5 bytes written | "
                        "[PFileStream::Write] 5: ") +
                systemErrorText(ERROR_ACCESS_DENIED).text());
}

TEST_F(FileStream, SeeksFromTheBeginningThePositionAndTheEnd) {
  writeFile(name_, "abcdef");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), kReadWrite, FILE_SHARE_READ, PFS_MODE_EXISTING));
  EXPECT_FALSE(stream.Seek(2));
  EXPECT_EQ(read(stream, 1), "c");
  EXPECT_FALSE(stream.SeekOff(-2));
  EXPECT_EQ(read(stream, 1), "b");
  EXPECT_FALSE(stream.SeekEnd(-1));
  EXPECT_EQ(stream.Tell(), 5);
  EXPECT_EQ(read(stream, 1), "f");
}

TEST_F(FileStream, SeekBeforeTheBeginningFailsAndStays) {
  writeFile(name_, "abcdef");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), kReadWrite, FILE_SHARE_READ, PFS_MODE_EXISTING));
  EXPECT_FALSE(stream.Seek(3));
  expectSystemError(stream.Seek(-1), "PFileStream::Seek", ERROR_NEGATIVE_SEEK);
  expectSystemError(stream.SeekOff(-4), "PFileStream::SeekOff", ERROR_NEGATIVE_SEEK);
  expectSystemError(stream.SeekEnd(-7), "PFileStream::SeekEnd", ERROR_NEGATIVE_SEEK);
  EXPECT_EQ(stream.Tell(), 3);
}

TEST_F(FileStream, SeeksBehindTheEndAndBeyondFourGigabytes) {
  PFileStream stream;
  EXPECT_FALSE(stream.Create(name_.c_str(), PFS_MODE_CREATE_ALWAYS));
  EXPECT_FALSE(stream.Seek(0x123456789));
  EXPECT_EQ(stream.Tell(), 0x123456789);
  EXPECT_EQ(stream.GetSize(), 0);
  EXPECT_FALSE(stream.SeekOff(-0x100000000));
  EXPECT_EQ(stream.Tell(), 0x23456789);
}

TEST_F(FileStream, SeekToAPositionThatLooksLikeAFailureSucceeds) {
  PFileStream stream;
  EXPECT_FALSE(stream.Create(name_.c_str(), PFS_MODE_CREATE_ALWAYS));
  SetLastError(ERROR_ACCESS_DENIED);
  EXPECT_FALSE(stream.Seek(0xFFFFFFFF));
  EXPECT_EQ(stream.Tell(), 0xFFFFFFFF);
}

// Sizes and positions of a file that takes no room on disk.
class LargeFileStream : public FileStream {
 protected:
  void create(std::int64_t size) {
    EXPECT_FALSE(stream_.Create(name_.c_str(), PFS_MODE_CREATE_ALWAYS));
    EXPECT_FALSE(stream_.Seek(size));
    EXPECT_FALSE(stream_.Truncate());
  }
  PFileStream stream_;
};

TEST_F(LargeFileStream, KnowsSizesAndEndsAroundFourGigabytes) {
  for (const std::int64_t size : {0xFFFFFFFELL, 0xFFFFFFFFLL, 0x100000000LL, 0x100000001LL}) {
    create(size);
    EXPECT_EQ(stream_.GetSize(), size);
    EXPECT_EQ(stream_.GetFileSizeByName(name_.c_str()), size);
    EXPECT_FALSE(stream_.SeekEnd(-1));
    EXPECT_EQ(stream_.Tell(), size - 1);
    EXPECT_FALSE(stream_.IsEof());
    EXPECT_EQ(read(stream_, 10), std::string(1, '\0'));
    EXPECT_EQ(stream_.Tell(), size);
    EXPECT_TRUE(stream_.IsEof());
    EXPECT_FALSE(stream_.Close());
  }
}

TEST_F(LargeFileStream, MovesByMoreThanFourGigabytes) {
  create(0x200000005);
  EXPECT_FALSE(stream_.SeekEnd(-0x200000005));
  EXPECT_EQ(stream_.Tell(), 0);
  EXPECT_FALSE(stream_.SeekOff(0x1FFFFFFFF));
  EXPECT_EQ(stream_.Tell(), 0x1FFFFFFFF);
  EXPECT_FALSE(stream_.SeekOff(-0x1FFFFFFFE));
  EXPECT_EQ(stream_.Tell(), 1);
  EXPECT_FALSE(stream_.Seek(0x200000004));
  EXPECT_EQ(stream_.Tell(), 0x200000004);
}

TEST_F(LargeFileStream, WritesReadsAndCutsAcrossFourGigabytes) {
  create(0);
  EXPECT_FALSE(stream_.Seek(0xFFFFFFFE));
  write(stream_, "abcd");
  EXPECT_EQ(stream_.Tell(), 0x100000002);
  EXPECT_EQ(stream_.GetSize(), 0x100000002);
  EXPECT_FALSE(stream_.Seek(0xFFFFFFFD));
  EXPECT_EQ(read(stream_, 10), std::string("\0abcd", 5));
  EXPECT_FALSE(stream_.Seek(0x100000001));
  EXPECT_FALSE(stream_.Truncate());
  EXPECT_EQ(stream_.GetSize(), 0x100000001);
  EXPECT_FALSE(stream_.Seek(0xFFFFFFFF));
  EXPECT_FALSE(stream_.Truncate());
  EXPECT_EQ(stream_.GetSize(), 0xFFFFFFFF);
  EXPECT_FALSE(stream_.SeekEnd(-1));
  EXPECT_EQ(read(stream_, 10), "a");
}

TEST_F(FileStream, IsEofAtTheEndAndBehindIt) {
  writeFile(name_, "abc");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING));
  EXPECT_FALSE(stream.IsEof());
  EXPECT_FALSE(stream.Seek(3));
  EXPECT_TRUE(stream.IsEof());
  EXPECT_FALSE(stream.Seek(10));
  EXPECT_TRUE(stream.IsEof());
}

TEST_F(FileStream, TruncateCutsAtThePosition) {
  writeFile(name_, "abcdef");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), kReadWrite, FILE_SHARE_READ, PFS_MODE_EXISTING));
  EXPECT_FALSE(stream.Seek(2));
  EXPECT_FALSE(stream.Truncate());
  EXPECT_EQ(stream.GetSize(), 2);
  EXPECT_FALSE(stream.Close());
  EXPECT_EQ(readFile(name_), "ab");
}

TEST_F(FileStream, TruncateOfAFileOpenForReadingFails) {
  writeFile(name_, "abcdef");
  // The code differs between systems; ours must be the one at hand.
  HANDLE file = CreateFileW(Platform::duplicateAsWide(name_.c_str()).get(), GENERIC_READ,
                            FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_EQ(SetEndOfFile(file), FALSE);
  const DWORD code = GetLastError();
  CloseHandle(file);
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING));
  expectSystemError(stream.Truncate(), "PFileStream::Truncate", code);
}

TEST_F(FileStream, FlushSucceeds) {
  PFileStream stream;
  EXPECT_FALSE(stream.Create(name_.c_str(), PFS_MODE_CREATE_ALWAYS));
  write(stream, "abc");
  EXPECT_FALSE(stream.Flush());
  EXPECT_EQ(readFile(name_), "abc");
}

TEST_F(FileStream, CloseOfAClosedStreamFailsWithTheSystemsCode) {
  PFileStream stream;
  expectSystemError(stream.Close(), "PFileStream::Close", ERROR_INVALID_HANDLE);
  EXPECT_EQ(stream.IsOpened(), 0);
}

TEST_F(FileStream, EveryOperationOnAClosedStreamFailsUnderItsOwnTag) {
  PFileStream stream;
  char byte = 0;
  std::uint32_t count = 99;
  expectSystemError(stream.Write("x", 1, count), "PFileStream::Write", ERROR_INVALID_HANDLE);
  EXPECT_EQ(count, 0U);
  expectSystemError(stream.Read(&byte, 1, count), "PFileStream::Read", ERROR_INVALID_HANDLE);
  EXPECT_EQ(count, 0U);
  expectSystemError(stream.Seek(0), "PFileStream::Seek", ERROR_INVALID_HANDLE);
  expectSystemError(stream.SeekOff(0), "PFileStream::SeekOff", ERROR_INVALID_HANDLE);
  expectSystemError(stream.SeekEnd(0), "PFileStream::SeekEnd", ERROR_INVALID_HANDLE);
  expectSystemError(stream.Truncate(), "PFileStream::Truncate", ERROR_INVALID_HANDLE);
  expectSystemError(stream.Flush(), "PFileStream::Flush", ERROR_INVALID_HANDLE);
}

TEST_F(FileStream, HasNeitherSizeNorPositionWhenClosed) {
  PFileStream stream;
  EXPECT_EQ(stream.GetSize(), -1);
  EXPECT_EQ(stream.Tell(), -1);
  EXPECT_TRUE(stream.IsEof());
}

TEST_F(FileStream, GetFileSizeByNameNeedsNoOpenFile) {
  writeFile(name_, "abcdef");
  PFileStream stream;
  EXPECT_EQ(stream.GetFileSizeByName(name_.c_str()), 6);
  EXPECT_EQ(stream.IsOpened(), 0);
}

TEST_F(FileStream, GetFileSizeByNameOfAMissingFileIsMinusOne) {
  PFileStream stream;
  EXPECT_EQ(stream.GetFileSizeByName(name_.c_str()), -1);
}

TEST_F(FileStream, NamesAreUtf8) {
  const std::string name = directory_ / "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
  PFileStream stream;
  EXPECT_FALSE(stream.Create(name.c_str(), PFS_MODE_CREATE_ALWAYS));
  write(stream, "abc");
  EXPECT_FALSE(stream.Close());
  EXPECT_EQ(readFile(name), "abc");
}

TEST_F(FileStream, CarriesTheSharedStringFormats) {
  PFileStream stream;
  EXPECT_FALSE(stream.Create(name_.c_str(), PFS_MODE_CREATE_ALWAYS));
  EXPECT_FALSE(stream.WriteCharString("text"));
  EXPECT_FALSE(stream.WriteCharString(""));
  EXPECT_FALSE(stream.Seek(0));
  QUtils::CharString text;
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_STREQ(text.text(), "text");
  EXPECT_FALSE(stream.ReadCharString(text));
  EXPECT_STREQ(text.text(), "");
}

TEST_F(FileStream, ReadCharStringOfANegativeLengthFails) {
  writeFile(name_, "\xFB\xFF\xFF\xFF and more");
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile(name_.c_str(), GENERIC_READ, FILE_SHARE_READ, PFS_MODE_EXISTING));
  QUtils::CharString text;
  EXPECT_EQ(textOf(stream.ReadCharString(text)), "[PFileStream::Read] -1: Invalid read size (-5)");
}

}  // namespace
