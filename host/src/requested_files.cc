// Keeps the requests in the order in which the module waits for them.
#include "requested_files.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <system_error>
#include <utility>

#include "rules/list_entry.h"
#include "rules/path.h"

namespace mtlhost {

namespace {

namespace fs = std::filesystem;

/// File systems may keep times no more exactly.
constexpr std::chrono::seconds kCoarsestTime{2};

/// The names that the file may have in the copy: a lossy map has that of the other one.
std::vector<std::string> localNames(const std::string& name) {
  std::vector<std::string> names{name};
  if (auto map = mtlrules::mapOfVariant(name)) names.push_back(*std::move(map));
  return names;
}

}  // namespace

void RequestedFiles::begin(std::string name) {
  if (since_ == fs::file_time_type{}) since_ = fs::file_time_type::clock::now();
  files_.push_back({std::move(name), std::exchange(freeRequest_, nullptr)});
}

void RequestedFiles::save(const std::string& name) {
  const auto saved = std::find_if(files_.begin(), files_.end(), [&](const File& file) {
    const std::vector<std::string> names = localNames(file.name);
    return std::find(names.begin(), names.end(), name) != names.end();
  });
  if (saved == files_.end()) return;
  freeRequest_ = saved->request;
  files_.erase(saved);
}

void RequestedFiles::receive(const void* request, std::int64_t bytes) {
  const auto of = [&](const void* one) {
    return std::find_if(files_.begin(), files_.end(),
                        [one](const File& file) { return file.request == one; });
  };
  auto file = of(request);
  // Requests are heard of in the order in which they were made.
  if (file == files_.end()) file = of(nullptr);
  if (file == files_.end()) return;
  file->request = request;
  file->bytes = bytes;
}

bool RequestedFiles::isSaved(const File& file, const std::string& folder) const {
  const std::vector<std::string> names = localNames(file.name);
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    try {
      std::error_code error;
      const fs::path path = fs::u8path(mtlrules::joinedPath(folder, name));
      const auto size = fs::file_size(path, error);
      if (error || size != static_cast<std::uintmax_t>(file.bytes)) return false;
      return fs::last_write_time(path, error) >= since_ - kCoarsestTime && !error;
    } catch (const std::system_error&) {
      return false;  // Not a name that this system can have.
    }
  });
}

std::string RequestedFiles::failedFile(const std::string& folder) const {
  std::vector<File> files = files_;
  std::sort(files.begin(), files.end(), [](const File& left, const File& right) {
    return std::less<const void*>()(left.request, right.request);
  });
  const auto failed = std::find_if(files.begin(), files.end(),
                                   [&](const File& file) { return !isSaved(file, folder); });
  return failed != files.end() ? failed->name : "";
}

}  // namespace mtlhost
