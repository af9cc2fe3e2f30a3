// Scan, choose, digest, and only then write: the list first, the id last.
#include "mtlpublish/publisher.h"

#include <algorithm>
#include <string_view>
#include <system_error>

#include "digest/file_digest.h"
#include "digest/sha256.h"
#include "mtlpublish/error_message.h"
#include "mtlpublish/file_list.h"
#include "mtlpublish/file_name.h"
#include "mtlpublish/link.h"
#include "mtlpublish/replace_file.h"
#include "mtlpublish/tree_scan.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kMapSuffix = ".tx";
constexpr std::string_view kLossySuffix = ".jpeg.tx";

struct DigestedFile {
  std::string path;
  digest::FileDigest digest;
};

bool endsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

std::string withSuffix(std::string_view text, std::string_view suffix, std::string_view other) {
  return std::string(text.substr(0, text.size() - suffix.size())).append(other);
}

/// `files` is sorted by path.
const DigestedFile* find(const std::vector<DigestedFile>& files, std::string_view path) {
  const auto file = std::lower_bound(files.begin(), files.end(), path,
                                     [](const DigestedFile& candidate, std::string_view wanted) {
                                       return candidate.path < wanted;
                                     });
  return file != files.end() && file->path == path ? &*file : nullptr;
}

/// True for x.jpeg.tx beside x.tx, unless x.tx is itself the variant of another map.
bool isLossyVariant(const std::vector<DigestedFile>& files, std::string_view path) {
  if (!endsWith(path, kLossySuffix)) return false;
  const std::string map = withSuffix(path, kLossySuffix, kMapSuffix);
  return find(files, map) != nullptr && !isLossyVariant(files, map);
}

bool anyMatches(const std::vector<Glob>& globs, std::string_view path) {
  return std::any_of(globs.begin(), globs.end(),
                     [path](const Glob& glob) { return glob.matches(path); });
}

DownloadPolicy policyOf(std::string_view path, const PublishOptions& options) {
  if (anyMatches(options.never, path)) return DownloadPolicy::kNever;
  if (anyMatches(options.missing, path)) return DownloadPolicy::kMissing;
  return DownloadPolicy::kAlways;
}

void warnOfIdleGlobs(const char* option, const std::vector<Glob>& globs,
                     const std::vector<ListEntry>& entries, std::vector<std::string>& warnings) {
  for (const Glob& glob : globs) {
    if (std::none_of(entries.begin(), entries.end(),
                     [&glob](const ListEntry& entry) { return glob.matches(entry.path); })) {
      warnings.push_back(std::string(option) + " '" + glob.text() + "' matches no file");
    }
  }
}

/// A client takes a size of 0 to say that a map has no variant.
void refuseEmptyVariants(const std::vector<DigestedFile>& files,
                         std::vector<std::string>& problems) {
  for (const DigestedFile& file : files) {
    if (file.digest.size == 0 && isLossyVariant(files, file.path)) {
      problems.push_back(printableName(file.path) + ": a lossy variant that is empty");
    }
  }
}

std::vector<ListEntry> makeEntries(const std::vector<DigestedFile>& files,
                                   const PublishOptions& options) {
  std::vector<ListEntry> entries;
  for (const DigestedFile& file : files) {
    if (options.lossy && isLossyVariant(files, file.path)) continue;
    ListEntry entry{file.path, policyOf(file.path, options), file.digest.size, 0};
    if (options.lossy && endsWith(file.path, kMapSuffix)) {
      const auto* variant = find(files, withSuffix(file.path, kMapSuffix, kLossySuffix));
      if (variant != nullptr) entry.jpegSize = variant->digest.size;
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

/// Each part is ended by a zero byte, which neither the list nor a path has, so that no
/// two libraries give the same bytes.
std::string libraryId(const std::string& list, const std::vector<DigestedFile>& files) {
  constexpr std::string_view kEnd("\0", 1);
  digest::Sha256 sha256;
  sha256.update(list);
  sha256.update(kEnd);
  for (const DigestedFile& file : files) {
    sha256.update(file.path);
    sha256.update(kEnd);
    sha256.update(file.digest.sha256);
    sha256.update(kEnd);
  }
  return sha256.finish();
}

std::string writeProblem(const char* name, const std::error_code& error) {
  return std::string(name) + ": cannot be written: " + errorMessage(error);
}

}  // namespace

PublishResult publish(const fs::path& folder, const PublishOptions& options) {
  PublishResult result;
  std::error_code error;
  const fs::path root = canonicalPath(folder, error);
  if (!error && !fs::is_directory(root, error) && !error) {
    error = std::make_error_code(std::errc::not_a_directory);
  }
  if (error) {
    result.problems.push_back(printableName(folder.u8string()) + ": " + errorMessage(error));
    return result;
  }

  TreeScan scan = scanTree(root);
  result.problems = std::move(scan.problems);
  std::vector<DigestedFile> files;
  for (const LibraryFile& file : scan.files) {
    DigestedFile digested{file.path, {}};
    error = digest::digestFile(file.location, digested.digest);
    if (!error) {
      files.push_back(std::move(digested));
    } else {
      result.problems.push_back(printableName(file.path) +
                                ": cannot be read: " + errorMessage(error));
    }
  }
  if (options.lossy) refuseEmptyVariants(files, result.problems);
  if (!result.problems.empty()) return result;

  const std::vector<ListEntry> entries = makeEntries(files, options);
  warnOfIdleGlobs("--missing", options.missing, entries, result.warnings);
  warnOfIdleGlobs("--never", options.never, entries, result.warnings);
  const std::string list = fileListText(entries);
  result.id = libraryId(list, files);
  result.files = entries.size();
  for (const ListEntry& entry : entries) {
    result.bytes += entry.jpegSize != 0 ? entry.jpegSize : entry.size;
  }
  error = replaceFile(root, kListName, list);
  if (error) {
    result.problems.push_back(writeProblem(kListName, error));
    return result;
  }
  error = replaceFile(root, kStampName, result.id + "\n");
  if (error) result.problems.push_back(writeProblem(kStampName, error));
  return result;
}

}  // namespace mtlpublish
