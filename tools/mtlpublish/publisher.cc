// Builds a library: scans, selects and digests its files, and only then writes, the list first and
// the stamp last.
#include "mtlpublish/publisher.h"

#include <algorithm>
#include <deque>
#include <system_error>
#include <utility>

#include "mtlpublish/build_lock.h"
#include "mtlpublish/contained_path.h"
#include "mtlpublish/digest_cache.h"
#include "mtlpublish/digest_files.h"
#include "mtlpublish/kept_builds.h"
#include "mtlpublish/list_check.h"
#include "mtlpublish/release_parts.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"
#include "rules/own_names.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

std::string writeProblem(const char* name, const std::error_code& error) {
  return std::string(name) + ": cannot be written: " + errorMessage(error);
}

/// One build of the library in a folder.
class Build {
 public:
  /// `root` is canonical.
  Build(const fs::path& root, const PublishOptions& options)
      : root_(root), options_(options), lockProblem_(options.isTrial ? "" : lock_.take(root)) {
    editions_.emplace_back(root_, editionOptions(options.signing, options_, ""));
    SigningOptions signing = options.signing;
    signing.library = editions_.front().signer().libraryName();
    for (const View& view : options.views) {
      signing.subPath = view.subPath;
      editions_.emplace_back(root_ / fs::u8path(view.subPath),
                             editionOptions(signing, listingOf(view, options_), view.subPath));
    }
  }

  PublishResult run() {
    addProblem(lockProblem_);
    if (!options_.isTrial) {
      for (const Edition& edition : editions_)
        addProblem(edition.signer().problem());
    }
    if (!result_.problems.empty()) return std::move(result_);
    gather();
    if (result_.problems.empty() && !options_.isTrial) write();
    return std::move(result_);
  }

 private:
  EditionOptions editionOptions(const SigningOptions& signing, ListingOptions listing,
                                const std::string& view) const {
    return {view,          options_.address,     std::move(listing),
            signing,       options_.differences, options_.isTrial,
            options_.start};
  }

  /// Views have much in common, faults too.
  static void addTo(std::vector<std::string>& lines, std::string line) {
    if (std::find(lines.begin(), lines.end(), line) == lines.end())
      lines.push_back(std::move(line));
  }
  void addProblem(std::string problem) {
    if (!problem.empty()) addTo(result_.problems, std::move(problem));
  }

  void gather();
  void checkViews();
  DigestedFiles digestWithCache(std::vector<LibraryFile> files);
  void make(Edition& edition, const std::vector<DigestedFile>& files);
  void write();

  const fs::path& root_;
  const PublishOptions& options_;
  // Taken before anything is read, such as the last serial.
  BuildLock lock_;
  std::string lockProblem_;
  std::deque<Edition> editions_;  // That of clients without a sub-path, and those of the views.
  std::vector<DigestedFile> files_;
  PublishResult result_;
};

void Build::gather() {
  checkViews();
  FileSelection selection = options_.selection;
  // What a former view has left is removed when the build is written.
  selection.views = readViews(root_).subPaths;
  for (const View& view : options_.views)
    selection.views.push_back(view.subPath);
  TreeScan scan = scanTree(root_, selection);
  DigestedFiles digested = digestWithCache(std::move(scan.files));
  files_ = std::move(digested.files);
  for (const auto* problems : {&scan.problems, &digested.problems}) {
    for (const std::string& problem : *problems)
      addProblem(problem);
  }
  make(editions_.front(), files_);
  for (std::string& warning : warningsOf(editions_.front().entries(), scan, options_))
    addTo(result_.warnings, std::move(warning));
  static_cast<EditionResult&>(result_) = editions_.front().result();
  for (std::size_t i = 0; i < options_.views.size(); ++i) {
    const View& view = options_.views[i];
    make(editions_[i + 1], filesOf(view, files_));
    for (std::string& warning : warningsOf(view, files_))
      addTo(result_.warnings, std::move(warning));
    result_.views.push_back(editions_[i + 1].result());
  }
  result_.skipped = std::move(scan.skipped);
}

void Build::make(Edition& edition, const std::vector<DigestedFile>& files) {
  edition.make(files);
  for (const std::string& problem : edition.problems())
    addProblem(problem);
  for (const std::string& warning : edition.warnings())
    addTo(result_.warnings, warning);
}

/// Folders of views are written into, and their stamps are files of every copy.
void Build::checkViews() {
  std::vector<ListEntry> stamps;
  for (const View& view : options_.views) {
    stamps.push_back({mtlrules::stampName(view.subPath), DownloadPolicy::kAlways, 1, 0, ""});
    fs::path folder = root_ / fs::u8path(view.subPath);
    for (; folder != root_; folder = folder.parent_path()) {
      std::error_code error;
      const fs::file_status status = fs::symlink_status(folder, error);
      if (!fs::exists(status) || fs::is_directory(status)) continue;
      addProblem(mtlrules::printable(view.subPath) + ": not a folder, where a view is to be");
      break;
    }
  }
  for (std::string& problem : checkEntries(stamps, "", options_.allowed))
    addProblem(std::move(problem));
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
    // What it says may be what the publisher no longer believes.
    fs::remove(root_ / kCacheName, error);
  }
  if (error) {
    result_.warnings.push_back(writeProblem(kCacheName, error) +
                               "; the next build reads every file again");
  }
  return digested;
}

void Build::write() {
  KeptBuilds builds(root_);
  if (options_.keep > 0) addProblem(builds.keepContents(files_));
  for (std::string& problem : changedSince(files_))
    addProblem(std::move(problem));
  std::vector<PlacedParts> parts;
  BuildRecord record = editions_.front().record();
  bool isNew = false;
  PublishedViews views{addressPath(options_.address), {}};
  for (const Edition& edition : editions_) {
    const EditionResult& result = edition.result();
    parts.push_back(edition.parts());
    isNew = isNew || result.isNew;
    if (result.subPath.empty()) continue;
    views.subPaths.push_back(result.subPath);
    record.views.push_back({result.subPath, edition.record().list});
  }
  if (result_.problems.empty()) addProblem(writeParts(root_, parts, views));
  if (!result_.problems.empty() || options_.keep == 0) return;
  if (!isNew && !builds.numbers().empty()) return;
  if (std::string problem = builds.add(record, options_.keep); !problem.empty()) {
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
