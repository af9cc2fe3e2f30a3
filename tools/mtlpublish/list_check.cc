// Read as clients do, and then looked at with the eyes of every system.
#include "mtlpublish/list_check.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "mtlpublish/file_name.h"
#include "mtlpublish/system.h"
#include "rules/list_entry.h"
#include "rules/path.h"
#include "rules/printable.h"
#include "rules/utf8.h"
#include "rules/windows_names.h"

namespace mtlpublish {

namespace {

/// "" when every client can hold a file of this path.
std::string pathProblem(std::string_view path) {
  if (!mtlrules::isValidUtf8(path)) return "the name is not valid UTF-8";
  if (path.size() >= kUnsavablePathLength) {
    return "the path has " + std::to_string(path.size()) + " bytes, no client can hold more than " +
           std::to_string(kUnsavablePathLength - 1);
  }
  for (const std::string_view name : mtlrules::namesOf(path)) {
    const bool isStep = name == "." || name == "..";
    if (!isStep && !mtlrules::isHeldByWindows(name)) {
      return "Windows cannot hold the name \"" + mtlrules::printable(name) + "\"";
    }
  }
  return "";
}

/// Finds files that get in each other's way, on some systems only where case makes no
/// difference. Folders do not.
class NameClashes {
 public:
  /// "" when the path, in the one way to write it and in UTF-8, is all right so far.
  std::string add(const std::string& path) {
    const Key key = keyOf(path);
    const auto [place, isNew] = taken_.try_emplace(key, Use{path, false});
    if (!isNew) return clash(place->second, path);
    for (Key folder = parentOf(key); !folder.empty(); folder = parentOf(folder)) {
      const auto [above, isNewFolder] = taken_.try_emplace(folder, Use{"", true});
      if (!above->second.isFolder) return "lies in " + quoted(above->second.path) + ", a file";
      // Those above it are known, too.
      if (!isNewFolder) break;
    }
    return "";
  }

 private:
  using Key = std::u32string;
  struct Use {
    std::string path;  // Of a file.
    bool isFolder;
  };

  static Key keyOf(const std::string& path) { return foldCase(mtlrules::codePoints(path)); }
  static Key parentOf(const Key& key) {
    const std::size_t end = key.rfind(U'/');
    return end == key.npos ? Key() : key.substr(0, end);
  }
  static std::string quoted(const std::string& path) {
    return '"' + mtlrules::printable(path) + '"';
  }
  static std::string clash(const Use& use, const std::string& path) {
    if (use.isFolder) return "is a folder of other files, too";
    if (use.path != path) {
      return "differs from " + quoted(use.path) + " only in upper and lower case";
    }
    return "is listed more than once";
  }

  std::map<Key, Use> taken_;
};

void checkNames(CheckedList& list) {
  NameClashes clashes;
  for (const ListedFile& file : list.files) {
    std::string problem = pathProblem(file.path);
    // What is not UTF-8 has no case.
    if (mtlrules::isValidUtf8(file.path)) {
      const std::string clash = clashes.add(mtlrules::plainPath(file.path));
      if (problem.empty()) problem = clash;
    }
    if (!problem.empty()) list.problems.push_back(mtlrules::printable(file.path) + ": " + problem);
  }
}

std::string problemLine(const ListProblem& problem) {
  std::string name = problem.path.empty() ? mtlrules::kListName : mtlrules::printable(problem.path);
  if (problem.path.empty() && problem.number > 0) {
    name += ": entry " + std::to_string(problem.number);
  }
  if (!problem.isRefused) return name + ": " + problem.reason;
  // Some systems refuse such a name for what it means there.
  const std::string ofPath = pathProblem(problem.path);
  return name + ": " + (ofPath.empty() ? "clients refuse the list: " + problem.reason : ofPath);
}

}  // namespace

CheckedList checkList(std::string_view text) {
  CheckedList list;
  const std::string listName = std::string(mtlrules::kListName) + ": ";
  std::vector<ListProblem> problems;
  const std::string refusal = readList(text, "", list.files, problems);
  if (!text.empty() && text.back() != '\n') {
    list.problems.push_back(listName +
                            "does not end in a line break; clients leave out the last byte");
  } else if (!refusal.empty()) {
    list.problems.push_back(listName + "clients refuse it: " + mtlrules::printableLine(refusal));
  }
  for (const ListProblem& problem : problems)
    list.problems.push_back(problemLine(problem));
  checkNames(list);
  return list;
}

}  // namespace mtlpublish
