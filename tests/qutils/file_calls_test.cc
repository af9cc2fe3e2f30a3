// Tests which system calls PFileStream makes, with which arguments, and what it makes of every
// answer, over a system that the test plays.
#include <gmock/gmock.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "platform/utf.h"
#include "platform/win32.h"
#include "plugin/error_chain.h"
#include "qutils/file_stream.h"
#include "qutils/system_error.h"

namespace {

using QUtils::PFileStream;
using testing::ElementsAre;
using testing::IsEmpty;

// What the system was asked, and what it answers to whatever it is asked.
struct PlayedSystem {
  std::vector<std::string> calls;
  BOOL success = TRUE;
  DWORD error = ERROR_SUCCESS;
  DWORD count = 0;  // of bytes read or written
  DWORD low = 0;    // half of a position or size
  DWORD high = 0;
  std::uintptr_t handle = 0x77;
};
PlayedSystem played;

template <typename... Numbers>
void note(const char* format, Numbers... numbers) {
  char text[256];
  std::snprintf(text, sizeof(text), format, static_cast<unsigned long long>(numbers)...);
  played.calls.emplace_back(text);
}

std::uintptr_t number(const void* handle) {
  return reinterpret_cast<std::uintptr_t>(handle);
}

BOOL answer() {
  SetLastError(played.error);
  return played.success;
}

HANDLE answerHandle() {
  return answer() != FALSE ? reinterpret_cast<HANDLE>(played.handle) : INVALID_HANDLE_VALUE;
}

}  // namespace

HANDLE recordedCreateFile(LPCWSTR name, DWORD access, DWORD shareMode, const void* security,
                          DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile) {
  played.calls.push_back(std::string("CreateFile ") + Platform::duplicateAsUtf8(name).get());
  note("access %llx share %llx security %llx disposition %llu flags %llx template %llx", access,
       shareMode, number(security), disposition, flagsAndAttributes, number(templateFile));
  return answerHandle();
}

BOOL recordedReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, const void* overlapped) {
  note("ReadFile %llx size %llu overlapped %llx", number(file), size, number(overlapped));
  for (DWORD i = 0; i < played.count; ++i)
    static_cast<char*>(buffer)[i] = 'r';
  *read = played.count;
  return answer();
}

BOOL recordedWriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written,
                       const void* overlapped) {
  note("WriteFile %llx size %llu overlapped %llx", number(file), size, number(overlapped));
  played.calls.emplace_back(static_cast<const char*>(buffer), played.count);
  *written = played.count;
  return answer();
}

DWORD recordedSetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method) {
  note("SetFilePointer %llx low %llx high %llx method %llu", number(file),
       static_cast<DWORD>(distance), static_cast<DWORD>(*distanceHigh), method);
  *distanceHigh = static_cast<LONG>(played.high);
  answer();
  return played.low;
}

DWORD recordedGetFileSize(HANDLE file, DWORD* sizeHigh) {
  note("GetFileSize %llx", number(file));
  *sizeHigh = played.high;
  answer();
  return played.low;
}

BOOL recordedSetEndOfFile(HANDLE file) {
  note("SetEndOfFile %llx", number(file));
  return answer();
}

BOOL recordedFlushFileBuffers(HANDLE file) {
  note("FlushFileBuffers %llx", number(file));
  return answer();
}

BOOL recordedCloseHandle(HANDLE file) {
  note("CloseHandle %llx", number(file));
  return answer();
}

HANDLE recordedFindFirstFile(LPCWSTR name, WIN32_FIND_DATAW* data) {
  played.calls.push_back(std::string("FindFirstFile ") + Platform::duplicateAsUtf8(name).get());
  data->nFileSizeLow = played.low;
  data->nFileSizeHigh = played.high;
  return answerHandle();
}

BOOL recordedFindClose(HANDLE search) {
  note("FindClose %llx", number(search));
  return answer();
}

