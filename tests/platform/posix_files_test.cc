// Tests the POSIX realisation of the file calls: error codes and their texts, names, handles, and
// what only POSIX file systems hold.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/errors.h"
#include "platform/utf.h"
#include "platform/win32.h"
#include "plugin/error_chain.h"
#include "qutils/file_stream.h"
#include "qutils/file_system.h"
#include "qutils/system_error.h"
#include "support/failing_files.h"
#include "support/temp_dir.h"
#include "support/unprivileged.h"

namespace {

using Platform::duplicateAsWide;
using QUtils::PFileStream;
using QUtils::systemErrorText;

constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;

HANDLE openFile(const std::string& name, DWORD access, DWORD disposition, DWORD flags = 0) {
  return CreateFileW(duplicateAsWide(name.c_str()).get(), access, 0, nullptr, disposition, flags,
                     nullptr);
}

// The code with which opening fails; 0 when it does not.
DWORD openError(const std::string& name, DWORD access = GENERIC_READ,
                DWORD disposition = OPEN_EXISTING) {
  HANDLE file = openFile(name, access, disposition);
  if (file == INVALID_HANDLE_VALUE) return GetLastError();
  CloseHandle(file);
  return ERROR_SUCCESS;
}

DWORD createDirectoryError(const std::string& name) {
  return CreateDirectoryW(duplicateAsWide(name.c_str()).get(), nullptr) != FALSE ? ERROR_SUCCESS
                                                                                 : GetLastError();
}

int descriptorOf(HANDLE file) {
  return static_cast<int>(reinterpret_cast<std::uintptr_t>(file)) - 1;
}

class PosixFiles : public testing::Test {
 protected:
  TempDir directory_;
  const std::string name_ = directory_ / "file";
};

using PosixFilesDeathTest = PosixFiles;

TEST(ErrnoTable, GivesTheCodesOfWindows) {
  EXPECT_EQ(posix::errorFromErrno(ENOENT), 2U);
  EXPECT_EQ(posix::errorFromErrno(ENOTDIR), 3U);
  EXPECT_EQ(posix::errorFromErrno(EMFILE), 4U);
  EXPECT_EQ(posix::errorFromErrno(ENFILE), 4U);
  EXPECT_EQ(posix::errorFromErrno(EACCES), 5U);
  EXPECT_EQ(posix::errorFromErrno(EPERM), 5U);
  EXPECT_EQ(posix::errorFromErrno(EISDIR), 5U);
  EXPECT_EQ(posix::errorFromErrno(ENXIO), 5U);
  EXPECT_EQ(posix::errorFromErrno(EBADF), 6U);
  EXPECT_EQ(posix::errorFromErrno(ENOMEM), 8U);
  EXPECT_EQ(posix::errorFromErrno(EROFS), 19U);
  EXPECT_EQ(posix::errorFromErrno(ETXTBSY), 32U);
  EXPECT_EQ(posix::errorFromErrno(EEXIST), 80U);
  EXPECT_EQ(posix::errorFromErrno(EINVAL), 87U);
  EXPECT_EQ(posix::errorFromErrno(ENOSPC), 112U);
  EXPECT_EQ(posix::errorFromErrno(ENAMETOOLONG), 206U);
  EXPECT_EQ(posix::errorFromErrno(EFBIG), 223U);
  EXPECT_EQ(posix::errorFromErrno(EIO), 1117U);
  EXPECT_EQ(posix::errorFromErrno(EDQUOT), 1295U);
  EXPECT_EQ(posix::errorFromErrno(ELOOP), 1921U);
  EXPECT_EQ(posix::errorFromErrno(EDOM), 31U);
}

TEST(LastError, BelongsToItsThread) {
  SetLastError(5);
  std::thread([] {
    EXPECT_EQ(GetLastError(), 0U);
    SetLastError(87);
  }).join();
  EXPECT_EQ(GetLastError(), 5U);
}

TEST(SystemMessages, AreTheEnglishTextsOfWindows) {
  EXPECT_STREQ(systemErrorText(2).text(), "(2) The system cannot find the file specified.\r\n");
  EXPECT_STREQ(systemErrorText(3).text(), "(3) The system cannot find the path specified.\r\n");
  EXPECT_STREQ(systemErrorText(4).text(), "(4) The system cannot open the file.\r\n");
  EXPECT_STREQ(systemErrorText(5).text(), "(5) Access is denied.\r\n");
  EXPECT_STREQ(systemErrorText(6).text(), "(6) The handle is invalid.\r\n");
  EXPECT_STREQ(systemErrorText(8).text(),
               "(8) Not enough memory resources are available to process this command.\r\n");
  EXPECT_STREQ(systemErrorText(19).text(), "(19) The media is write protected.\r\n");
  EXPECT_STREQ(systemErrorText(31).text(),
               "(31) A device attached to the system is not functioning.\r\n");
  EXPECT_STREQ(systemErrorText(32).text(),
               "(32) The process cannot access the file because it is being used by another "
               "process.\r\n");
  EXPECT_STREQ(systemErrorText(50).text(), "(50) The request is not supported.\r\n");
  EXPECT_STREQ(systemErrorText(80).text(), "(80) The file exists.\r\n");
  EXPECT_STREQ(systemErrorText(87).text(), "(87) The parameter is incorrect.\r\n");
  EXPECT_STREQ(systemErrorText(112).text(), "(112) There is not enough space on the disk.\r\n");
  EXPECT_STREQ(systemErrorText(123).text(),
               "(123) The filename, directory name, or volume label syntax is incorrect.\r\n");
  EXPECT_STREQ(systemErrorText(131).text(),
               "(131) An attempt was made to move the file pointer before the beginning of the "
               "file.\r\n");
  EXPECT_STREQ(systemErrorText(183).text(),
               "(183) Cannot create a file when that file already exists.\r\n");
  EXPECT_STREQ(systemErrorText(206).text(), "(206) The filename or extension is too long.\r\n");
  EXPECT_STREQ(systemErrorText(223).text(),
               "(223) The file size exceeds the limit allowed and cannot be saved.\r\n");
  EXPECT_STREQ(systemErrorText(234).text(), "(234) More data is available.\r\n");
  EXPECT_STREQ(systemErrorText(1018).text(),
               "(1018) Illegal operation attempted on a registry key that has been marked for "
               "deletion.\r\n");
  EXPECT_STREQ(systemErrorText(1117).text(),
               "(1117) The request could not be performed because of an I/O device error.\r\n");
  EXPECT_STREQ(systemErrorText(1295).text(),
               "(1295) The requested file operation failed because the storage quota was "
               "exceeded. To free up disk space, move files to a different location or delete "
               "unnecessary files. For more information, contact your system administrator.\r\n");
  EXPECT_STREQ(systemErrorText(1921).text(),
               "(1921) The name of the file cannot be resolved by the system.\r\n");
}

TEST(FormatMessage, WithoutATextFailsWithItsOwnCode) {
  WCHAR* message = nullptr;
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
                           0xFFFFFFF0, 1033, reinterpret_cast<LPWSTR>(&message), 0, nullptr),
            0U);
  EXPECT_EQ(GetLastError(), 317U);
  EXPECT_EQ(message, nullptr);
}

