// Names that a system does not take for a file of that name.
#ifndef MTLLIB_PLATFORM_FILE_NAMES_H_
#define MTLLIB_PLATFORM_FILE_NAMES_H_

#include <string_view>

namespace Platform {

/// Whether `name`, one component of a path and neither "." nor "..", is kept as a file or
/// folder of the folder it stands in, whatever it is called. On Windows some names mean
/// devices, streams of other files, or nothing; elsewhere none does.
bool isOrdinaryName(std::string_view name);

}  // namespace Platform

#endif  // MTLLIB_PLATFORM_FILE_NAMES_H_
