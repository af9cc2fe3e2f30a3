// Stands in for the header of the same name: the registry, the environment and the message
// texts become those of a system that a test plays.
#ifndef MTLLIB_TESTS_RECORDED_SYSTEM_CALLS_WIN32_H_
#define MTLLIB_TESTS_RECORDED_SYSTEM_CALLS_WIN32_H_

#include "../../../../platform/win32.h"

LSTATUS recordedRegOpenKeyEx(HKEY base, LPCWSTR path, DWORD options, REGSAM access, HKEY* result);
LSTATUS recordedRegQueryValueEx(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                DWORD* size);
LSTATUS recordedRegCloseKey(HKEY key);
DWORD recordedExpandEnvironmentStrings(LPCWSTR text, LPWSTR buffer, DWORD size);
DWORD recordedFormatMessage(DWORD flags, const void* source, DWORD code, DWORD language,
                            LPWSTR buffer, DWORD size, const void* arguments);
HLOCAL recordedLocalFree(HLOCAL block);

#define RegOpenKeyExW recordedRegOpenKeyEx
#define RegQueryValueExW recordedRegQueryValueEx
#define RegCloseKey recordedRegCloseKey
#define ExpandEnvironmentStringsW recordedExpandEnvironmentStrings
#define FormatMessageW recordedFormatMessage
#define LocalFree recordedLocalFree

#endif  // MTLLIB_TESTS_RECORDED_SYSTEM_CALLS_WIN32_H_
