// Translates POSIX error numbers into the codes that Windows gives.
#ifndef MTLLIB_PLATFORM_POSIX_ERRORS_H_
#define MTLLIB_PLATFORM_POSIX_ERRORS_H_

#include "platform/win32.h"

namespace posix {

/// The code that Windows gives where POSIX gives `number`, an errno value.
DWORD errorFromErrno(int number);

}  // namespace posix

#endif  // MTLLIB_PLATFORM_POSIX_ERRORS_H_
