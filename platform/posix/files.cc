// Implements the file calls of Win32 on POSIX. Backslashes in names become slashes, a handle is a
// file descriptor plus one, and errno becomes the code that Windows gives.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "platform/posix/errors.h"
#include "platform/posix/file_size_signal_guard.h"
#include "platform/utf.h"
#include "platform/win32.h"

namespace {

BOOL fail(DWORD code) {
  SetLastError(code);
  return FALSE;
}

template <typename Call>
auto retryInterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR)
    result = call();
  return result;
}

HANDLE toHandle(int descriptor) {
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(descriptor) + 1);
}

// Null and INVALID_HANDLE_VALUE give descriptors that are never open.
int toDescriptor(HANDLE handle) {
  return static_cast<int>(reinterpret_cast<std::uintptr_t>(handle)) - 1;
}

// A byte of a name that is not UTF-8 arrives as a code point of its own and is 0x80 or
// above. Lower ones are not bytes but forgeries: a slash or a terminator that whoever
// checked the name did not see.
bool hasForgedByte(LPCWSTR name) {
  for (; *name != 0; ++name) {
    if (name[0] == 0xDBC0 && name[1] >= 0xDC00 && name[1] < 0xDC80) return true;
  }
  return false;
}

// A name as POSIX takes it.
class Name {
 public:
  explicit Name(LPCWSTR name) {
    if (name == nullptr || *name == 0) {
      error_ = ERROR_PATH_NOT_FOUND;
    } else if (hasForgedByte(name)) {
      error_ = ERROR_INVALID_NAME;
    } else if (const Platform::Utf8Text converted = Platform::duplicateAsUtf8(name)) {
      path_ = converted.get();
      std::replace(path_.begin(), path_.end(), '\\', '/');
    } else {
      error_ = ERROR_NOT_ENOUGH_MEMORY;
    }
  }

  /// What is wrong with the name; 0 when nothing is.
  DWORD error() const { return error_; }
  const char* path() const { return path_.c_str(); }

  /// The code for `number`, an errno value that the name met.
  DWORD errorFromErrno(int number) const {
    if (number == ENOENT && !parentExists()) return ERROR_PATH_NOT_FOUND;
    return posix::errorFromErrno(number);
  }

 private:
  bool parentExists() const {
    const std::size_t last = path_.find_last_not_of('/');
    const std::size_t separator = path_.find_last_of('/', last);
    if (last == std::string::npos || separator == std::string::npos) return true;
    struct stat status = {};
    return stat(path_.substr(0, separator + 1).c_str(), &status) == 0;
  }

  std::string path_;
  DWORD error_ = ERROR_SUCCESS;
};

// Refusing what is neither file nor device; -1 and errno for those too.
int openChecked(const char* path, int flags) {
  constexpr mode_t kPermissions = 0666;  // less the user's umask
  const int descriptor = retryInterrupted([&] { return open(path, flags, kPermissions); });
  if (descriptor < 0) return -1;
  struct stat status = {};
  int error = 0;
  if (fstat(descriptor, &status) != 0) {
    error = errno;
  } else if (S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)) {
    error = EACCES;
  }
  if (error == 0) return descriptor;
  close(descriptor);
  errno = error;
  return -1;
}

int accessFlags(DWORD access) {
  if ((access & GENERIC_WRITE) == 0) return O_RDONLY;
  return (access & GENERIC_READ) != 0 ? O_RDWR : O_WRONLY;
}

// -1 for an unknown disposition.
int dispositionFlags(DWORD disposition) {
  switch (disposition) {
    case CREATE_NEW:
      return O_CREAT | O_EXCL;
    case CREATE_ALWAYS:
      return O_CREAT | O_TRUNC;
    case OPEN_EXISTING:
      return 0;
    case OPEN_ALWAYS:
      return O_CREAT;
    default:
      return -1;
  }
}

// The result of a failed transfer. POSIX calls a descriptor bad, or its use invalid,
// that is merely open for the other direction.
BOOL failTransfer(int descriptor, int number, int wrongAccess) {
  const int flags = fcntl(descriptor, F_GETFL);
  const bool denied = flags >= 0 && (flags & O_ACCMODE) == wrongAccess;
  return fail(denied ? ERROR_ACCESS_DENIED : posix::errorFromErrno(number));
}

BOOL statName(LPCWSTR wideName, struct stat& status) {
  const Name name(wideName);
  if (name.error() != ERROR_SUCCESS) return fail(name.error());
  return stat(name.path(), &status) == 0 ? TRUE : fail(name.errorFromErrno(errno));
}

DWORD attributesOf(const struct stat& status) {
  return S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
}

DWORD lowHalf(std::uint64_t value) {
  return static_cast<DWORD>(value);
}
DWORD highHalf(std::uint64_t value) {
  return static_cast<DWORD>(value >> 32);
}

// There is nothing to close after a search; its handle is the address of this.
char searchMark;

}  // namespace

