// Says which rules the names of files follow on this system.
#ifndef MTLLIB_PLATFORM_FILE_NAMES_H_
#define MTLLIB_PLATFORM_FILE_NAMES_H_

namespace Platform {

/// Whether the names of files are those of Windows, some of which mean devices, streams of
/// other files, or nothing. Elsewhere every name is a file's.
#ifdef _WIN32
inline constexpr bool kHasWindowsNames = true;
#else
inline constexpr bool kHasWindowsNames = false;
#endif

}  // namespace Platform

#endif  // MTLLIB_PLATFORM_FILE_NAMES_H_
