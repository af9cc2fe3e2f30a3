// Replaces the system calls for files: the linker's --wrap turns a call of read into one of
// __wrap_read, and so on.
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "support/failing_files.h"

// NOLINTBEGIN(bugprone-reserved-identifier)

extern "C" {

ssize_t __real_read(int descriptor, void* bytes, std::size_t size);
ssize_t __real_write(int descriptor, const void* bytes, std::size_t size);
int __real_close(int descriptor);

ssize_t __wrap_read(int descriptor, void* bytes, std::size_t size) {
  if (!FailingFiles::reads) {
    return __real_read(descriptor, bytes, std::min(size, FailingFiles::mostBytes));
  }
  errno = EIO;
  return -1;
}

ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t size) {
  if (!FailingFiles::writes) {
    return __real_write(descriptor, bytes, std::min(size, FailingFiles::mostBytes));
  }
  errno = ENOSPC;
  return -1;
}

int __wrap_close(int descriptor) {
  const int result = __real_close(descriptor);
  if (!FailingFiles::closes) return result;
  errno = EIO;
  return -1;
}
}

// NOLINTEND(bugprone-reserved-identifier)
