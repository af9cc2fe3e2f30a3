// A View is another list of a library's files, with its own stamp, for clients that give a
// sub-path. Both are in the folder of the sub-path inside the library's folder.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_VIEWS_H_
#define MTLLIB_TOOLS_MTLPUBLISH_VIEWS_H_

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mtlpublish/digest_files.h"
#include "mtlpublish/library_entries.h"

namespace mtlpublish {

struct View {
  /// That its clients give, in the one way to write it.
  std::string subPath;
  /// What it has of the library's files; without any, all.
  std::vector<Glob> files{};
  /// What it has not, whatever `files` says.
  std::vector<Glob> exclude{};
  /// These count before those of the library.
  std::vector<PolicyRule> policies{};
  /// None for what the library says.
  std::optional<bool> lossy{};
};

/// Those of the library's files that the view has.
std::vector<DigestedFile> filesOf(const View& view, const std::vector<DigestedFile>& files);

/// How the view lists them, where the library lists as `listing` says.
ListingOptions listingOf(const View& view, const ListingOptions& listing);

/// Patterns of the view that select none of the library's files.
std::vector<std::string> warningsOf(const View& view, const std::vector<DigestedFile>& files);

/// Why a folder of this sub-path cannot hold a view; "" when it can. To follow the path.
std::string viewPathProblem(const std::string& subPath);

/// What stands in a library's folder of its views.
struct PublishedViews {
  /// The path of the library's address: "" or "library", say.
  std::string addressPath{};
  /// Sub-paths, in their order.
  std::vector<std::string> subPaths{};
};

/// As the last build left it; nothing where there never were any.
PublishedViews readViews(const std::filesystem::path& root);

/// The text of the file that says so.
std::string viewsText(const PublishedViews& views);

/// The path of an address, without slashes at its ends.
std::string addressPath(std::string_view address);

/// Where clients look for a list, from the root of the server that has the library at
/// `addressPath`: the sub-path goes in front.
std::string listPlace(std::string_view addressPath, std::string_view subPath);

/// The same for another file beside the list, by its name there.
std::string listPlace(std::string_view addressPath, std::string_view subPath,
                      std::string_view name);

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_VIEWS_H_
