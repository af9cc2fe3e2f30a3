// Makes the entries of a library's list: which policy each file has, which file is the lossy
// variant of another, and what is wrong with them.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_LIBRARY_ENTRIES_H_
#define MTLLIB_TOOLS_MTLPUBLISH_LIBRARY_ENTRIES_H_

#include <string>
#include <string_view>
#include <vector>

#include "mtlpublish/digest_files.h"
#include "mtlpublish/file_list.h"
#include "mtlpublish/glob.h"
#include "mtlpublish/list_check.h"
#include "mtlpublish/tree_scan.h"

namespace mtlpublish {

struct PolicyRule {
  Glob files;
  DownloadPolicy policy;
};

struct ListingOptions {
  /// Which files are listed at all.
  FileSelection selection{};
  /// Files that clients fetch only when they do not have them.
  std::vector<Glob> missing{};
  /// Files that clients never fetch, whatever `missing` says.
  std::vector<Glob> never{};
  /// For all others: the first one that matches counts. Without any, files are always fetched.
  std::vector<PolicyRule> policies{};
  /// List a map x.tx that has a lossy variant x.jpeg.tx beside it as lossy, and leave
  /// the variant out of the list.
  bool lossy = false;
  /// Other addresses at which the library is published, which clients of the kit take from its list
  /// when it is signed.
  std::vector<std::string> mirrors{};
  /// What is published though some client cannot take it.
  AllowedFaults allowed{};
  /// Publish a new content of a "missing" file, which the module does not fetch where it has the
  /// old one.
  bool allowsChangedMissing = false;
};

/// The kinds of what may be allowed, for messages.
inline constexpr const char* kKinds =
    "windows-names, same-names, long-paths, unused-entries or changed-missing";

/// Lets a kind pass; false when it is none of them.
bool allow(std::string_view kind, ListingOptions& options);

/// `files` is sorted by path.
std::vector<ListEntry> makeEntries(const std::vector<DigestedFile>& files,
                                   const ListingOptions& options);

/// What is wrong with an address as a mirror; "" when nothing is.
std::string mirrorProblem(const std::string& address);

/// "PATH: what is wrong", for everything that some client could not take and that may not pass.
std::vector<std::string> problemsOf(const std::vector<DigestedFile>& files,
                                    const std::vector<ListEntry>& entries,
                                    const std::string& subPath, const ListingOptions& options);

/// What the publisher may want to look at: large files, and patterns that select nothing.
std::vector<std::string> warningsOf(const std::vector<ListEntry>& entries, const TreeScan& scan,
                                    const ListingOptions& options);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_LIBRARY_ENTRIES_H_
