// Returns the message texts of system error codes.
#ifndef MTLLIB_QUTILS_SYSTEM_ERROR_H_
#define MTLLIB_QUTILS_SYSTEM_ERROR_H_

#include "mtllib/char_string.h"
#include "platform/win32.h"

namespace QUtils {

/// "(code) " followed by the system's English message with its line break; the prefix
/// alone when the system has no message; empty for code 0.
CharString systemErrorText(DWORD code);

}  // namespace QUtils

#endif  // MTLLIB_QUTILS_SYSTEM_ERROR_H_
