// Paths are resolved component by component on the text alone, never on the disk.
#include "catalogue/paths.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "mtllib/allocation.h"
#include "platform/file_names.h"
#include "plugin/downloader.h"
#include "plugin/error_chain.h"
#include "qutils/utf.h"

using QUtils::CharString;
using QUtils::PStream;

namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr std::int32_t kDefaultChunk = 32768;
constexpr std::int32_t kLargestChunk = 33554432;

bool isSeparator(char c) {
  return c == '/' || c == '\\';
}

// Calls `take` with each component of `path` in order; empty ones do not count.
template <typename Take>
void forEachComponent(std::string_view path, Take take) {
  while (true) {
    const std::size_t begin = path.find_first_not_of(kSeparators);
    if (begin == std::string_view::npos) return;
    path.remove_prefix(begin);
    const std::size_t end = std::min(path.find_first_of(kSeparators), path.size());
    take(path.substr(0, end));
    path.remove_prefix(end);
  }
}

// What stands in front of the first component. More than two leading separators count
// as two.
std::string_view leadOf(std::string_view path) {
  if (path.size() >= 2 && isSeparator(path[0]) && isSeparator(path[1])) return "\\\\";
  return isSeparator(path[0]) ? "\\" : "";
}

bool isUnreserved(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~' || c == '/';
}

}  // namespace

CharString toCharString(const std::string& path) {
  CharString text(path.c_str());
  if (text.empty() && !path.empty()) throw std::bad_alloc();
  return text;
}

CharString canonicalisePath(const char* path) {
  if (path == nullptr || *path == '\0') return {};
  const std::string_view lead = leadOf(path);
  std::vector<std::string_view> kept;
  forEachComponent(path, [&](std::string_view component) {
    // A dot directly behind a single leading separator is an ordinary one.
    const bool isFirst = kept.empty() && lead != "\\";
    if (component == "." && !isFirst) return;
    if (component == ".." && !kept.empty() && kept.back() != "..") {
      kept.pop_back();
    } else {
      kept.push_back(component);
    }
  });
  if (kept.empty() && lead.size() < 2) return {};
  std::string text(lead);
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (i > 0) text += '\\';
    text += kept[i];
  }
  return toCharString(text);
}

CharString percentEncodePath(const char* path) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(std::strlen(path) * 3);
  for (; *path != '\0'; ++path) {
    if (isUnreserved(*path)) {
      encoded += *path;
      continue;
    }
    const auto byte = static_cast<unsigned char>(*path);
    encoded += '%';
    encoded += kDigits[byte >> 4];
    encoded += kDigits[byte & 0xF];
  }
  return toCharString(encoded);
}

bool staysBelow(const char* relative) {
  std::int64_t depth = 0;
  bool left = false;
  forEachComponent(relative, [&](std::string_view component) {
    if (component == ".") return;
    const bool up = component == "..";
    depth += up ? -1 : 1;
    left = left || depth < 0 || (!up && !Platform::isOrdinaryName(component));
  });
  return !left && depth > 0;
}

CharString DownloaderImpl::makeFullPath(const char* relative, PathSide side) const {
  const CharString& base = side == PathSide::kRemote ? remotePath : settings->targetDirectory;
  std::string path = base.text();
  path += '/';
  if (relative != nullptr) path += relative;
  path = canonicalisePath(path.c_str()).text();
  std::replace(path.begin(), path.end(), '\\', '/');
  if (path.compare(0, 3, "../") == 0 || path == "..") return {};
  return side == PathSide::kRemote ? percentEncodePath(path.c_str()) : toCharString(path);
}

void copyStream(ErrorChain& error, PStream& destination, PStream& source, std::int64_t size,
                std::int64_t& bytesRead, std::int64_t& bytesWritten, std::int32_t chunkSize) {
  bytesRead = 0;
  bytesWritten = 0;
  if (size < 1) return;
  const std::int32_t chunk = chunkSize < 1 ? kDefaultChunk : std::min(chunkSize, kLargestChunk);
  const std::unique_ptr<void, QUtils::FreeWithQfree> buffer(
      QUtils::qmalloc(static_cast<std::size_t>(chunk)));
  if (buffer == nullptr) {
    setError(error, "copyStream", -1, "Out of memory");
    return;
  }
  while (size > 0) {
    const auto wanted = static_cast<std::int32_t>(std::min<std::int64_t>(chunk, size));
    std::uint32_t read = 0;
    error = source.Read(buffer.get(), wanted, read);
    if (error) return;
    bytesRead += read;
    std::uint32_t written = 0;
    error = destination.Write(buffer.get(), read, written);
    if (error) return;
    bytesWritten += written;
    size -= written;
    if (read < static_cast<std::uint32_t>(wanted)) return;
  }
}
