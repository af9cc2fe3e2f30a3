// Scan, choose, digest, and only then write: the list first, the stamp last.
#include "mtlpublish/publisher.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "mtlpublish/contained_path.h"
#include "mtlpublish/digest_cache.h"
#include "mtlpublish/digest_files.h"
#include "mtlpublish/file_list.h"
#include "mtlpublish/library_stamp.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/printable.h"
#include "signing/release_comment.h"
#include "update/sha256.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

/// `files` is sorted by path.
const DigestedFile* find(const std::vector<DigestedFile>& files, std::string_view path) {
  const auto file = std::lower_bound(files.begin(), files.end(), path,
                                     [](const DigestedFile& candidate, std::string_view wanted) {
                                       return candidate.file.path < wanted;
                                     });
  return file != files.end() && file->file.path == path ? &*file : nullptr;
}

/// True for x.jpeg.tx beside x.tx, unless x.tx is itself the variant of another map.
bool isLossyVariant(const std::vector<DigestedFile>& files, std::string_view path) {
  const std::optional<std::string> map = mtlrules::mapOfVariant(path);
  return map && find(files, *map) != nullptr && !isLossyVariant(files, *map);
}

DownloadPolicy policyOf(std::string_view path, const PublishOptions& options) {
  if (anyMatches(options.never, path)) return DownloadPolicy::kNever;
  if (anyMatches(options.missing, path)) return DownloadPolicy::kMissing;
  return DownloadPolicy::kAlways;
}

void warnOfIdleGlobs(const char* option, const std::vector<Glob>& globs,
                     const std::vector<std::string_view>& paths,
                     std::vector<std::string>& warnings) {
  for (const Glob& glob : globs) {
    if (std::none_of(paths.begin(), paths.end(),
                     [&glob](std::string_view path) { return glob.matches(path); })) {
      warnings.push_back(std::string(option) + " '" + glob.text() + "' matches no file");
    }
  }
}

void warnOfIdleGlobs(const PublishOptions& options, const std::vector<ListEntry>& entries,
                     const TreeScan& scan, std::vector<std::string>& warnings) {
  std::vector<std::string_view> listed;
  listed.reserve(entries.size());
  for (const ListEntry& entry : entries)
    listed.push_back(entry.path);
  warnOfIdleGlobs("--missing", options.missing, listed, warnings);
  warnOfIdleGlobs("--never", options.never, listed, warnings);
  std::vector<std::string_view> passedOver;
  passedOver.reserve(scan.passedOver.size());
  for (std::string_view path : scan.passedOver) {
    if (path.back() == '/') path.remove_suffix(1);
    passedOver.push_back(path);
  }
  warnOfIdleGlobs("--exclude", options.selection.exclude, passedOver, warnings);
  warnOfIdleGlobs("--include", options.selection.include,
                  {scan.askedFor.begin(), scan.askedFor.end()}, warnings);
}

/// A client takes a size of 0 to say that a map has no variant.
void refuseEmptyVariants(const std::vector<DigestedFile>& files,
                         std::vector<std::string>& problems) {
  for (const DigestedFile& file : files) {
    if (file.state.size == 0 && isLossyVariant(files, file.file.path)) {
      problems.push_back(mtlrules::printable(file.file.path) + ": a lossy variant that is empty");
    }
  }
}

