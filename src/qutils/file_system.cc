// Creates paths level by level from the root. A level that cannot be created is not an error if a
// deeper one then exists: a drive or a network share cannot be created, only used.
#include "qutils/file_system.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/utf.h"
#include "plugin/error_chain.h"
#include "qutils/system_error.h"

namespace QUtils {
namespace {

constexpr const char* kTag = "createPathImpl";
constexpr std::size_t kMaxPath = 260;
constexpr std::size_t kPathBufferSize = 1024;

class System final : public DirectoryCalls {
 public:
  DWORD attributes(const char* path) override {
    return GetFileAttributesW(Platform::duplicateAsWide(path).get());
  }
  DWORD create(const char* path) override {
    const Platform::WideText name = Platform::duplicateAsWide(path);
    return CreateDirectoryW(name.get(), nullptr) != FALSE ? ERROR_SUCCESS : GetLastError();
  }
};

// The index of the first character that may belong to a level to be made. It is the last
// character at most: a drive or a server alone is a level like any other.
std::size_t findStart(const char* path, std::size_t length) {
  std::size_t start = 0;
  if (length >= 3 && path[1] == ':' && path[2] == '\\') {
    start = 2;
  } else if (length >= 3 && path[0] == '\\' && path[1] == '\\') {
    start = 2;  // the server's name, which is not a directory
    while (start < length - 1 && path[start] != '\\')
      ++start;
  }
  while (start < length - 1 && path[start] == '\\')
    ++start;
  return start;
}

// The first failure of a run of failing levels.
struct Failure {
  DWORD code = ERROR_SUCCESS;
  std::size_t end = 0;  // of the level, in the path

  void add(DWORD newCode, std::size_t newEnd) {
    if (newCode == ERROR_SUCCESS || newCode == ERROR_ALREADY_EXISTS) {
      code = ERROR_SUCCESS;
    } else if (code == ERROR_SUCCESS) {
      code = newCode;
      end = newEnd;
    }
  }
};

// The attributes of the level that ends at `end`. A file is known to Windows only by
// its name without a separator behind it.
DWORD levelAttributes(char* path, std::size_t end, DirectoryCalls& system) {
  const DWORD attributes = system.attributes(path);
  if (attributes != INVALID_FILE_ATTRIBUTES || end < 2 || path[end - 1] != '\\') return attributes;
  path[end - 1] = '\0';
  const DWORD bare = system.attributes(path);
  path[end - 1] = '\\';
  // Of a directory (C: for C:\) the name with its separator is the one that counts.
  return (bare & FILE_ATTRIBUTE_DIRECTORY) == 0 ? bare : INVALID_FILE_ATTRIBUTES;
}

bool isLevelEnd(const char* path, std::size_t length, bool createLast, std::size_t i) {
  return path[i] == '\\' || (createLast && i == length - 1);
}

// Most paths are there already, and whoever has the last level has those above it.
bool lastLevelExists(char* path, std::size_t length, bool createLast, DirectoryCalls& system) {
  const std::size_t start = findStart(path, length);
  std::size_t end = length;
  while (end > start && !isLevelEnd(path, length, createLast, end - 1))
    --end;
  const char after = std::exchange(path[end], '\0');
  const DWORD attributes = end > start ? system.attributes(path) : INVALID_FILE_ATTRIBUTES;
  path[end] = after;
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

ErrorChain createLevels(char* path, std::size_t length, bool createLast, DirectoryCalls& system) {
  if (lastLevelExists(path, length, createLast, system)) return {};
  Failure failure;
  for (std::size_t i = findStart(path, length); i < length; ++i) {
    if (!isLevelEnd(path, length, createLast, i)) continue;
    const char after = std::exchange(path[i + 1], '\0');
    const DWORD attributes = levelAttributes(path, i + 1, system);
    const bool exists = attributes != INVALID_FILE_ATTRIBUTES;
    if (exists && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      return makeError(kTag, ERROR_ALREADY_EXISTS,
                       "%s already exists, but is not a valid directory", path);
    }
    failure.add(exists ? ERROR_SUCCESS : system.create(path), i + 1);
    path[i + 1] = after;
  }
  if (failure.code == ERROR_SUCCESS) return {};
  path[failure.end] = '\0';
  return makeError(kTag, static_cast<std::int32_t>(failure.code), "%s %s", path,
                   systemErrorText(failure.code).text());
}

}  // namespace

ErrorChain createPath(const char* path) {
  return createPathImpl(path, true);
}

ErrorChain createParentPath(const char* path) {
  return createPathImpl(path, false);
}

ErrorChain createPathImpl(const char* path, bool createLast) {
  System system;
  return createPathImpl(path, createLast, system);
}

ErrorChain createPathImpl(const char* path, bool createLast, DirectoryCalls& system) {
  if (path == nullptr || *path == '\0') return makeError(kTag, -1, "Empty string argument");
  char buffer[kPathBufferSize];
  boundedCopy(buffer, path, sizeof(buffer));
  const std::size_t length = std::strlen(buffer);
  if (length >= kMaxPath) return makeError(kTag, -1, "Path length exceeds MAX_PATH");
  std::replace(buffer, buffer + length, '/', '\\');
  return createLevels(buffer, length, createLast, system);
}

bool pathExists(const char* path) {
  return System().attributes(path) != INVALID_FILE_ATTRIBUTES;
}

bool isDirectory(const char* path) {
  const DWORD attributes = System().attributes(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace QUtils