TEST(FormatMessage, RefusesWhatItDoesNotOffer) {
  WCHAR buffer[100];
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 1033, buffer, 100, nullptr), 0U);
  EXPECT_EQ(GetLastError(), 87U);
}

TEST(FormatMessage, ReturnsTheLengthOfTheText) {
  WCHAR* message = nullptr;
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5,
                           1033, reinterpret_cast<LPWSTR>(&message), 0, nullptr),
            19U);
  EXPECT_EQ(message[17], '\r');
  EXPECT_EQ(message[18], '\n');
  EXPECT_EQ(message[19], 0);
  EXPECT_EQ(LocalFree(message), nullptr);
}

TEST_F(PosixFiles, ErrorRecordsCarryTheWholeText) {
  PFileStream stream;
  EXPECT_STREQ(errorChainToString(stream.OpenFile(name_.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                  QUtils::PFS_MODE_EXISTING))
                   .text(),
               "[PFileStream::Open] 2: (2) The system cannot find the file specified.\r\n");
}

TEST_F(PosixFiles, CreatePathNamesTheFirstLevelThatFailedWithTheWholeText) {
  const std::string level(256, 'a');  // one more than a name may have
  EXPECT_EQ(
      errorChainToString(QUtils::createPath((level + "/b").c_str())).text(),
      "[createPathImpl] 206: " + level + "\\ (206) The filename or extension is too long.\r\n");
}

