/// @file
/// Functions of the operating system that hosts need, in UTF-8.
///
/// @since 1.0
#ifndef MTLLIB_HOST_SYSTEM_H_
#define MTLLIB_HOST_SYSTEM_H_

#include <string>
#include <system_error>

namespace mtlhost {

/// The file name that the module has on this system: "libmtllib.so.0", "mtllib.dll".
std::string moduleFileName();

/// The folder of the program or library that the kit is linked into, without a separator at the
/// end; "" if unknown.
std::string ownFolder();

/// The system's text for one of its error numbers, such as the "underlying" number of a connection
/// error.
std::string systemErrorText(int number);

/// The same for an error of the standard library.
std::string systemErrorText(const std::error_code& error);

}  // namespace mtlhost

#endif  // MTLLIB_HOST_SYSTEM_H_
