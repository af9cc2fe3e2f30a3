// Scans a folder. All problems are collected, so that a publisher can fix them at once.
#include "mtlpublish/tree_scan.h"

#include <algorithm>
#include <array>
#include <set>
#include <system_error>

#include "mtlpublish/contained_path.h"
#include "mtlpublish/file_name.h"
#include "mtlpublish/system.h"
#include "mtlpublish/whole_file.h"
#include "rules/ascii.h"
#include "rules/list_entry.h"
#include "rules/list_note.h"
#include "rules/own_names.h"
#include "rules/printable.h"
#include "rules/published_names.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

bool endsWith(std::string_view name, std::string_view end) {
  return name.size() >= end.size() &&
         mtlrules::equalsIgnoringCase(name.substr(name.size() - end.size()), end);
}

/// What people hardly mean to publish: settings and passwords that hide behind a dot, backups of
/// editors, and what systems leave in every folder.
bool isByTheWay(std::string_view name) {
  constexpr std::array<std::string_view, 3> kEnds = {"~", ".bak", ".swp"};
  constexpr std::array<std::string_view, 3> kNames = {"Thumbs.db", "desktop.ini", "__MACOSX"};
  return name.front() == '.' ||
         std::any_of(kEnds.begin(), kEnds.end(),
                     [name](std::string_view end) { return endsWith(name, end); }) ||
         std::any_of(kNames.begin(), kNames.end(), [name](std::string_view one) {
           return one.size() == name.size() && mtlrules::equalsIgnoringCase(name, one);
         });
}

bool isLowerCase(std::string_view name) {
  return std::all_of(name.begin(), name.end(), [](char c) { return mtlrules::asciiLower(c) == c; });
}

class Scanner {
 public:
  Scanner(const fs::path& root, const FileSelection& selection)
      : root_(root), selection_(selection) {}

  TreeScan run() {
    walk(root_, "");
    std::sort(result_.files.begin(), result_.files.end(),
              [](const LibraryFile& a, const LibraryFile& b) { return a.path < b.path; });
    std::sort(result_.skipped.begin(), result_.skipped.end());
    return std::move(result_);
  }

 private:
  /// False when a symbolic link below `folder` leads back.
  bool walk(const fs::path& folder, const std::string& prefix) {
    // A folder is recognised by its canonical path, whichever links led to it.
    std::error_code error;
    const fs::path canonical = canonicalPath(folder, error);
    std::vector<fs::directory_entry> entries;
    fs::directory_iterator entry;
    if (!error) entry = fs::directory_iterator(canonical, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
      entries.push_back(*entry);
    }
    if (error) {
      addProblem(prefix, "cannot be read: " + errorMessage(error));
      return true;
    }
    if (std::find(open_.begin(), open_.end(), canonical) != open_.end()) {
      addProblem(prefix, "a symbolic link that leads back to a folder it lies in");
      return false;
    }
    // Followed once more, links in circles would multiply.
    if (circular_.count(canonical) != 0) return false;

    std::sort(entries.begin(), entries.end());
    open_.push_back(canonical);
    bool straight = true;
    for (const fs::directory_entry& one : entries)
      straight = visit(one, prefix) && straight;
    open_.pop_back();
    if (!straight) circular_.insert(canonical);
    return straight;
  }

  /// False when a symbolic link, the entry or one below it, leads back.
  bool visit(const fs::directory_entry& entry, const std::string& prefix) {
    const fs::path& path = entry.path();
    const std::string name = fileName(path);
    const std::string relative = prefix + name;
    std::error_code error;
    if (isWrittenName(name) && isReleaseFolder(prefix)) {
      if (fs::is_directory(fs::symlink_status(path, error))) {
        addProblem(relative, "a folder where publishing writes a file of that name");
      }
      return true;
    }
    if (prefix.empty() && isPrivateName(name)) return true;
    if (path == selection_.config) return true;
    if (isListForm(relative)) {
      // One that a build writes is there already; in other letters it would be the same on Windows.
      if (!isLowerCase(relative)) addProblem(relative, "publishing writes a file of that name");
      return true;
    }
    if (!isSelected(name, relative)) {
      const bool isFolder = fs::is_directory(fs::status(path, error));
      result_.skipped.push_back(isFolder ? relative + "/" : relative);
      return true;
    }
    if (prefix.empty()) {
      if (mtlrules::isOwnName(name, "")) {
        addProblem(relative, "clients keep the name for their own files");
        return true;
      }
    }
    if (const std::string problem = nameProblem(name); !problem.empty()) {
      addProblem(relative, problem);
    }
    if (const std::string problem = mtlrules::unsavableLength(relative); !problem.empty()) {
      addProblem(relative, problem);
      return true;
    }
    if (isLink(entry) && !acceptLink(path, relative)) return true;
    // The folder may have reported these already.
    if (entry.is_directory(error)) return walk(path, relative + "/");
    if (entry.is_regular_file(error)) {
      result_.files.push_back({relative, path});
      return true;
    }
    const fs::file_status status = fs::status(path, error);
    if (fs::status_known(status) && fs::exists(status)) {
      addProblem(relative, "neither a file nor a folder");
    } else {
      addProblem(relative, "cannot be read: " + errorMessage(error));
    }
    return true;
  }