TEST_F(PosixFiles, AMissingFileAndAMissingDirectoryDiffer) {
  EXPECT_EQ(openError(name_), 2U);
  EXPECT_EQ(openError(directory_ / "missing/file"), 3U);
  EXPECT_EQ(openError(directory_ / "missing/file", GENERIC_WRITE, CREATE_ALWAYS), 3U);
}

TEST_F(PosixFiles, AMissingFileOfTheWorkingDirectoryIsAMissingFile) {
  EXPECT_EQ(openError("mtllib-no-such-file"), 2U);
  EXPECT_EQ(openError("/mtllib-no-such-file"), 2U);
}

TEST_F(PosixFiles, AFileOnTheWayIsAMissingPath) {
  writeFile(name_, "abc");
  EXPECT_EQ(openError(name_ + "/other"), 3U);
}

TEST_F(PosixFiles, AnEmptyNameIsAMissingPath) {
  EXPECT_EQ(openError(""), 3U);
  EXPECT_EQ(createDirectoryError(""), 3U);
  EXPECT_EQ(GetFileAttributesW(nullptr), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), 3U);
}

TEST_F(PosixFiles, AnExistingFileGives80AndAnExistingDirectory183) {
  writeFile(name_, "abc");
  EXPECT_EQ(openError(name_, GENERIC_WRITE, CREATE_NEW), 80U);
  EXPECT_EQ(createDirectoryError(directory_.path().string()), 183U);
  EXPECT_EQ(createDirectoryError(name_), 183U);
}

TEST_F(PosixFiles, AnUnknownDispositionIsRefused) {
  EXPECT_EQ(openError(name_, GENERIC_READ, 0), 87U);
}

TEST_F(PosixFiles, DirectoriesAreNotOpened) {
  EXPECT_EQ(openError(directory_.path().string(), GENERIC_READ, OPEN_EXISTING), 5U);
  EXPECT_EQ(openError(directory_.path().string(), kReadWrite, OPEN_EXISTING), 5U);
  EXPECT_EQ(openError(directory_.path().string(), kReadWrite, CREATE_ALWAYS), 5U);
}

TEST_F(PosixFiles, PipesAreNotOpenedNorWaitedFor) {
  ASSERT_EQ(mkfifo(name_.c_str(), 0600), 0);
  EXPECT_EQ(openError(name_, GENERIC_READ, OPEN_EXISTING), 5U);
  EXPECT_EQ(openError(name_, GENERIC_WRITE, OPEN_EXISTING), 5U);
  EXPECT_EQ(openError(name_, kReadWrite, CREATE_ALWAYS), 5U);
}

