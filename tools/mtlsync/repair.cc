// All that can be refused is found before anything is removed; then the stamp goes first,
// so that a repair that is cut short is made good by any later run.
#include "mtlsync/repair.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

#include "library_list/list_fetch.h"
#include "library_list/list_names.h"
#include "mtlhost/system.h"
#include "mtlsync/printable.h"
#include "mtlsync/system.h"

namespace mtlsync {

namespace {

namespace fs = std::filesystem;
using library_list::ListedFile;

/// A file of the local copy: as the user knows it, and as the system does.
struct LocalFile {
  std::string name;
  fs::path path;
};

LocalFile localFile(const Options& options, const std::string& name) {
  return {name, fs::u8path(library_list::localName(options.directory, name))};
}

std::optional<std::string> proxyOf(const Options& options) {
  if (options.proxyMode == PROXY_MODE_DISABLED) return "";
  if (options.proxyMode == PROXY_MODE_EXPLICIT) return options.proxyAddress;
  return std::nullopt;
}

bool fetchFiles(const Options& options, SyncObserver& observer, std::vector<ListedFile>& files,
                ErrorEntries& problem) {
  library_list::FetchRequest request;
  request.url = library_list::listUrl(options.url, options.subPath);
  if (request.url.empty()) {
    problem = {ownError("Could not use the address \"" + options.url + "\"")};
    return false;
  }
  request.userAgent = "mtlsync/" MTLSYNC_VERSION;
  request.proxy = proxyOf(options);
  request.trust = library_list::trustStoreOf(environmentVariable);
  // The limits of the run hold here, too.
  request.stop = [&](std::int64_t received) { return !observer.listReceived(received); };
  observer.progressText("Getting file list");
  const library_list::FetchResult result = library_list::fetchList(request);
  observer.progressEnds();
  if (result.outcome == library_list::FetchResult::Outcome::kStopped) return false;
  const std::string list = " the list \"" + request.url + "\"";
  if (result.outcome == library_list::FetchResult::Outcome::kFailed) {
    problem = {ownError("Could not fetch" + list), ownError(result.problem)};
    return false;
  }
  const std::string refusal = library_list::readList(result.text, files);
  if (!refusal.empty()) problem = {ownError("Could not use" + list), ownError(refusal)};
  return refusal.empty();
}

bool hasSize(const fs::path& path, std::int64_t size) {
  std::error_code error;
  return fs::is_regular_file(path, error) &&
         fs::file_size(path, error) == static_cast<std::uintmax_t>(size) && !error;
}

/// Finds the files whose size is wrong. Links and folders in their place are only told of.
bool findDamaged(const Options& options, const std::vector<ListedFile>& files,
                 SyncObserver& observer, std::vector<LocalFile>& damaged, ErrorEntries& problem) {
  for (const ListedFile& file : files) {
    const LocalFile local = localFile(options, file.path);
    std::error_code error;
    const fs::file_status status = fs::symlink_status(local.path, error);
    if (status.type() == fs::file_type::none) {
      problem = {ownError("Could not look at \"" + local.path.u8string() + "\""),
                 ownError(mtlhost::systemErrorText(error.value()))};
      return false;
    }
    if (!file.size || !fs::exists(status) || hasSize(local.path, *file.size)) continue;
    if (fs::is_regular_file(status)) {
      damaged.push_back(local);
    } else {
      observer.survived(
          ownError('"' + printableLine(local.name) + "\" is not a regular file; left as it is"));
    }
  }
  return true;
}

bool removeFile(const LocalFile& file, SyncObserver& observer, ErrorEntries& problem) {
  std::error_code error;
  if (fs::remove(file.path, error)) {
    observer.showRemoved(file.name);
  } else if (error) {
    problem = {ownError("Could not remove \"" + file.path.u8string() + "\""),
               ownError(mtlhost::systemErrorText(error.value()))};
  }
  return !error;
}

// Something that is no file would stay, and the run would take the copy for complete.
bool isRemovable(const LocalFile& stamp, ErrorEntries& problem) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(stamp.path, error);
  if (!fs::exists(status) || fs::is_regular_file(status)) return true;
  problem = {ownError("The stamp \"" + stamp.path.u8string() + "\" is not a regular file")};
  return false;
}

// For a shell of either system.
std::string shellWord(const std::string& argument) {
  constexpr const char* kHarmless =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./:,@%";
  if (argument.find_first_not_of(kHarmless) == argument.npos) return argument;
  std::string text = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '$' || c == '`') text += '\\';
    text += c;
  }
  return text + '"';
}

}  // namespace

bool removeDamaged(const Options& options, const std::vector<ListedFile>& files,
                   SyncObserver& observer, ErrorEntries& problem) {
  try {
    const LocalFile stamp =
        localFile(options, options.subPath.empty() ? "id.txt" : options.subPath + "/id.txt");
    std::vector<LocalFile> damaged;
    if (!findDamaged(options, files, observer, damaged, problem)) return false;
    if (!isRemovable(stamp, problem) || !removeFile(stamp, observer, problem)) return false;
    for (const LocalFile& file : damaged) {
      if (!removeFile(file, observer, problem)) return false;
    }
    return true;
  } catch (const std::system_error& error) {
    // A name that this system cannot have.
    problem = {ownError("Could not look for the listed files"), ownError(error.what())};
    return false;
  }
}

bool prepareRepair(const Options& options, SyncObserver& observer, ErrorEntries& problem) {
  std::vector<ListedFile> files;
  return fetchFiles(options, observer, files, problem) &&
         removeDamaged(options, files, observer, problem);
}

std::string repairHint(const Options& options) {
  // Either separator will do, but shells read more into one of them.
  std::string directory = options.directory;
  std::replace(directory.begin(), directory.end(), '\\', '/');
  const std::string subPath =
      options.subPath.empty() ? "" : " --sub-path " + shellWord(options.subPath);
  return printableLine("Once the disk is healthy, \"mtlsync --repair" + subPath + " " +
                       shellWord(options.url) + " " + shellWord(directory) +
                       "\" fetches whatever is missing or cut.");
}

}  // namespace mtlsync
