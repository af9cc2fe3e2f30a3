// Scan, choose, digest, and only then write: the list first, the stamp last.
#include "mtlpublish/publisher.h"

#include <optional>
#include <system_error>
#include <utility>

#include "mtlpublish/build_lock.h"
#include "mtlpublish/contained_path.h"
#include "mtlpublish/digest_cache.h"
#include "mtlpublish/digest_files.h"
#include "mtlpublish/file_list.h"
#include "mtlpublish/kept_builds.h"
#include "mtlpublish/library_stamp.h"
#include "mtlpublish/release_parts.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

std::string writeProblem(const char* name, const std::error_code& error) {
  return std::string(name) + ": cannot be written: " + errorMessage(error);
}

/// "" when there is none, or it cannot be read.
std::string contentOf(const fs::path& file) {
  std::string content;
  return readContent(file, content) ? std::string() : content;
}

/// One build of the library in a folder.
class Build {
 public:
  /// `root` is canonical.
  Build(const fs::path& root, const PublishOptions& options)
      : root_(root),
        options_(options),
        lockProblem_(options.isTrial ? "" : lock_.take(root)),
        signer_(root_, options.signing) {}

  PublishResult run() {
    addProblem(lockProblem_);
    if (!options_.isTrial) addProblem(signer_.problem());
    if (!result_.problems.empty()) return std::move(result_);
    gather();
    const std::string stamp = makeStamp();
    compareWithLastBuild(stamp);
    refuseUnreachable();
    if (result_.problems.empty() && !options_.isTrial) write();
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
  std::string makeStamp();
  void compareWithLastBuild(const std::string& stamp);
  void refuseUnreachable();
  void write();

  const fs::path& root_;
  const PublishOptions& options_;
  // Taken before anything is read, such as the last serial.
  BuildLock lock_;
  std::string lockProblem_;
  LibrarySigner signer_;
  std::vector<DigestedFile> files_;
  std::vector<ListEntry> entries_;
  BuildRecord record_;
  ReleaseParts parts_;
  PublishResult result_;
};

void Build::gather() {
  TreeScan scan = scanTree(root_, options_.selection);
  DigestedFiles digested = digestWithCache(std::move(scan.files));
  files_ = std::move(digested.files);
  entries_ = makeEntries(files_, options_);
  record_.list = fileListText(entries_);
  for (const DigestedFile& file : files_)
    record_.files.push_back({file.file.path, file.sha256});
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
  const std::string before = options_.cache ? contentOf(root_ / kCacheName) : std::string();
  const DigestCache known = DigestCache::parse(before);
  DigestedFiles digested =
      digestFiles(std::move(files), known, options_.start, options_.onProgress);
  if (options_.isTrial) return digested;
  std::error_code error;
  if (options_.cache) {
    const std::string text = digested.cache.text();
    if (text != before) error = replaceFile(root_, kCacheName, text);
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

/// The text of the stamp; of one that is made elsewhere, that of the last one, which is about as
/// long.
std::string Build::makeStamp() {
  const std::string last = contentOf(root_ / mtlrules::kStampName);
  if (options_.isTrial && signer_.wasSigned()) {
    // Who signs is asked for a key only when there is something to sign.
    result_.isNew = contentOf(root_ / mtlrules::kListName) != record_.list;
    parts_.listCosts = ListForms(root_, record_.list, options_.differences).costs();
    return last;
  }
  if (std::string warning = signer_.clockWarning(options_.start); !warning.empty()) {
    result_.warnings.push_back(std::move(warning));
  }
  parts_ = makeParts(root_, record_, signer_, options_.start, false, options_.differences);
  result_.id = parts_.id;
  result_.release = parts_.release;
  result_.isNew = parts_.isNew;
  const auto& [name, content] = parts_.files.back();
  return name == mtlrules::kStampName ? content : last;
}

void Build::compareWithLastBuild(const std::string& stamp) {
  const std::string lastList = contentOf(root_ / mtlrules::kListName);
  if (!result_.isNew) {
    result_.byKit.add(stamp.size());
    result_.byModule.add(stamp.size());
    result_.isListRestored = lastList != record_.list;
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
  for (Fetches* fetches : {&result_.byKit, &result_.byModule})
    fetches->add(stamp.size());
  result_.byModule.add(record_.list.size());
  const ListCosts& costs = parts_.listCosts;
  const auto listBytes = result_.isFirst ? costs.first : costs.update;
  if (listBytes) result_.byKit.add(*listBytes);
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

void Build::write() {
  KeptBuilds builds(root_);
  if (options_.keep > 0) addProblem(builds.keepContents(files_));
  addProblems(changedSince(files_));
  if (result_.problems.empty()) addProblem(writeParts(root_, parts_));
  if (!result_.problems.empty() || options_.keep == 0) return;
  if (!result_.isNew && !builds.numbers().empty()) return;
  if (std::string problem = builds.add(record_, options_.keep); !problem.empty()) {
    result_.warnings.push_back(std::move(problem));
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