TEST_F(PosixFiles, SocketsAreNotOpened) {
  const int socketDescriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", name_.c_str());
  ASSERT_EQ(bind(socketDescriptor, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_EQ(openError(name_, GENERIC_READ, OPEN_EXISTING), 5U);
  close(socketDescriptor);
}

TEST_F(PosixFiles, ANameTooLongGives206) {
  EXPECT_EQ(openError(directory_ / std::string(300, 'a')), 206U);
  EXPECT_EQ(createDirectoryError(directory_ / std::string(300, 'a')), 206U);
}

TEST_F(PosixFiles, ALoopOfLinksGives1921) {
  std::filesystem::create_symlink(name_, name_);
  EXPECT_EQ(openError(name_), 1921U);
}

TEST_F(PosixFiles, ARunningProgramIsNotWritten) {
  struct stat status = {};
  ASSERT_EQ(stat("/proc/self/exe", &status), 0);
  if (geteuid() != 0 && geteuid() != status.st_uid) GTEST_SKIP() << "somebody else's program";
  EXPECT_EQ(openError("/proc/self/exe", GENERIC_WRITE, OPEN_EXISTING), 32U);
}

TEST_F(PosixFiles, AFullDiskGives112AndCountsWhatWasWritten) {
  HANDLE file = openFile("/dev/full", GENERIC_WRITE, OPEN_EXISTING);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  DWORD written = 99;
  EXPECT_EQ(WriteFile(file, "abc", 3, &written, nullptr), FALSE);
  EXPECT_EQ(GetLastError(), 112U);
  EXPECT_EQ(written, 0U);
  CloseHandle(file);
}

TEST_F(PosixFiles, WhatTheSystemDoesByHalvesIsDoneWhole) {
  FailingFiles::mostBytes = 3;
  HANDLE file = openFile(name_, kReadWrite, CREATE_NEW);
  DWORD count = 0;
  EXPECT_EQ(WriteFile(file, "abcdefghij", 10, &count, nullptr), TRUE);
  EXPECT_EQ(count, 10U);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_BEGIN), 0U);
  std::string bytes(12, '-');
  EXPECT_EQ(ReadFile(file, bytes.data(), 7, &count, nullptr), TRUE);
  CloseHandle(file);
  FailingFiles::reset();
  EXPECT_EQ(count, 7U);
  EXPECT_EQ(bytes, "abcdefg-----");
  EXPECT_EQ(readFile(name_), "abcdefghij");
}

TEST_F(PosixFiles, WithoutPermissionAccessIsDenied) {
  writeFile(name_, "abc");
  chmod(name_.c_str(), 0);
  const Unprivileged unprivileged;
  EXPECT_EQ(openError(name_), 5U);
  // Fails, and need not succeed, where the directory is somebody else's.
  chmod(directory_.path().c_str(), 0500);
  EXPECT_EQ(createDirectoryError(directory_ / "new"), 5U);
  EXPECT_EQ(openError(directory_ / "new", GENERIC_WRITE, CREATE_ALWAYS), 5U);
  chmod(directory_.path().c_str(), 0700);
}

// Runs in a process of its own, because limits last.
[[noreturn]] void writeBeyondTheLimit(const std::string& name) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit = {5, 5};
  setrlimit(RLIMIT_FSIZE, &limit);
  HANDLE file = openFile(name, GENERIC_WRITE, CREATE_ALWAYS);
  DWORD written = 0;
  const BOOL success = WriteFile(file, "abcdefgh", 8, &written, nullptr);
  // The limit holds for messages, too; the exit code must do.
  std::_Exit(success == FALSE && GetLastError() == 223 && written == 5 ? 0 : 1);
}

TEST_F(PosixFilesDeathTest, AFileTooLargeGives223AndCountsWhatWasWritten) {
  EXPECT_EXIT(writeBeyondTheLimit(name_), testing::ExitedWithCode(0), "");
  EXPECT_EQ(readFile(name_), "abcde");
}

[[noreturn]] void openBeyondTheLimit(const std::string& name) {
  const rlimit limit = {3, 3};
  setrlimit(RLIMIT_NOFILE, &limit);
  std::fprintf(stderr, "code %u\n", openError(name, GENERIC_WRITE, CREATE_ALWAYS));
  std::_Exit(0);
}

TEST_F(PosixFilesDeathTest, TooManyOpenFilesGive4) {
  EXPECT_EXIT(openBeyondTheLimit(name_), testing::ExitedWithCode(0), "code 4");
}

