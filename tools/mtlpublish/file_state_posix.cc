// One call tells it all.
#include "mtlpublish/file_state.h"

#include <sys/stat.h>

#include <cerrno>

namespace mtlpublish {

namespace {

/// Unsigned, since a file system may hold times that do not fit.
std::int64_t nanosecondsOf(const timespec& time) {
  constexpr std::uint64_t kPerSecond = 1'000'000'000;
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.tv_sec) * kPerSecond +
                                   static_cast<std::uint64_t>(time.tv_nsec));
}

}  // namespace

std::error_code readFileState(const std::filesystem::path& file, FileState& state) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return {errno, std::generic_category()};
  state = {static_cast<std::uint64_t>(status.st_size), nanosecondsOf(status.st_mtim),
           nanosecondsOf(status.st_ctim), static_cast<std::uint64_t>(status.st_ino)};
  return {};
}

}  // namespace mtlpublish
