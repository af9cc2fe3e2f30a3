// Finds the files of a library, and whatever prevents them from being published.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_TREE_SCAN_H_
#define MTLLIB_TOOLS_MTLPUBLISH_TREE_SCAN_H_

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "mtlpublish/glob.h"

namespace mtlpublish {

/// What a build keeps in the library's folder for the next one.
inline constexpr const char* kCacheName = ".mtlpublish-cache";
/// What was signed last, which a build keeps there, too.
inline constexpr const char* kSignedName = ".mtlpublish-signed";
/// Where a library's configuration is, unless it is somewhere else.
inline constexpr const char* kConfigName = "library.toml";
/// That a library without a signature was published again.
inline constexpr const char* kAgainName = ".mtlpublish-again";
/// Which views were built last.
inline constexpr const char* kViewsName = ".mtlpublish-views";
/// The list that the last build replaced by another one.
inline constexpr const char* kPreviousListName = ".mtlpublish-previous";
/// By which builds keep each other away.
inline constexpr const char* kLockName = ".mtlpublish-lock";
/// Where earlier builds are kept.
inline constexpr const char* kKeptFolderName = ".mtlpublish";
/// How the names of files begin and end that are being written.
inline constexpr std::string_view kTemporaryPrefix = ".mtlpublish-";
inline constexpr std::string_view kTemporarySuffix = ".tmp";

/// True for what stands in the library's folder and is the business of mtlpublish, or of the
/// client when the folder is a local copy itself: neither listed nor served.
bool isPrivateName(std::string_view name);

/// True for what builds write beside a list, the list itself, and the stamp.
bool isWrittenName(std::string_view name);

struct LibraryFile {
  /// Below the library's folder, in UTF-8, separated by '/'.
  std::string path;
  /// Where its content is.
  std::filesystem::path location;
};

/// Which files and folders of a library are published. Patterns are matched against both.
struct FileSelection {
  /// Not these.
  std::vector<Glob> exclude{};
  /// These, though they have a name that is passed over unless asked for: one that begins with a
  /// dot, one of editors' backups, or one that systems give to files of their own.
  std::vector<Glob> include{};
  /// The configuration, canonical, which is never published; empty for none.
  std::filesystem::path config{};
  /// Folders below the library's, with '/' between names, in which builds write lists and stamps
  /// as in the library's own.
  std::vector<std::string> views{};
};

struct TreeScan {
  /// In bytewise order of the paths.
  std::vector<LibraryFile> files;
  /// What was not selected, folders with a '/' at the end; in bytewise order.
  std::vector<std::string> skipped;
  /// What is there only because FileSelection::include says so.
  std::vector<std::string> askedFor;
  /// One sentence for each file or folder that cannot be published, "PATH: what is
  /// wrong". Nothing may be published unless there are none.
  std::vector<std::string> problems;
};

/// Finds every file below `root`, which is canonical. Symbolic links that stay below
/// `root` are followed, as long as they do not lead back to a folder that contains them. What is
/// not selected is not looked at, and nothing below it.
TreeScan scanTree(const std::filesystem::path& root, const FileSelection& selection = {});

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_TREE_SCAN_H_