  /// `prefix` is "", or that of a folder below with its '/'.
  bool isReleaseFolder(std::string_view prefix) const {
    if (prefix.empty()) return true;
    prefix.remove_suffix(1);
    return std::find(selection_.views.begin(), selection_.views.end(), prefix) !=
           selection_.views.end();
  }

  /// Of the library's list, or of a view's.
  bool isListForm(std::string_view relative) const {
    return mtlrules::isListForm(relative) ||
           std::any_of(selection_.views.begin(), selection_.views.end(), [=](const auto& view) {
             return relative.size() > view.size() && relative[view.size()] == '/' &&
                    relative.substr(0, view.size()) == view &&
                    mtlrules::isListForm(relative.substr(view.size() + 1));
           });
  }

  /// `folder` is canonical, and within the root.
  std::string prefixOf(const fs::path& folder) const {
    return folder == root_ ? "" : folder.lexically_relative(root_).generic_u8string() + '/';
  }

  bool isSelected(const std::string& name, const std::string& relative) {
    if (anyMatches(selection_.exclude, relative)) return false;
    if (!isByTheWay(name)) return true;
    if (!anyMatches(selection_.include, relative)) return false;
    result_.askedFor.push_back(relative);
    return true;
  }

  bool acceptLink(const fs::path& path, const std::string& relative) {
    std::error_code error;
    const fs::path target = canonicalPath(path, error);
    if (error) {
      addProblem(relative, "a symbolic link that leads nowhere: " + errorMessage(error));
    } else if (!liesWithin(target, root_)) {
      addProblem(relative, "a symbolic link that leaves the folder");
    } else if (isWrittenName(fileName(target)) && isReleaseFolder(prefixOf(target.parent_path()))) {
      addProblem(relative, "a symbolic link to a file that publishing writes");
    } else {
      return true;
    }
    return false;
  }

  void addProblem(std::string_view relative, const std::string& problem) {
    if (!relative.empty() && relative.back() == '/') relative.remove_suffix(1);
    const std::string name = relative.empty() ? root_.u8string() : std::string(relative);
    result_.problems.push_back(mtlrules::printable(name) + ": " + problem);
  }

  const fs::path& root_;
  const FileSelection& selection_;
  TreeScan result_;
  /// The folders that the walk is in, canonical, outermost first.
  std::vector<fs::path> open_;
  /// Folders below which a symbolic link was seen to lead back.
  std::set<fs::path> circular_;
};

}  // namespace

bool isWrittenName(std::string_view name) {
  constexpr std::array<std::string_view, 8> kNames = {
      mtlrules::kListName, mtlrules::kStampName, kCacheName, kSignedName,
      kAgainName,          kPreviousListName,    kLockName,  kViewsName};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

bool isPrivateName(std::string_view name) {
  constexpr std::array<std::string_view, 9> kNames = {
      kCacheName, kSignedName,     kAgainName,  kPreviousListName,         kViewsName,
      kLockName,  kKeptFolderName, kConfigName, mtlrules::kStateFolderName};
  if (std::find(kNames.begin(), kNames.end(), name) != kNames.end()) return true;
  return name.size() >= kTemporaryPrefix.size() + kTemporarySuffix.size() &&
         name.substr(0, kTemporaryPrefix.size()) == kTemporaryPrefix &&
         name.substr(name.size() - kTemporarySuffix.size()) == kTemporarySuffix;
}

TreeScan scanTree(const fs::path& root, const FileSelection& selection) {
  return Scanner(root, selection).run();
}

}  // namespace mtlpublish
