// The texts of the library's printf-style messages.
#ifndef MTLLIB_TOOLS_MTLSYNC_FORMAT_MESSAGE_H_
#define MTLLIB_TOOLS_MTLSYNC_FORMAT_MESSAGE_H_

#include <cstdarg>
#include <string>

namespace mtlsync {

/// What vsnprintf makes of the arguments, whatever its length; the format itself when it
/// cannot be filled in. `arguments` is used up.
std::string formatMessage(const char* format, std::va_list arguments);

}  // namespace mtlsync

#endif  // MTLLIB_TOOLS_MTLSYNC_FORMAT_MESSAGE_H_
