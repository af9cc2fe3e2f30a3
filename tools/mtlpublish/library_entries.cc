// Makes entries in the order of the files, so that the list is sorted as they are.
#include "mtlpublish/library_entries.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "rules/address.h"
#include "rules/list_entry.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

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

DownloadPolicy policyOf(std::string_view path, const ListingOptions& options) {
  if (anyMatches(options.never, path)) return DownloadPolicy::kNever;
  if (anyMatches(options.missing, path)) return DownloadPolicy::kMissing;
  for (const PolicyRule& rule : options.policies) {
    if (rule.files.matches(path)) return rule.policy;
  }
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

/// A client takes a size of 0 to say that a map has no variant.
void refuseEmptyVariants(const std::vector<DigestedFile>& files,
                         std::vector<std::string>& problems) {
  for (const DigestedFile& file : files) {
    if (file.state.size == 0 && isLossyVariant(files, file.file.path)) {
      problems.push_back(mtlrules::printable(file.file.path) + ": a lossy variant that is empty");
    }
  }
}

}  // namespace

bool allow(std::string_view kind, ListingOptions& options) {
  if (const auto fault = mtlrules::faultNamed(kind)) {
    options.allowed.insert(*fault);
    return true;
  }
  if (kind != "changed-missing") return false;
  return options.allowsChangedMissing = true;
}

std::vector<ListEntry> makeEntries(const std::vector<DigestedFile>& files,
                                   const ListingOptions& options) {
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

std::vector<std::string> problemsOf(const std::vector<DigestedFile>& files,
                                    const std::vector<ListEntry>& entries,
                                    const std::string& subPath, const ListingOptions& options) {
  std::vector<std::string> problems;
  if (options.lossy) refuseEmptyVariants(files, problems);
  for (std::string& problem : checkEntries(entries, subPath, options.allowed))
    problems.push_back(std::move(problem));
  return problems;
}

std::string mirrorProblem(const std::string& address) {
  if (mtlrules::isMirrorAddress(address)) return "";
  return "is not an address of http or https that anybody may ask";
}

std::vector<std::string> warningsOf(const std::vector<ListEntry>& entries, const TreeScan& scan,
                                    const ListingOptions& options) {
  std::vector<std::string> warnings = sizeWarnings(entries);
  std::vector<std::string_view> listed;
  listed.reserve(entries.size());
  for (const ListEntry& entry : entries)
    listed.push_back(entry.path);
  warnOfIdleGlobs("missing", options.missing, listed, warnings);
  warnOfIdleGlobs("never", options.never, listed, warnings);
  for (const PolicyRule& rule : options.policies)
    warnOfIdleGlobs("policy for", {rule.files}, listed, warnings);
  std::vector<std::string_view> skipped;
  skipped.reserve(scan.skipped.size());
  for (std::string_view path : scan.skipped) {
    if (path.back() == '/') path.remove_suffix(1);
    skipped.push_back(path);
  }
  warnOfIdleGlobs("exclude", options.selection.exclude, skipped, warnings);
  warnOfIdleGlobs("include", options.selection.include,
                  {scan.askedFor.begin(), scan.askedFor.end()}, warnings);
  return warnings;
}

}  // namespace mtlpublish
