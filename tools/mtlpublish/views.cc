// Finds and records views. The record has a line for the path of the address and one for each
// sub-path.
#include "mtlpublish/views.h"

#include <algorithm>
#include <sstream>

#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"
#include "rules/address.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/path.h"
#include "signing/release_comment.h"

namespace mtlpublish {

std::vector<DigestedFile> filesOf(const View& view, const std::vector<DigestedFile>& files) {
  std::vector<DigestedFile> chosen;
  std::copy_if(files.begin(), files.end(), std::back_inserter(chosen),
               [&view](const DigestedFile& file) {
                 const std::string& path = file.file.path;
                 return (view.files.empty() || anyMatches(view.files, path)) &&
                        !anyMatches(view.exclude, path);
               });
  return chosen;
}

ListingOptions listingOf(const View& view, const ListingOptions& listing) {
  ListingOptions own = listing;
  own.policies.insert(own.policies.begin(), view.policies.begin(), view.policies.end());
  own.lossy = view.lossy.value_or(listing.lossy);
  return own;
}

std::vector<std::string> warningsOf(const View& view, const std::vector<DigestedFile>& files) {
  std::vector<std::string> warnings;
  const auto look = [&](const char* what, const Glob& glob) {
    if (std::any_of(files.begin(), files.end(),
                    [&glob](const DigestedFile& file) { return glob.matches(file.file.path); }))
      return;
    warnings.push_back("view '" + view.subPath + "': " + what + " '" + glob.text() +
                       "' matches no file");
  };
  for (const Glob& glob : view.files)
    look("files", glob);
  for (const Glob& glob : view.exclude)
    look("exclude", glob);
  for (const PolicyRule& rule : view.policies)
    look("policy for", rule.files);
  return warnings;
}

std::string viewPathProblem(const std::string& subPath) {
  if (subPath.empty() || !mtlsigning::isSignableSubPath(subPath)) {
    return "is not the way to write a sub-path";
  }
  const std::string first = subPath.substr(0, subPath.find('/'));
  const bool isTaken = first.front() == '.' || isPrivateName(first) ||
                       first == mtlrules::kListName || mtlrules::isOwnName(first, "");
  return isTaken ? "begins with a name that is not free" : "";
}

PublishedViews readViews(const std::filesystem::path& root) {
  PublishedViews views;
  std::string text;
  if (readContent(root / kViewsName, text)) return views;
  std::istringstream lines(text);
  std::getline(lines, views.addressPath);
  for (std::string line; std::getline(lines, line);) {
    // The file may be anybody's, and names folders in which files are removed.
    if (viewPathProblem(line).empty()) views.subPaths.push_back(line);
  }
  return views;
}

std::string viewsText(const PublishedViews& views) {
  std::string text = views.addressPath + '\n';
  for (const std::string& subPath : views.subPaths)
    text += subPath + '\n';
  return text;
}

std::string addressPath(std::string_view address) {
  return mtlrules::plainPath(mtlrules::splitAddress(address).path);
}

std::string listPlace(std::string_view addressPath, std::string_view subPath) {
  return listPlace(addressPath, subPath, mtlrules::kListName);
}

std::string listPlace(std::string_view addressPath, std::string_view subPath,
                      std::string_view name) {
  std::string place;
  for (const std::string_view folder : {subPath, addressPath}) {
    if (!folder.empty()) place.append(folder) += '/';
  }
  return place.append(name);
}

}  // namespace mtlpublish
