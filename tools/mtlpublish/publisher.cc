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

/// A file of the library's folder with its new content.
using Part = std::pair<const char*, std::string>;

/// One build of the library in a folder.
class Build {
 public:
  /// `root` is canonical.
  Build(const fs::path& root, const PublishOptions& options)
      : root_(root), options_(options), signer_(root_, options.signing) {}

  PublishResult run() {
    if (!options_.isTrial) addProblem(signer_.problem());
    if (!result_.problems.empty()) return std::move(result_);
    gather();
    const std::vector<Part> parts = makeParts();
    compareWithLastBuild(parts);
    refuseUnreachable();
    if (result_.problems.empty()) result_.problems = changedSince(files_);
    if (result_.problems.empty() && !options_.isTrial) write(parts);
    return std::move(result_);
  }

 private:
  void addProblem(std::string problem) {
    if (!problem.empty()) result_.problems.push_back(std::move(problem));
  }
  void addProblems(const std::vector<std::string>& problems) {
    for (const std::string& problem : problems)
      addProblem(problem);
  }

  void gather();
  DigestedFiles digestWithCache(std::vector<LibraryFile> files);
  std::vector<Part> makeParts();
  void compareWithLastBuild(const std::vector<Part>& parts);
  void refuseUnreachable();
  void write(const std::vector<Part>& parts);

  const fs::path& root_;
  const PublishOptions& options_;
  LibrarySigner signer_;
  std::vector<DigestedFile> files_;
  std::vector<ListEntry> entries_;
  std::string list_;
  PublishResult result_;
};

void Build::gather() {
  TreeScan scan = scanTree(root_, options_.selection);
  DigestedFiles digested = digestWithCache(std::move(scan.files));
  files_ = std::move(digested.files);
  entries_ = makeEntries(files_, options_);
  list_ = fileListText(entries_);
  addProblems(scan.problems);
  addProblems(digested.problems);
  addProblems(problemsOf(files_, entries_, signer_.subPath(), options_));
  for (std::string& warning : warningsOf(entries_, scan, options_))
    result_.warnings.push_back(std::move(warning));
  result_.passedOver = std::move(scan.passedOver);
  result_.files = entries_.size();
  for (const ListEntry& entry : entries_)
    result_.bytes += entry.fetchedSize();
}

DigestedFiles Build::digestWithCache(std::vector<LibraryFile> files) {
  const DigestCache known =
      options_.cache ? DigestCache::parse(contentOf(root_ / kCacheName)) : DigestCache();
  DigestedFiles digested =
      digestFiles(std::move(files), known, options_.start, options_.onProgress);
  if (options_.isTrial) return digested;
  std::error_code error;
  if (options_.cache) {
    error = replaceFile(root_, kCacheName, digested.cache.text());
  } else {
    // What it tells may be what the publisher does not believe any more.
    fs::remove(root_ / kCacheName, error);
  }
  if (error) {
    result_.warnings.push_back(writeProblem(kCacheName, error) +
                               "; the next build reads every file again");
  }
  return digested;
}

/// What the library consists of beside its files. In this order: whoever sees the new stamp sees
/// the new list, and no serial is given again.
std::vector<Part> Build::makeParts() {
  if (options_.isTrial && signer_.wasSigned()) {
    // Who signs is asked for a key only when there is something to sign.
    result_.isNew = contentOf(root_ / mtlrules::kListName) != list_;
    return {{mtlrules::kStampName, contentOf(root_ / mtlrules::kStampName)}};
  }
  if (!signer_.isNeeded()) {
    result_.id = libraryId(list_, files_);
    result_.isNew = contentOf(root_ / mtlrules::kStampName) != result_.id + "\n";
    return {{mtlrules::kListName, list_}, {mtlrules::kStampName, result_.id + "\n"}};
  }
  if (std::string warning = signer_.clockWarning(options_.start); !warning.empty()) {
    result_.warnings.push_back(std::move(warning));
  }
  SignedStamp stamp = signer_.sign(list_, options_.start);
  std::vector<Part> parts{{kSignedName, mtlsigning::commentText(stamp.release) + "\n"},
                          {mtlrules::kListName, list_}};
  if (!stamp.text.empty()) parts.emplace_back(mtlrules::kStampName, std::move(stamp.text));
  result_.isNew = stamp.isNew;
  result_.release = std::move(stamp.release);
  return parts;
}

void Build::compareWithLastBuild(const std::vector<Part>& parts) {
  // One that is made elsewhere is about as long as the one that is there.
  const bool hasStamp = parts.back().first == mtlrules::kStampName;
  const std::string stamp =
      hasStamp ? parts.back().second : contentOf(root_ / mtlrules::kStampName);
  const std::string lastList = contentOf(root_ / mtlrules::kListName);
  if (!result_.isNew) {
    result_.byKit.add(stamp.size());
    result_.byModule.add(stamp.size());
    result_.isListRestored = lastList != list_;
    result_.changes.emplace();
    return;
  }
  std::error_code error;
  result_.isFirst = !fs::exists(root_ / mtlrules::kListName, error) && !error;
  std::optional<std::vector<ListEntry>> before;
  if (!result_.isFirst) before = parseFileList(lastList);
  ListChanges changes = changesBetween(before.value_or(std::vector<ListEntry>()), entries_);
  result_.byKit = changes.byKit;
  result_.byModule = changes.byModule;
  for (Fetches* fetches : {&result_.byKit, &result_.byModule}) {
    fetches->add(stamp.size());
    fetches->add(list_.size());
  }
  if (before) {
    result_.changes = std::move(changes);
  } else if (!result_.isFirst && result_.problems.empty()) {
    result_.warnings.push_back(std::string(mtlrules::kListName) +
                               ": the last build's list cannot be read; what has changed since is "
                               "not known");
  }
}

void Build::refuseUnreachable() {
  if (options_.allowsChangedMissing || !result_.changes) return;
  for (const std::string& path : result_.changes->unreachable) {
    addProblem(mtlrules::printable(path) +
               ": has changed, but is \"missing\", and the module keeps the old one where it has "
               "it: give it a new name");
  }
}

void Build::write(const std::vector<Part>& parts) {
  for (const auto& [name, content] : parts) {
    if (const std::error_code error = replaceFile(root_, name, content)) {
      return addProblem(writeProblem(name, error));
    }
  }
}

}  // namespace

PublishResult publish(const fs::path& folder, const PublishOptions& options) {
  std::error_code error;
  const fs::path root = canonicalFolder(folder, error);
  if (!error) return Build(root, options).run();
  PublishResult result;
  result.problems.push_back(mtlrules::printable(folder.u8string()) + ": " + errorMessage(error));
  return result;
}

}  // namespace mtlpublish
