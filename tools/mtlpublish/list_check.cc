// Reads a list as clients do, and checks its names by the rules of every system.
#include "mtlpublish/list_check.h"

#include <cstdint>

#include "mtlpublish/file_name.h"
#include "rules/list_entry.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

/// One line for each finding that may not pass.
void addFindings(const std::string& path, const std::vector<mtlrules::NameFinding>& findings,
                 const AllowedFaults& allowed, std::vector<std::string>& problems) {
  for (const mtlrules::NameFinding& finding : findings) {
    if (allowed.count(finding.fault) != 0) continue;
    problems.push_back(mtlrules::printable(path) + ": " + finding.text);
  }
}

std::string problemLine(const ListProblem& problem) {
  std::string name = problem.path.empty() ? mtlrules::kListName : mtlrules::printable(problem.path);
  if (problem.path.empty() && problem.number > 0) {
    name += ": entry " + std::to_string(problem.number);
  }
  if (!problem.isRefused) return name + ": " + problem.reason;
  // Some systems refuse such a name for what it means there.
  const auto ofPath = mtlrules::findingsOf(problem.path);
  return name + ": " +
         (ofPath.empty() ? "clients refuse the list: " + problem.reason : ofPath.front().text);
}

}  // namespace

CheckedList checkList(std::string_view text, const std::string& subPath) {
  CheckedList list;
  const std::string listName = std::string(mtlrules::kListName) + ": ";
  std::vector<ListProblem> problems;
  const std::string refusal = readList(text, subPath, list.files, problems);
  if (!text.empty() && text.back() != '\n') {
    list.problems.push_back(listName +
                            "does not end in a line break; clients leave out the last byte");
  } else if (!refusal.empty()) {
    list.problems.push_back(listName + "clients refuse it: " + mtlrules::printableLine(refusal));
  }
  for (const ListProblem& problem : problems)
    list.problems.push_back(problemLine(problem));
  mtlrules::PublishedNames names(subPath, foldedPath);
  for (const ListedFile& file : list.files)
    addFindings(file.path, names.add(file.path), {}, list.problems);
  return list;
}

std::vector<std::string> checkEntries(const std::vector<ListEntry>& entries,
                                      const std::string& subPath, const AllowedFaults& allowed) {
  std::vector<std::string> problems;
  mtlrules::PublishedNames names(subPath, foldedPath);
  for (const ListEntry& entry : entries) {
    if (entry.policy == DownloadPolicy::kNever) continue;
    addFindings(entry.path, names.add(entry.path), allowed, problems);
  }
  return problems;
}

std::vector<std::string> sizeWarnings(const std::vector<ListEntry>& entries) {
  // Hosts of the module can hardly hold more in memory, and mtlsync accepts more only on request.
  constexpr std::uint64_t kLargest = 2'000'000'000;
  std::vector<std::string> problems;
  for (const ListEntry& entry : entries) {
    if (entry.policy == DownloadPolicy::kNever || entry.fetchedSize() <= kLargest) continue;
    problems.push_back(mtlrules::printable(entry.path) +
                       ": has more than 2 GB, which many clients do not take");
  }
  return problems;
}

}  // namespace mtlpublish
