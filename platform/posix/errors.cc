// Error codes and messages in the form that Windows gives them: the last error of each thread, the
// translation of errno, and the English texts.
#include "platform/posix/errors.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

struct ErrnoCode {
  int number;
  DWORD code;
};

// Where the place of an event matters (a missing directory on the way, a directory that
// exists), the call says so itself.
constexpr ErrnoCode kErrnoCodes[] = {
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EISDIR, ERROR_ACCESS_DENIED},
    {ENXIO, ERROR_ACCESS_DENIED},  // a socket, or a pipe that nobody reads
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EROFS, ERROR_WRITE_PROTECT},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EEXIST, ERROR_FILE_EXISTS},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENOSPC, ERROR_DISK_FULL},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {EIO, ERROR_IO_DEVICE},
    {EDQUOT, ERROR_DISK_QUOTA_EXCEEDED},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME},
};

struct Message {
  DWORD code;
  std::u16string_view text;
};

constexpr Message kMessages[] = {
    {ERROR_SUCCESS, u"The operation completed successfully.\r\n"},
    {ERROR_FILE_NOT_FOUND, u"The system cannot find the file specified.\r\n"},
    {ERROR_PATH_NOT_FOUND, u"The system cannot find the path specified.\r\n"},
    {ERROR_TOO_MANY_OPEN_FILES, u"The system cannot open the file.\r\n"},
    {ERROR_ACCESS_DENIED, u"Access is denied.\r\n"},
    {ERROR_INVALID_HANDLE, u"The handle is invalid.\r\n"},
    {ERROR_NOT_ENOUGH_MEMORY,
     u"Not enough memory resources are available to process this command.\r\n"},
    {ERROR_WRITE_PROTECT, u"The media is write protected.\r\n"},
    {ERROR_GEN_FAILURE, u"A device attached to the system is not functioning.\r\n"},
    {ERROR_SHARING_VIOLATION,
     u"The process cannot access the file because it is being used by another process.\r\n"},
    {ERROR_NOT_SUPPORTED, u"The request is not supported.\r\n"},
    {ERROR_FILE_EXISTS, u"The file exists.\r\n"},
    {ERROR_INVALID_PARAMETER, u"The parameter is incorrect.\r\n"},
    {ERROR_DISK_FULL, u"There is not enough space on the disk.\r\n"},
    {ERROR_INVALID_NAME, u"The filename, directory name, or volume label syntax is incorrect.\r\n"},
    {ERROR_NEGATIVE_SEEK,
     u"An attempt was made to move the file pointer before the beginning of the file.\r\n"},
    {ERROR_ALREADY_EXISTS, u"Cannot create a file when that file already exists.\r\n"},
    {ERROR_FILENAME_EXCED_RANGE, u"The filename or extension is too long.\r\n"},
    {ERROR_FILE_TOO_LARGE, u"The file size exceeds the limit allowed and cannot be saved.\r\n"},
    {ERROR_MORE_DATA, u"More data is available.\r\n"},
    {ERROR_KEY_DELETED,
     u"Illegal operation attempted on a registry key that has been marked for deletion.\r\n"},
    {ERROR_IO_DEVICE, u"The request could not be performed because of an I/O device error.\r\n"},
    {ERROR_DISK_QUOTA_EXCEEDED,
     u"The requested file operation failed because the storage quota was exceeded. To free up "
     u"disk space, move files to a different location or delete unnecessary files. For more "
     u"information, contact your system administrator.\r\n"},
    {ERROR_CANT_RESOLVE_FILENAME, u"The name of the file cannot be resolved by the system.\r\n"},
};

const Message* findMessage(DWORD code) {
  const auto* found = std::find_if(std::begin(kMessages), std::end(kMessages),
                                   [code](const Message& message) { return message.code == code; });
  return found != std::end(kMessages) ? found : nullptr;
}

}  // namespace

DWORD posix::errorFromErrno(int number) {
  const auto* found =
      std::find_if(std::begin(kErrnoCodes), std::end(kErrnoCodes),
                   [number](const ErrnoCode& entry) { return entry.number == number; });
  return found != std::end(kErrnoCodes) ? found->code : ERROR_GEN_FAILURE;
}

DWORD GetLastError() {
  return lastError;
}

void SetLastError(DWORD code) {
  lastError = code;
}

// Only the form that allocates: `buffer` is the address of the pointer to be set.
DWORD FormatMessageW(DWORD flags, const void* /*source*/, DWORD code, DWORD /*language*/,
                     LPWSTR buffer, DWORD /*size*/, void* /*arguments*/) {
  constexpr DWORD kNeeded = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM;
  if ((flags & kNeeded) != kNeeded || buffer == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const Message* message = findMessage(code);
  if (message == nullptr) {
    SetLastError(ERROR_MR_MID_NOT_FOUND);
    return 0;
  }
  const std::u16string_view text = message->text;
  auto* copy = static_cast<LPWSTR>(std::malloc((text.size() + 1) * sizeof(WCHAR)));
  if (copy == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  *std::copy(text.begin(), text.end(), copy) = u'\0';
  std::memcpy(buffer, &copy, sizeof(copy));
  return static_cast<DWORD>(text.size());
}

HLOCAL LocalFree(HLOCAL block) {
  std::free(block);
  return nullptr;
}