HANDLE CreateFileW(LPCWSTR wideName, DWORD access, DWORD /*shareMode*/,
                   SECURITY_ATTRIBUTES* /*security*/, DWORD disposition, DWORD flagsAndAttributes,
                   HANDLE /*templateFile*/) {
  const Name name(wideName);
  const int creation = dispositionFlags(disposition);
  if (name.error() != ERROR_SUCCESS || creation < 0) {
    fail(creation < 0 ? ERROR_INVALID_PARAMETER : name.error());
    return INVALID_HANDLE_VALUE;
  }
  // Not to wait for the other end of a pipe, nor to adopt a terminal.
  int flags = accessFlags(access) | creation | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  if ((flagsAndAttributes & FILE_FLAG_WRITE_THROUGH) != 0) flags |= O_SYNC;
  const int descriptor = openChecked(name.path(), flags);
  if (descriptor < 0) {
    fail(name.errorFromErrno(errno));
    return INVALID_HANDLE_VALUE;
  }
  if ((flagsAndAttributes & FILE_FLAG_SEQUENTIAL_SCAN) != 0) {
    posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
  }
  return toHandle(descriptor);
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* readCount, OVERLAPPED* /*overlapped*/) {
  const int descriptor = toDescriptor(file);
  *readCount = 0;
  ssize_t count = 0;
  do {
    count = retryInterrupted([&] {
      return read(descriptor, static_cast<char*>(buffer) + *readCount, size - *readCount);
    });
    if (count < 0) return failTransfer(descriptor, errno, O_WRONLY);
    *readCount += static_cast<DWORD>(count);
  } while (count > 0 && *readCount < size);
  return TRUE;
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written,
               OVERLAPPED* /*overlapped*/) {
  const posix::FileSizeSignalGuard guard;
  const int descriptor = toDescriptor(file);
  *written = 0;
  do {
    const ssize_t count = retryInterrupted([&] {
      return write(descriptor, static_cast<const char*>(buffer) + *written, size - *written);
    });
    if (count < 0) return failTransfer(descriptor, errno, O_RDONLY);
    if (count == 0 && size > 0) return fail(ERROR_DISK_FULL);
    *written += static_cast<DWORD>(count);
  } while (*written < size);
  return TRUE;
}

DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method) {
  static constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  if (method > FILE_END) {
    fail(ERROR_INVALID_PARAMETER);
    return INVALID_SET_FILE_POINTER;
  }
  std::int64_t offset = distance;
  if (distanceHigh != nullptr) {
    const auto low = static_cast<std::uint32_t>(distance);
    offset = static_cast<std::int64_t>(
        std::uint64_t{static_cast<std::uint32_t>(*distanceHigh)} << 32 | low);
  }
  const off_t position = lseek(toDescriptor(file), offset, kWhence[method]);
  if (position < 0) {
    const bool negative = errno == EINVAL && offset < 0;
    fail(negative ? ERROR_NEGATIVE_SEEK : posix::errorFromErrno(errno));
    return INVALID_SET_FILE_POINTER;
  }
  // The low half of a position may look like the failure value; this distinguishes them.
  SetLastError(ERROR_SUCCESS);
  const auto result = static_cast<std::uint64_t>(position);
  if (distanceHigh != nullptr) *distanceHigh = static_cast<LONG>(highHalf(result));
  return lowHalf(result);
}

DWORD GetFileSize(HANDLE file, DWORD* sizeHigh) {
  struct stat status = {};
  if (fstat(toDescriptor(file), &status) != 0) {
    fail(posix::errorFromErrno(errno));
    return INVALID_FILE_SIZE;
  }
  SetLastError(ERROR_SUCCESS);
  const auto size = static_cast<std::uint64_t>(status.st_size);
  if (sizeHigh != nullptr) *sizeHigh = highHalf(size);
  return lowHalf(size);
}

BOOL SetEndOfFile(HANDLE file) {
  const posix::FileSizeSignalGuard guard;
  const int descriptor = toDescriptor(file);
  const off_t position = lseek(descriptor, 0, SEEK_CUR);
  if (position < 0) return fail(posix::errorFromErrno(errno));
  const int result = retryInterrupted([&] { return ftruncate(descriptor, position); });
  return result == 0 ? TRUE : failTransfer(descriptor, errno, O_RDONLY);
}

BOOL FlushFileBuffers(HANDLE file) {
  const int descriptor = toDescriptor(file);
  if (retryInterrupted([&] { return fsync(descriptor); }) == 0) return TRUE;
  return fail(posix::errorFromErrno(errno));
}

BOOL CloseHandle(HANDLE file) {
  // An interrupted close has closed all the same; another could hit somebody else's file.
  if (close(toDescriptor(file)) == 0 || errno == EINTR) return TRUE;
  return fail(posix::errorFromErrno(errno));
}

HANDLE FindFirstFileW(LPCWSTR name, WIN32_FIND_DATAW* data) {
  struct stat status = {};
  if (statName(name, status) == FALSE) return INVALID_HANDLE_VALUE;
  const auto size = S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
  data->dwFileAttributes = attributesOf(status);
  data->nFileSizeHigh = highHalf(size);
  data->nFileSizeLow = lowHalf(size);
  return &searchMark;
}

BOOL FindClose(HANDLE search) {
  return search == &searchMark ? TRUE : fail(ERROR_INVALID_HANDLE);
}

DWORD GetFileAttributesW(LPCWSTR name) {
  struct stat status = {};
  return statName(name, status) != FALSE ? attributesOf(status) : INVALID_FILE_ATTRIBUTES;
}

BOOL CreateDirectoryW(LPCWSTR wideName, SECURITY_ATTRIBUTES* /*security*/) {
  constexpr mode_t kPermissions = 0777;  // less the user's umask
  const Name name(wideName);
  if (name.error() != ERROR_SUCCESS) return fail(name.error());
  if (mkdir(name.path(), kPermissions) == 0) return TRUE;
  switch (errno) {
    case EEXIST:
      return fail(ERROR_ALREADY_EXISTS);
    case ENOENT:
      return fail(ERROR_PATH_NOT_FOUND);
    default:
      return fail(posix::errorFromErrno(errno));
  }
}
