// Replaces the system calls for files, which are made through the pointers __imp_ReadFile and so
// on: the linker's --wrap replaces these by the ones defined here.
#include "platform/win32.h"
#include "support/failing_files.h"

// NOLINTBEGIN(bugprone-reserved-identifier)

extern "C" {

extern decltype(&ReadFile) __real___imp_ReadFile;
extern decltype(&WriteFile) __real___imp_WriteFile;
extern decltype(&CloseHandle) __real___imp_CloseHandle;
extern decltype(&ReadFile) __wrap___imp_ReadFile;
extern decltype(&WriteFile) __wrap___imp_WriteFile;
extern decltype(&CloseHandle) __wrap___imp_CloseHandle;

static BOOL WINAPI readOrFail(HANDLE file, void* bytes, DWORD size, DWORD* read,
                              OVERLAPPED* overlapped) {
  if (!FailingFiles::reads) return __real___imp_ReadFile(file, bytes, size, read, overlapped);
  SetLastError(ERROR_IO_DEVICE);
  return FALSE;
}

static BOOL WINAPI writeOrFail(HANDLE file, const void* bytes, DWORD size, DWORD* written,
                               OVERLAPPED* overlapped) {
  if (!FailingFiles::writes) return __real___imp_WriteFile(file, bytes, size, written, overlapped);
  SetLastError(ERROR_DISK_FULL);
  return FALSE;
}

static BOOL WINAPI closeOrFail(HANDLE file) {
  const BOOL success = __real___imp_CloseHandle(file);
  if (!FailingFiles::closes) return success;
  SetLastError(ERROR_IO_DEVICE);
  return FALSE;
}

decltype(&ReadFile) __wrap___imp_ReadFile = readOrFail;
decltype(&WriteFile) __wrap___imp_WriteFile = writeOrFail;
decltype(&CloseHandle) __wrap___imp_CloseHandle = closeOrFail;
}

// NOLINTEND(bugprone-reserved-identifier)
