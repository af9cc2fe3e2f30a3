// Declares the system calls that the library uses: on Windows those of Win32 itself, elsewhere the
// same calls, types and error codes as implemented in platform/posix/.
#ifndef MTLLIB_PLATFORM_WIN32_H_
#define MTLLIB_PLATFORM_WIN32_H_

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#else

#include <cstddef>
#include <cstdint>

using BOOL = int;
using BYTE = unsigned char;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using WCHAR = char16_t;  // a 16-bit unit, as on Windows
using LPCWSTR = const WCHAR*;
using LPWSTR = WCHAR*;
using HANDLE = void*;
using HLOCAL = void*;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
inline void* const INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

// Error codes.
constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_WRITE_PROTECT = 19;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_FILE_EXISTS = 80;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_DISK_FULL = 112;
constexpr DWORD ERROR_INVALID_NAME = 123;
constexpr DWORD ERROR_NEGATIVE_SEEK = 131;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
constexpr DWORD ERROR_KEY_DELETED = 1018;
constexpr DWORD ERROR_IO_DEVICE = 1117;
constexpr DWORD ERROR_DISK_QUOTA_EXCEEDED = 1295;
constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

DWORD GetLastError();
void SetLastError(DWORD code);

// Files. Share modes are accepted and not enforced: POSIX has no mandatory locks.
constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD FILE_SHARE_READ = 0x1;
constexpr DWORD CREATE_NEW = 1;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD FILE_FLAG_WRITE_THROUGH = 0x80000000;
constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000;
constexpr DWORD FILE_BEGIN = 0;
constexpr DWORD FILE_CURRENT = 1;
constexpr DWORD FILE_END = 2;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
};

HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* security,
                   DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written, OVERLAPPED* overlapped);
DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method);
DWORD GetFileSize(HANDLE file, DWORD* sizeHigh);
BOOL SetEndOfFile(HANDLE file);
BOOL FlushFileBuffers(HANDLE file);
BOOL CloseHandle(HANDLE file);
// The name is taken as it stands: '*' and '?' are ordinary characters here.
HANDLE FindFirstFileW(LPCWSTR name, WIN32_FIND_DATAW* data);
BOOL FindClose(HANDLE search);
DWORD GetFileAttributesW(LPCWSTR name);
BOOL CreateDirectoryW(LPCWSTR name, SECURITY_ATTRIBUTES* security);

// Message texts: English, with the system's trailing line break, for the codes that
// the calls above can give.
constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, LPWSTR buffer,
                     DWORD size, void* arguments);
HLOCAL LocalFree(HLOCAL block);

// The registry: a tree in memory that lives as long as the process. The names of keys and
// values are the same in upper and lower case, of ASCII letters only. The key of the
// user's Internet settings is there from the start, and when it is first opened it takes
// its values from the environment. All calls may be made by several threads at once.
struct OpenRegistryKey;
using HKEY = OpenRegistryKey*;
using REGSAM = DWORD;
using LSTATUS = LONG;
inline OpenRegistryKey* const HKEY_CURRENT_USER =
    reinterpret_cast<HKEY>(std::intptr_t{-0x7FFFFFFF});

constexpr REGSAM KEY_QUERY_VALUE = 0x1;
constexpr REGSAM KEY_SET_VALUE = 0x2;
constexpr REGSAM KEY_CREATE_SUB_KEY = 0x4;
constexpr REGSAM KEY_WOW64_32KEY = 0x200;  // of no effect: there is one view
constexpr REGSAM KEY_READ = 0x20019;
constexpr REGSAM KEY_WRITE = 0x20006;
constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;

constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD REG_QWORD = 11;

constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
constexpr DWORD REG_CREATED_NEW_KEY = 1;
constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

LSTATUS RegOpenKeyExW(HKEY base, LPCWSTR path, DWORD options, REGSAM access, HKEY* result);
LSTATUS RegCreateKeyExW(HKEY base, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options,
                        REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* result,
                        DWORD* disposition);
LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size);
LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD size);
LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name);
LSTATUS RegDeleteTreeW(HKEY base, LPCWSTR path);
LSTATUS RegCloseKey(HKEY key);

// Replaces each %NAME% by the environment's value of NAME, and leaves it when there is
// none. Gives the number of units needed with the terminator; writes nothing when `size`
// is less. Upper and lower case differ in NAME, as everywhere in a POSIX environment.
DWORD ExpandEnvironmentStringsW(LPCWSTR text, LPWSTR buffer, DWORD size);

#endif  // _WIN32

#endif  // MTLLIB_PLATFORM_WIN32_H_
