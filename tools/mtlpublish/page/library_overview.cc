// Collects the overview. A stamp is shown as it is, without checking it against keys: a reader of
// the page has to trust whoever serves it anyway.
#include "mtlpublish/page/library_overview.h"

#include <algorithm>
#include <utility>

#include "mtlpublish/file_name.h"
#include "mtlpublish/library_config.h"
#include "mtlpublish/signature_report.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "signing/signature.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

// Any bytes can be a stamp.
constexpr std::size_t kLongestLine = 200;

/// As the configuration says, or that of the folder.
std::string nameOf(const fs::path& root) {
  std::string text;
  std::vector<std::string> problems;
  const fs::path file = root / kConfigName;
  if (!readContent(file, text, kLongestConfig + 1)) {
    const auto config = parseConfig(text, file, problems);
    if (config && !config->name.empty()) return config->name;
  }
  return fileName(root);
}

void describeStamp(const std::string& stamp, const std::string& list, std::int64_t now,
                   LibraryOverview& overview) {
  overview.warnings = reportSignature(stamp, list, {}, now).problems;
  if (!mtlsigning::looksSigned(stamp)) {
    overview.stamp = stamp.substr(0, std::min(stamp.find_first_of("\r\n"), kLongestLine));
    return;
  }
  std::string problem;
  const auto signature = mtlsigning::signatureFrom(stamp, problem);
  if (!signature) return;
  overview.keyId = mtlsigning::idText(signature->keyId);
  overview.release = mtlsigning::releaseFrom(signature->comment);
  if (overview.release) overview.name = overview.release->library;
}

std::optional<ListChanges> lastChanges(const fs::path& folder,
                                       const std::vector<ListEntry>& entries) {
  std::string list;
  if (readContent(folder / kPreviousListName, list)) return std::nullopt;
  const auto before = parseFileList(list);
  if (!before) return std::nullopt;
  return changesBetween(*before, entries);
}

}  // namespace

std::optional<LibraryOverview> readOverview(const fs::path& root, const std::string& subPath,
                                            std::int64_t now, std::string& problem) {
  const fs::path folder = root / fs::u8path(subPath);
  std::string list;
  std::string stamp;
  for (const auto& [name, content] :
       {std::pair(mtlrules::kStampName, &stamp), std::pair(mtlrules::kListName, &list)}) {
    const std::error_code error = readContent(folder / name, *content);
    if (!error) continue;
    problem = std::string(name) + ": " + errorMessage(error) + "; run mtlpublish build first";
    return std::nullopt;
  }
  auto entries = parseFileList(list);
  if (!entries) {
    problem = std::string(mtlrules::kListName) + ": is not a list that mtlpublish build wrote";
    return std::nullopt;
  }
  LibraryOverview overview;
  overview.subPath = subPath;
  overview.name = nameOf(root);
  overview.listSize = list.size();
  overview.entries = *std::move(entries);
  describeStamp(stamp, list, now, overview);
  overview.changes = lastChanges(folder, overview.entries);
  return overview;
}

}  // namespace mtlpublish