namespace {

class FileCalls : public testing::Test {
 protected:
  FileCalls() { played = PlayedSystem(); }

  /// The calls since the last time.
  static std::vector<std::string> calls() { return std::exchange(played.calls, {}); }

  static void fail(DWORD error) {
    played.success = FALSE;
    played.error = error;
  }
  static void place(DWORD high, DWORD low, DWORD error) {
    played.high = high;
    played.low = low;
    played.error = error;
  }

  /// The arguments with which `mode` makes Open() and Create() open a file.
  static std::string opened(std::uint32_t mode) {
    PFileStream stream;
    calls();
    EXPECT_FALSE(stream.OpenFile("name", 0x80000000, 3, mode));
    return calls().at(1);
  }
  static std::string created(std::uint32_t mode) {
    PFileStream stream;
    calls();
    EXPECT_FALSE(stream.Create("name", mode));
    return calls().at(1);
  }
};

// A stream that was opened, and the calls for that forgotten.
class OpenFileCalls : public FileCalls {
 protected:
  OpenFileCalls() {
    EXPECT_FALSE(stream_.Create("name", 3));
    calls();
  }
  PFileStream stream_;
};

void expectError(const ErrorChain& error, const char* text) {
  EXPECT_STREQ(errorChainToString(error).text(), text);
}

// One record with the system's code and text.
void expectSystemError(const ErrorChain& error, const char* tag, DWORD code) {
  ASSERT_TRUE(error);
  EXPECT_STREQ(error.head->tag, tag);
  EXPECT_EQ(error.head->code, static_cast<std::int32_t>(code));
  EXPECT_STREQ(error.head->message, QUtils::systemErrorText(code).text());
  EXPECT_EQ(error.head->next, nullptr);
}

TEST_F(FileCalls, OpenPassesTheStoredParameters) {
  PFileStream stream;
  EXPECT_FALSE(stream.OpenFile("a/\xC3\xA4", 0x12345678, 0x5, 0));
  EXPECT_THAT(calls(), ElementsAre("CreateFile a/\xC3\xA4",
                                   "access 12345678 share 5 security 0 disposition 3 flags 0 "
                                   "template 0"));
}

TEST_F(FileCalls, OpenTakesItsDispositionFromTheMode) {
  EXPECT_EQ(opened(0), "access 80000000 share 3 security 0 disposition 3 flags 0 template 0");
  EXPECT_EQ(opened(1), "access 80000000 share 3 security 0 disposition 3 flags 0 template 0");
  EXPECT_EQ(opened(2), "access 80000000 share 3 security 0 disposition 4 flags 0 template 0");
  EXPECT_EQ(opened(3), "access 80000000 share 3 security 0 disposition 2 flags 0 template 0");
  for (const std::uint32_t createNew : {0x10U, 0x11U, 0x12U, 0x13U}) {
    EXPECT_EQ(opened(createNew),
              "access 80000000 share 3 security 0 disposition 1 flags 0 template 0");
  }
}

TEST_F(FileCalls, OpenTakesItsFlagsFromTheMode) {
  EXPECT_EQ(opened(0x4),
            "access 80000000 share 3 security 0 disposition 3 flags 8000000 template 0");
  EXPECT_EQ(opened(0x8),
            "access 80000000 share 3 security 0 disposition 3 flags 80000000 template 0");
  EXPECT_EQ(opened(0x1F),
            "access 80000000 share 3 security 0 disposition 1 flags 88000000 template 0");
  EXPECT_EQ(opened(0xFFFFFFE0),
            "access 80000000 share 3 security 0 disposition 3 flags 0 template 0");
}

TEST_F(FileCalls, CreateTakesItsDispositionFromTheMode) {
  EXPECT_EQ(created(0), "access c0000000 share 1 security 0 disposition 2 flags 0 template 0");
  EXPECT_EQ(created(1), "access c0000000 share 1 security 0 disposition 4 flags 0 template 0");
  EXPECT_EQ(created(2), "access c0000000 share 1 security 0 disposition 2 flags 0 template 0");
  EXPECT_EQ(created(3), "access c0000000 share 1 security 0 disposition 2 flags 0 template 0");
  for (const std::uint32_t createNew : {0x10U, 0x11U, 0x12U, 0x13U}) {
    EXPECT_EQ(created(createNew),
              "access c0000000 share 1 security 0 disposition 1 flags 0 template 0");
  }
}

TEST_F(FileCalls, CreateTakesItsFlagsFromTheMode) {
  EXPECT_EQ(created(0x4),
            "access c0000000 share 1 security 0 disposition 2 flags 8000000 template 0");
  EXPECT_EQ(created(0x8),
            "access c0000000 share 1 security 0 disposition 2 flags 80000000 template 0");
  EXPECT_EQ(created(0x1F),
            "access c0000000 share 1 security 0 disposition 1 flags 88000000 template 0");
  EXPECT_EQ(created(0xFFFFFFE0),
            "access c0000000 share 1 security 0 disposition 2 flags 0 template 0");
}

TEST_F(FileCalls, CreateMovesToTheEndOnlyToAppend) {
  PFileStream stream;
  EXPECT_FALSE(stream.Create("name", 1));
  EXPECT_THAT(calls(), ElementsAre("CreateFile name", testing::_,
                                   "SetFilePointer 77 low 0 high 0 method 2"));
  EXPECT_FALSE(stream.Create("name", 0x11));
  EXPECT_THAT(calls(), testing::SizeIs(2));
  EXPECT_FALSE(stream.Create("name", 3));
  EXPECT_THAT(calls(), testing::SizeIs(2));
}

TEST_F(FileCalls, CreateDoesNotMoveInAFileThatItCouldNotOpen) {
  fail(ERROR_ACCESS_DENIED);
  PFileStream stream;
  EXPECT_TRUE(stream.Create("name", 1));
  EXPECT_THAT(calls(), testing::SizeIs(2));
}

TEST_F(FileCalls, CreateUsesNoStoredParameterButTheName) {
  PFileStream stream;
  EXPECT_FALSE(stream.SetFileParams("stored", GENERIC_READ, 7, 0x1C));
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_FALSE(stream.Create(nullptr, 3));
  EXPECT_THAT(calls(), ElementsAre("CreateFile stored",
                                   "access c0000000 share 1 security 0 disposition 2 flags 0 "
                                   "template 0"));
  EXPECT_FALSE(stream.Open());
  EXPECT_THAT(calls(), ElementsAre("CreateFile stored",
                                   "access 80000000 share 7 security 0 disposition 1 "
                                   "flags 88000000 template 0"));
}

TEST_F(FileCalls, CreateReplacesTheStoredName) {
  PFileStream stream;
  EXPECT_FALSE(stream.SetFileParams("old", GENERIC_READ, 7, 0));
  EXPECT_FALSE(stream.Create("new", 3));
  EXPECT_EQ(calls().at(0), "CreateFile new");
  EXPECT_FALSE(stream.Open());
  EXPECT_EQ(calls().at(0), "CreateFile new");
  EXPECT_TRUE(stream.Create("", 3));
  EXPECT_TRUE(stream.Open());
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(FileCalls, ParametersWithoutANameForgetTheOldOne) {
  PFileStream stream;
  EXPECT_FALSE(stream.SetFileParams("old", GENERIC_READ, 7, 0));
  EXPECT_FALSE(stream.SetFileParams(nullptr, GENERIC_READ, 7, 0));
  expectError(stream.Open(), "[PFileStream::Open] -1: Empty file name");
  expectError(stream.Create(nullptr, 3), "[PFileStream::Create] -1: Empty file name");
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(FileCalls, ANameIsCopied) {
  char name[] = "name";
  PFileStream stream;
  EXPECT_FALSE(stream.SetFileParams(name, GENERIC_READ, 1, 0));
  name[0] = 'x';
  EXPECT_FALSE(stream.Open());
  EXPECT_EQ(calls().at(0), "CreateFile name");
}

TEST_F(FileCalls, AFailedOpenOrCreateLeavesNoHandle) {
  PFileStream stream;
  fail(ERROR_INVALID_HANDLE);
  expectSystemError(stream.OpenFile("name", 1, 1, 0), "PFileStream::Open", 6);
  expectSystemError(stream.Create("name", 3), "PFileStream::Create", 6);
  EXPECT_EQ(stream.IsOpened(), 0);
  calls();
  EXPECT_TRUE(stream.Flush());
  EXPECT_THAT(calls(), ElementsAre("FlushFileBuffers 0"));
}

TEST_F(FileCalls, OpeningAgainOverwritesTheHandleAndCounts) {
  PFileStream stream;
  EXPECT_FALSE(stream.Create("name", 3));
  played.handle = 0x88;
  EXPECT_FALSE(stream.Open());
  EXPECT_EQ(stream.IsOpened(), 2);
  calls();
  EXPECT_FALSE(stream.Close());
  EXPECT_THAT(calls(), ElementsAre("CloseHandle 88"));
  EXPECT_EQ(stream.IsOpened(), 1);
}

TEST_F(FileCalls, TheDestructorClosesAnOpenHandleAndDropsTheError) {
  {
    PFileStream stream;
    EXPECT_FALSE(stream.Create("name", 3));
    calls();
    fail(ERROR_INVALID_HANDLE);
  }
  EXPECT_THAT(calls(), ElementsAre("CloseHandle 77"));
  { const PFileStream neverOpened; }
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(OpenFileCalls, CloseForgetsTheHandle) {
  EXPECT_FALSE(stream_.Close());
  EXPECT_EQ(stream_.IsOpened(), 0);
  EXPECT_FALSE(stream_.Flush());
  EXPECT_THAT(calls(), ElementsAre("CloseHandle 77", "FlushFileBuffers 0"));
}

TEST_F(OpenFileCalls, AFailedCloseForgetsTheHandleAndKeepsTheCount) {
  fail(ERROR_INVALID_HANDLE);
  expectSystemError(stream_.Close(), "PFileStream::Close", 6);
  EXPECT_EQ(stream_.IsOpened(), 1);
  EXPECT_TRUE(stream_.Flush());
  EXPECT_THAT(calls(), ElementsAre("CloseHandle 77", "FlushFileBuffers 0"));
}

TEST_F(OpenFileCalls, WriteIsOneCallWithTheWholeSize) {
  std::uint32_t written = 99;
  played.count = 2;
  EXPECT_FALSE(stream_.Write("abc", 3, written));
  EXPECT_EQ(written, 2U);
  EXPECT_THAT(calls(), ElementsAre("WriteFile 77 size 3 overlapped 0", "ab"));
  played.count = 0;
  EXPECT_FALSE(stream_.Write("abc", 0xFFFFFFFF, written));
  EXPECT_EQ(written, 0U);
  EXPECT_THAT(calls(), ElementsAre("WriteFile 77 size 4294967295 overlapped 0", ""));
  EXPECT_FALSE(stream_.Write("abc", 0, written));
  EXPECT_THAT(calls(), ElementsAre("WriteFile 77 size 0 overlapped 0", ""));
}

TEST_F(OpenFileCalls, ReadIsOneCallWithTheWholeSize) {
  char bytes[4] = "xxx";
  std::uint32_t read = 99;
  played.count = 2;
  EXPECT_FALSE(stream_.Read(bytes, 3, read));
  EXPECT_EQ(read, 2U);
  EXPECT_STREQ(bytes, "rrx");
  EXPECT_THAT(calls(), ElementsAre("ReadFile 77 size 3 overlapped 0"));
  played.count = 0;
  EXPECT_FALSE(stream_.Read(bytes, 0x7FFFFFFF, read));
  EXPECT_EQ(read, 0U);
  EXPECT_THAT(calls(), ElementsAre("ReadFile 77 size 2147483647 overlapped 0"));
  EXPECT_FALSE(stream_.Read(bytes, 0, read));
  EXPECT_THAT(calls(), ElementsAre("ReadFile 77 size 0 overlapped 0"));
}

TEST_F(OpenFileCalls, FailedTransfersStillCount) {
  char bytes[4] = {};
  std::uint32_t count = 99;
  played.count = 2;
  fail(ERROR_INVALID_HANDLE);
  expectSystemError(stream_.Write("abc", 3, count), "PFileStream::Write", 6);
  EXPECT_EQ(count, 2U);
  count = 99;
  expectSystemError(stream_.Read(bytes, 3, count), "PFileStream::Read", 6);
  EXPECT_EQ(count, 2U);
}

TEST_F(OpenFileCalls, WriteStringReportsWhatTheSystemDidNotTake) {
  played.count = 2;
  expectError(stream_.WriteString("hello"), "[PStream::WriteBuffer] -1: 2 of 5 bytes written");
  EXPECT_THAT(calls(), ElementsAre("WriteFile 77 size 5 overlapped 0", "he"));
}

TEST_F(OpenFileCalls, WriteStringThatTheSystemTookReportsOnlyItsFailure) {
  played.count = 5;
  fail(ERROR_INVALID_HANDLE);
  expectSystemError(stream_.WriteString("hello"), "PFileStream::Write", 6);
}

TEST_F(OpenFileCalls, SeeksPassBothHalvesOfTheirArgument) {
  EXPECT_FALSE(stream_.Seek(0x123456789ABCDEF0));
  EXPECT_FALSE(stream_.SeekOff(-2));
  EXPECT_FALSE(stream_.SeekEnd(-0x100000000));
  EXPECT_FALSE(stream_.Seek(0xFFFFFFFF));
  EXPECT_FALSE(stream_.Seek(0x80000000));
  EXPECT_THAT(calls(), ElementsAre("SetFilePointer 77 low 9abcdef0 high 12345678 method 0",
                                   "SetFilePointer 77 low fffffffe high ffffffff method 1",
                                   "SetFilePointer 77 low 0 high ffffffff method 2",
                                   "SetFilePointer 77 low ffffffff high 0 method 0",
                                   "SetFilePointer 77 low 80000000 high 0 method 0"));
}

TEST_F(OpenFileCalls, SeeksFailOnlyByTheFailureValueWithAnError) {
  place(0, 0xFFFFFFFF, ERROR_INVALID_HANDLE);
  expectSystemError(stream_.Seek(1), "PFileStream::Seek", 6);
  expectSystemError(stream_.SeekOff(1), "PFileStream::SeekOff", 6);
  expectSystemError(stream_.SeekEnd(1), "PFileStream::SeekEnd", 6);
  place(0, 0xFFFFFFFF, ERROR_SUCCESS);
  EXPECT_FALSE(stream_.Seek(1));
  EXPECT_FALSE(stream_.SeekOff(1));
  EXPECT_FALSE(stream_.SeekEnd(1));
  place(0, 0xFFFFFFFE, ERROR_INVALID_HANDLE);
  EXPECT_FALSE(stream_.Seek(1));
  place(0xFFFFFFFF, 0xFFFFFFFF, ERROR_SUCCESS);
  EXPECT_FALSE(stream_.Seek(1));
}

TEST_F(OpenFileCalls, TellJoinsBothHalves) {
  place(0x12345678, 0x9ABCDEF0, ERROR_INVALID_HANDLE);
  EXPECT_EQ(stream_.Tell(), 0x123456789ABCDEF0);
  EXPECT_THAT(calls(), ElementsAre("SetFilePointer 77 low 0 high 0 method 1"));
  place(1, 0xFFFFFFFF, ERROR_SUCCESS);
  EXPECT_EQ(stream_.Tell(), 0x1FFFFFFFF);
  place(1, 0xFFFFFFFF, ERROR_INVALID_HANDLE);
  EXPECT_EQ(stream_.Tell(), -1);
}

TEST_F(OpenFileCalls, GetSizeJoinsBothHalves) {
  place(0x12345678, 0x9ABCDEF0, ERROR_INVALID_HANDLE);
  EXPECT_EQ(stream_.GetSize(), 0x123456789ABCDEF0);
  EXPECT_THAT(calls(), ElementsAre("GetFileSize 77"));
  place(1, 0xFFFFFFFF, ERROR_SUCCESS);
  EXPECT_EQ(stream_.GetSize(), 0x1FFFFFFFF);
  place(1, 0xFFFFFFFF, ERROR_INVALID_HANDLE);
  EXPECT_EQ(stream_.GetSize(), -1);
}

TEST_F(OpenFileCalls, TruncateAndFlushAreOneCallEach) {
  EXPECT_FALSE(stream_.Truncate());
  EXPECT_THAT(calls(), ElementsAre("SetEndOfFile 77"));
  EXPECT_FALSE(stream_.Flush());
  EXPECT_THAT(calls(), ElementsAre("FlushFileBuffers 77"));
}

TEST_F(FileCalls, GetFileSizeByNameSearchesAndClosesTheSearch) {
  PFileStream stream;
  place(0x12345678, 0x9ABCDEF0, ERROR_SUCCESS);
  EXPECT_EQ(stream.GetFileSizeByName("a/\xC3\xA4"), 0x123456789ABCDEF0);
  EXPECT_THAT(calls(), ElementsAre("FindFirstFile a/\xC3\xA4", "FindClose 77"));
  place(0, 0xFFFFFFFF, ERROR_INVALID_HANDLE);
  EXPECT_EQ(stream.GetFileSizeByName("name"), 0xFFFFFFFF);
  calls();
  fail(ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(stream.GetFileSizeByName("name"), -1);
  EXPECT_THAT(calls(), ElementsAre("FindFirstFile name"));
}

// Streams that replace an operation of the one below.

class StreamAtAPlace final : public PFileStream {
 public:
  StreamAtAPlace(std::int64_t position, std::int64_t size) : position_(position), size_(size) {}
  std::int64_t Tell() override { return position_; }
  std::int64_t GetSize() override { return size_; }

 private:
  std::int64_t position_;
  std::int64_t size_;
};

TEST_F(FileCalls, IsEofComparesPositionAndSizeAsTheStreamGivesThem) {
  EXPECT_FALSE(StreamAtAPlace(4, 5).IsEof());
  EXPECT_TRUE(StreamAtAPlace(5, 5).IsEof());
  EXPECT_TRUE(StreamAtAPlace(6, 5).IsEof());
  EXPECT_FALSE(StreamAtAPlace(-1, 0).IsEof());
  EXPECT_FALSE(StreamAtAPlace(0xFFFFFFFF, 0x100000000).IsEof());
  EXPECT_THAT(calls(), IsEmpty());
}

class StreamWithOwnOpening final : public PFileStream {
 public:
  explicit StreamWithOwnOpening(bool refusesParameters) : refuses_(refusesParameters) {}
  ErrorChain SetFileParams(const char*, std::uint32_t, std::uint32_t, std::uint32_t) override {
    return refuses_ ? makeError("Parameters", 5, "refused") : ErrorChain();
  }
  ErrorChain Open() override { return makeError("Open", 7, "own"); }

 private:
  bool refuses_;
};

TEST_F(FileCalls, OpenFileSetsTheParametersAndOpensAsTheStreamDoes) {
  expectError(StreamWithOwnOpening(false).OpenFile("name", 1, 1, 0), "[Open] 7: own");
  expectError(StreamWithOwnOpening(true).OpenFile("name", 1, 1, 0), "[Parameters] 5: refused");
  EXPECT_THAT(calls(), IsEmpty());
}

}  // namespace
