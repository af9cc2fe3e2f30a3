// Checks names of published files. Folders are recorded as well as files, each under its folded
// path, so that a file in the place of a folder is found whichever of the two comes first.
#include "rules/published_names.h"

#include <array>
#include <cstddef>
#include <utility>

#include "rules/own_names.h"
#include "rules/path.h"
#include "rules/printable.h"
#include "rules/utf8.h"
#include "rules/windows_names.h"

namespace mtlrules {

namespace {

/// A client saves nothing whose full local path has 260 bytes or more, a separator among them.
constexpr std::size_t kLongestPath = 258;
/// Of the path that a copy's folder should be allowed to have.
constexpr std::size_t kFolderLength = 60;

constexpr std::array<std::pair<NameFault, const char*>, 4> kFaultWords = {{
    {NameFault::kWindowsName, "windows-names"},
    {NameFault::kSameName, "same-names"},
    {NameFault::kLongPath, "long-paths"},
    {NameFault::kUnusedEntry, "unused-entries"},
}};

std::string quoted(const std::string& path) {
  return '"' + printable(path) + '"';
}

}  // namespace

const char* wordFor(NameFault fault) {
  for (const auto& [one, word] : kFaultWords) {
    if (one == fault) return word;
  }
  return "";
}

std::optional<NameFault> faultNamed(std::string_view word) {
  for (const auto& [fault, one] : kFaultWords) {
    if (word == one) return fault;
  }
  return std::nullopt;
}

std::string unsavableLength(std::string_view path) {
  if (path.size() <= kLongestPath) return "";
  return "the path has " + std::to_string(path.size()) + " bytes, no client can hold more than " +
         std::to_string(kLongestPath);
}

std::vector<NameFinding> findingsOf(std::string_view path) {
  if (!isValidUtf8(path)) return {{NameFault::kUnsavable, "the name is not valid UTF-8"}};
  std::vector<NameFinding> findings;
  for (const std::string_view name : namesOf(path)) {
    if (name == "." || name == ".." || isHeldByWindows(name)) continue;
    findings.push_back(
        {NameFault::kWindowsName, "Windows cannot hold the name \"" + printable(name) + '"'});
    break;
  }
  if (std::string text = unsavableLength(path); !text.empty()) {
    findings.push_back({NameFault::kUnsavable, std::move(text)});
  } else if (path.size() > kLongestPath - kFolderLength) {
    findings.push_back({NameFault::kLongPath, "the path has " + std::to_string(path.size()) +
                                                  " bytes, more than the " +
                                                  std::to_string(kLongestPath - kFolderLength) +
                                                  " that a client can hold in a folder of " +
                                                  std::to_string(kFolderLength)});
  }
  return findings;
}

std::string PublishedNames::clash(const Use& use, const std::string& path) {
  if (use.isFolder) return "is a folder of other files, too";
  if (use.path != path) {
    return "differs from " + quoted(use.path) + " only in case, or in how accents are written";
  }
  return "is listed more than once";
}

std::string PublishedNames::clashOf(const std::string& path) {
  Key key = fold_(path);
  const auto [place, isNew] = taken_.try_emplace(key, Use{path, false});
  if (!isNew) return clash(place->second, path);
  for (std::size_t end = key.rfind('/'); end != key.npos; end = key.rfind('/')) {
    key.resize(end);
    const auto [above, isNewFolder] = taken_.try_emplace(key, Use{"", true});
    if (!above->second.isFolder) return "lies in " + quoted(above->second.path) + ", a file";
    // Those above it are known, too.
    if (!isNewFolder) break;
  }
  return "";
}

std::vector<NameFinding> PublishedNames::add(const std::string& path) {
  std::vector<NameFinding> findings = findingsOf(path);
  // What is not UTF-8 has no case.
  if (!isValidUtf8(path)) return findings;
  if (std::string text = clashOf(plainPath(path)); !text.empty()) {
    findings.push_back({NameFault::kSameName, std::move(text)});
  }
  if (isOwnName(path, subPath_)) {
    findings.push_back(
        {NameFault::kUnusedEntry, "has a name that clients keep for their own files"});
  }
  return findings;
}

}  // namespace mtlrules