std::vector<ListEntry> makeEntries(const std::vector<DigestedFile>& files,
                                   const PublishOptions& options) {
  std::vector<ListEntry> entries;
  for (const DigestedFile& file : files) {
    const std::string& path = file.file.path;
    if (options.lossy && isLossyVariant(files, path)) continue;
    ListEntry entry{path, policyOf(path, options), file.state.size, 0, file.sha256};
    const auto variantName = mtlrules::lossyVariantOf(path);
    if (options.lossy && variantName) {
      const DigestedFile* variant = find(files, *variantName);
      if (variant != nullptr) {
        entry.jpegSize = variant->state.size;
        entry.sha256 = variant->sha256;
      }
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

/// Each part is ended by a zero byte, which neither the list nor a path has, so that no
/// two libraries give the same bytes.
std::string libraryId(const std::string& list, const std::vector<DigestedFile>& files) {
  constexpr std::string_view kEnd("\0", 1);
  mtlupdate::Sha256 sha256;
  sha256.update(list);
  sha256.update(kEnd);
  for (const DigestedFile& file : files) {
    sha256.update(file.file.path);
    sha256.update(kEnd);
    sha256.update(file.sha256);
    sha256.update(kEnd);
  }
  return mtlupdate::hexText(sha256.finish());
}

std::string writeProblem(const char* name, const std::error_code& error) {
  return std::string(name) + ": cannot be written: " + errorMessage(error);
}

/// "" when there is none, or it cannot be read.
std::string contentOf(const fs::path& file) {
  std::string content;
  return readContent(file, content) ? std::string() : content;
}

DigestedFiles digestWithCache(const fs::path& root, std::vector<LibraryFile> files,
                              const PublishOptions& options, std::vector<std::string>& warnings) {
  const DigestCache known =
      options.cache ? DigestCache::parse(contentOf(root / kCacheName)) : DigestCache();
  DigestedFiles digested = digestFiles(std::move(files), known, options.start, options.onProgress);
  std::error_code error;
  if (options.cache) {
    error = replaceFile(root, kCacheName, digested.cache.text());
  } else {
    // What it tells may be what the publisher does not believe any more.
    fs::remove(root / kCacheName, error);
  }
  if (error) {
    warnings.push_back(writeProblem(kCacheName, error) + "; the next build reads every file again");
  }
  return digested;
}

void compareWithLastBuild(const fs::path& root, const std::vector<ListEntry>& entries,
                          const std::string& list, PublishResult& result) {
  const std::string lastList = contentOf(root / mtlrules::kListName);
  if (!result.isNew) {
    result.isListRestored = lastList != list;
    result.changes.emplace();
    return;
  }
  std::error_code error;
  result.isFirst = !fs::exists(root / mtlrules::kListName, error) && !error;
  std::optional<std::vector<ListEntry>> before;
  if (!result.isFirst) before = parseFileList(lastList);
  ListChanges changes = changesBetween(before.value_or(std::vector<ListEntry>()), entries);
  result.bytesToFetch = changes.bytesToFetch;
  if (before) {
    result.changes = std::move(changes);
  } else if (!result.isFirst) {
    result.warnings.push_back(std::string(mtlrules::kListName) +
                              ": the last build's list cannot be read; what has changed since is "
                              "not known");
  }
}

/// A file of the library's folder with its new content.
using Part = std::pair<const char*, std::string>;

/// What the library consists of beside its files. In this order: whoever sees the new stamp sees
/// the new list, and no serial is given again.
std::vector<Part> partsOf(const fs::path& root, const std::string& list,
                          const std::vector<DigestedFile>& files, const LibrarySigner& signer,
                          const PublishOptions& options, PublishResult& result) {
  if (!signer.isNeeded()) {
    result.id = libraryId(list, files);
    result.isNew = contentOf(root / mtlrules::kStampName) != result.id + "\n";
    return {{mtlrules::kListName, list}, {mtlrules::kStampName, result.id + "\n"}};
  }
  if (std::string warning = signer.clockWarning(options.start); !warning.empty()) {
    result.warnings.push_back(std::move(warning));
  }
  SignedStamp stamp = signer.sign(list, options.start);
  std::vector<Part> parts{{kSignedName, mtlsigning::commentText(stamp.release) + "\n"},
                          {mtlrules::kListName, list}};
  if (!stamp.text.empty()) parts.emplace_back(mtlrules::kStampName, std::move(stamp.text));
  result.isNew = stamp.isNew;
  result.release = std::move(stamp.release);
  return parts;
}

void writeParts(const fs::path& root, const std::vector<Part>& parts, PublishResult& result) {
  for (const auto& [name, content] : parts) {
    if (const std::error_code error = replaceFile(root, name, content)) {
      result.problems.push_back(writeProblem(name, error));
      return;
    }
  }
}

}  // namespace

PublishResult publish(const fs::path& folder, const PublishOptions& options) {
  PublishResult result;
  std::error_code error;
  const fs::path root = canonicalFolder(folder, error);
  if (error) {
    result.problems.push_back(mtlrules::printable(folder.u8string()) + ": " + errorMessage(error));
    return result;
  }
  const LibrarySigner signer(root, options.signing);
  if (std::string problem = signer.problem(); !problem.empty()) {
    result.problems.push_back(std::move(problem));
    return result;
  }

  TreeScan scan = scanTree(root, options.selection);
  DigestedFiles digested = digestWithCache(root, std::move(scan.files), options, result.warnings);
  const std::vector<DigestedFile>& files = digested.files;
  result.problems = std::move(scan.problems);
  result.problems.insert(result.problems.end(), digested.problems.begin(), digested.problems.end());
  if (options.lossy) refuseEmptyVariants(files, result.problems);
  const std::vector<ListEntry> entries = makeEntries(files, options);
  const auto faults = checkEntries(entries, signer.subPath(), options.allowed);
  result.problems.insert(result.problems.end(), faults.begin(), faults.end());
  if (!result.problems.empty()) return result;

  for (std::string& warning : sizeWarnings(entries))
    result.warnings.push_back(std::move(warning));
  warnOfIdleGlobs(options, entries, scan, result.warnings);
  const std::string list = fileListText(entries);
  const std::vector<Part> parts = partsOf(root, list, files, signer, options, result);
  result.files = entries.size();
  result.passedOver = std::move(scan.passedOver);
  for (const ListEntry& entry : entries)
    result.bytes += entry.fetchedSize();
  compareWithLastBuild(root, entries, list, result);
  result.problems = changedSince(files);
  if (result.problems.empty()) writeParts(root, parts, result);
  return result;
}

}  // namespace mtlpublish