TEST_F(PosixFiles, HandlesOfNoFileAreInvalid) {
  for (HANDLE file : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    char byte = 0;
    DWORD count = 99;
    LONG high = 0;
    EXPECT_EQ(ReadFile(file, &byte, 1, &count, nullptr), FALSE);
    EXPECT_EQ(GetLastError(), 6U);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(WriteFile(file, &byte, 0, &count, nullptr), FALSE);
    EXPECT_EQ(GetLastError(), 6U);
    EXPECT_EQ(SetFilePointer(file, 0, &high, FILE_BEGIN), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(GetLastError(), 6U);
    EXPECT_EQ(GetFileSize(file, nullptr), INVALID_FILE_SIZE);
    EXPECT_EQ(GetLastError(), 6U);
    EXPECT_EQ(SetEndOfFile(file), FALSE);
    EXPECT_EQ(GetLastError(), 6U);
    EXPECT_EQ(FlushFileBuffers(file), FALSE);
    EXPECT_EQ(GetLastError(), 6U);
    EXPECT_EQ(CloseHandle(file), FALSE);
    EXPECT_EQ(GetLastError(), 6U);
  }
}

TEST_F(PosixFiles, AFileOpenForReadingCannotBeTruncated) {
  writeFile(name_, "abcdef");
  HANDLE file = openFile(name_, GENERIC_READ, OPEN_EXISTING);
  EXPECT_EQ(SetEndOfFile(file), FALSE);
  EXPECT_EQ(GetLastError(), 5U);
  EXPECT_NE(CloseHandle(file), FALSE);
}

TEST_F(PosixFiles, AHandleIsNeverNull) {
  // Descriptor 0 is free in this process alone if standard input is closed.
  const int standardInput = dup(0);
  close(0);
  HANDLE file = openFile(name_, GENERIC_WRITE, CREATE_ALWAYS);
  EXPECT_NE(file, nullptr);
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(CloseHandle(file), TRUE);
  if (standardInput >= 0) {
    dup2(standardInput, 0);
    close(standardInput);
  }
}

TEST_F(PosixFiles, HandlesAreNotInherited) {
  HANDLE file = openFile(name_, GENERIC_WRITE, CREATE_ALWAYS);
  EXPECT_EQ(fcntl(descriptorOf(file), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  CloseHandle(file);
}

TEST_F(PosixFiles, WriteThroughIsSynchronous) {
  HANDLE file = openFile(name_, GENERIC_WRITE, CREATE_ALWAYS, FILE_FLAG_WRITE_THROUGH);
  EXPECT_EQ(fcntl(descriptorOf(file), F_GETFL) & O_SYNC, O_SYNC);
  CloseHandle(file);
  HANDLE other = openFile(name_, GENERIC_WRITE, CREATE_ALWAYS, FILE_FLAG_SEQUENTIAL_SCAN);
  EXPECT_EQ(fcntl(descriptorOf(other), F_GETFL) & O_SYNC, 0);
  CloseHandle(other);
}

TEST_F(PosixFiles, NewFilesAndDirectoriesFollowTheUmask) {
  const mode_t old = umask(027);
  EXPECT_EQ(openError(name_, GENERIC_WRITE, CREATE_ALWAYS), 0U);
  EXPECT_EQ(createDirectoryError(directory_ / "new"), 0U);
  umask(old);
  struct stat status = {};
  ASSERT_EQ(stat(name_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
  ASSERT_EQ(stat((directory_ / "new").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0750U);
}

TEST_F(PosixFiles, PositionsAboveFourGigabytesComeInTwoHalves) {
  HANDLE file = openFile(name_, kReadWrite, CREATE_ALWAYS);
  LONG high = 1;
  SetLastError(5);
  EXPECT_EQ(SetFilePointer(file, -1, &high, FILE_BEGIN), 0xFFFFFFFF);
  EXPECT_EQ(high, 1);
  EXPECT_EQ(GetLastError(), 0U);
  CloseHandle(file);
}

TEST_F(PosixFiles, ADistanceWithoutItsHighHalfIsSigned) {
  HANDLE file = openFile(name_, kReadWrite, CREATE_ALWAYS);
  EXPECT_EQ(SetFilePointer(file, 10, nullptr, FILE_BEGIN), 10U);
  EXPECT_EQ(SetFilePointer(file, -3, nullptr, FILE_CURRENT), 7U);
  EXPECT_EQ(SetFilePointer(file, -8, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), 131U);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, 3), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), 87U);
  CloseHandle(file);
}

TEST_F(PosixFiles, FindFirstFileGivesAttributesAndSize) {
  writeFile(name_, "abc");
  WIN32_FIND_DATAW data = {};
  HANDLE search = FindFirstFileW(duplicateAsWide(name_.c_str()).get(), &data);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(data.nFileSizeHigh, 0U);
  EXPECT_EQ(data.nFileSizeLow, 3U);
  EXPECT_EQ(FindClose(search), TRUE);
  search = FindFirstFileW(duplicateAsWide(directory_.path().c_str()).get(), &data);
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_EQ(data.nFileSizeLow, 0U);
  EXPECT_EQ(FindClose(search), TRUE);
}

TEST_F(PosixFiles, FindFirstFileOfAMissingFileFails) {
  WIN32_FIND_DATAW data = {};
  EXPECT_EQ(FindFirstFileW(duplicateAsWide(name_.c_str()).get(), &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 2U);
  EXPECT_EQ(FindClose(INVALID_HANDLE_VALUE), FALSE);
  EXPECT_EQ(GetLastError(), 6U);
}

TEST_F(PosixFiles, BackslashesSeparate) {
  std::filesystem::create_directory(directory_.path() / "sub");
  EXPECT_EQ(openError(directory_.path().string() + "\\sub\\file", GENERIC_WRITE, CREATE_ALWAYS),
            0U);
  EXPECT_TRUE(std::filesystem::exists(directory_.path() / "sub" / "file"));
}

TEST_F(PosixFiles, NamesThatAreNoUtf8ReachTheDiskUnchanged) {
  const std::string name = directory_.path().string() + "/\xC3\x28\xFF\xF4\x80\x80\x80";
  EXPECT_EQ(openError(name, GENERIC_WRITE, CREATE_ALWAYS), 0U);
  struct stat status = {};
  EXPECT_EQ(stat(name.c_str(), &status), 0);
  EXPECT_TRUE(QUtils::pathExists(name.c_str()));
}

// ED AF 80 ED B0 AF are the two halves of the escape of a slash. Taken literally, the
// name below would leave the directory.
TEST_F(PosixFiles, AForgedSlashIsNoPartOfAName) {
  std::filesystem::create_directory(directory_.path() / "sub");
  const std::string name = directory_.path().string() +
                           "/sub/..\xED\xAF\x80\xED\xB0\xAF"
                           "file";
  EXPECT_EQ(openError(name, GENERIC_WRITE, CREATE_ALWAYS), 123U);
  EXPECT_EQ(createDirectoryError(name), 123U);
  EXPECT_FALSE(QUtils::pathExists(name.c_str()));
  EXPECT_FALSE(std::filesystem::exists(directory_.path() / "file"));
}

TEST_F(PosixFiles, AForgedTerminatorIsNoPartOfAName) {
  const std::string name = name_ +
                           "\xED\xAF\x80\xED\xB0\x80"
                           ".txt";
  EXPECT_EQ(openError(name, GENERIC_WRITE, CREATE_ALWAYS), 123U);
  EXPECT_FALSE(std::filesystem::exists(name_));
}

TEST_F(PosixFiles, ReadingWithoutEndGoesOnUntilTheBufferIsFull) {
  HANDLE file = openFile("/dev/zero", GENERIC_READ, OPEN_EXISTING);
  std::vector<char> bytes(1U << 20U, 'x');
  DWORD count = 0;
  EXPECT_EQ(ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr), TRUE);
  EXPECT_EQ(count, bytes.size());
  EXPECT_EQ(bytes.back(), '\0');
  CloseHandle(file);
}

}  // namespace
