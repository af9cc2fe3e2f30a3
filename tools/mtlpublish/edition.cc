// Makes editions in memory, so that a trial is a build that is not written.
#include "mtlpublish/edition.h"

#include <system_error>
#include <utility>

#include "mtlpublish/file_list.h"
#include "mtlpublish/whole_file.h"
#include "rules/address.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace fs = std::filesystem;

Edition::Edition(fs::path folder, EditionOptions options)
    : folder_(std::move(folder)), options_(std::move(options)), signer_(folder_, options_.signing) {
  result_.subPath = options_.view;
  result_.listUrl = mtlrules::listUrl(options_.address, options_.view);
}

void Edition::make(const std::vector<DigestedFile>& files) {
  entries_ = makeEntries(files, options_.listing);
  const std::vector<std::string>& mirrors = options_.listing.mirrors;
  record_.list = fileListText(entries_, mirrors);
  // What clients of a view fetch, its list has the digests of.
  if (options_.view.empty()) {
    for (const DigestedFile& file : files)
      record_.files.push_back({file.file.path, file.sha256});
  }
  problems_ = problemsOf(files, entries_, signer_.subPath(), options_.listing);
  if (mirrors.size() > mtlrules::kMostMirrors) {
    problems_.push_back("clients take no more than " + std::to_string(mtlrules::kMostMirrors) +
                        " mirrors");
  }
  if (!mirrors.empty() && !signer_.isNeeded() && !signer_.wasSigned()) {
    warnings_.emplace_back("mirrors are named, which clients take from signed lists only");
  }
  result_.files = entries_.size();
  for (const ListEntry& entry : entries_)
    result_.bytes += entry.fetchedSize();
  compareWithLastBuild(makeStamp());
  refuseUnreachable();
}

/// The text of the stamp; of one that is made elsewhere, that of the last one, which is about as
/// long.
std::string Edition::makeStamp() {
  std::string last = contentOf(folder_ / mtlrules::kStampName);
  if (options_.isTrial && signer_.wasSigned()) {
    // Who signs is asked for a key only when there is something to sign.
    result_.isNew = contentOf(folder_ / mtlrules::kListName) != record_.list;
    parts_.listCosts = ListForms(folder_, record_.list, options_.differences).costs();
    return last;
  }
  if (std::string warning = signer_.clockWarning(options_.start); !warning.empty()) {
    warnings_.push_back(std::move(warning));
  }
  parts_ = makeParts(folder_, record_, signer_, options_.start, false, options_.differences);
  result_.id = parts_.id;
  result_.release = parts_.release;
  result_.isNew = parts_.isNew;
  const auto& [name, content] = parts_.files.back();
  return name == mtlrules::kStampName ? content : last;
}

void Edition::compareWithLastBuild(const std::string& stamp) {
  const std::string lastList = contentOf(folder_ / mtlrules::kListName);
  if (!result_.isNew) {
    result_.byKit.add(stamp.size());
    result_.byModule.add(stamp.size());
    result_.isListRestored = lastList != record_.list;
    result_.changes.emplace();
    return;
  }
  std::error_code error;
  result_.isFirst = !fs::exists(folder_ / mtlrules::kListName, error) && !error;
  std::optional<std::vector<ListEntry>> before;
  if (!result_.isFirst) before = parseFileList(lastList);
  ListChanges changes = changesBetween(before.value_or(std::vector<ListEntry>()), entries_);
  result_.byKit = changes.byKit;
  result_.byModule = changes.byModule;
  for (Fetches* fetches : {&result_.byKit, &result_.byModule})
    fetches->add(stamp.size());
  result_.byModule.add(record_.list.size());
  const ListCosts& costs = parts_.listCosts;
  const auto listBytes = result_.isFirst ? costs.first : costs.update;
  if (listBytes) result_.byKit.add(*listBytes);
  if (!result_.isFirst && costs.isAskedInVain) result_.byKit.add(0);
  if (before) {
    result_.changes = std::move(changes);
  } else if (fs::is_regular_file(folder_ / mtlrules::kListName, error)) {
    warnings_.push_back(std::string(mtlrules::kListName) +
                        ": the last build's list cannot be read; what has changed since is "
                        "not known");
  }
}

void Edition::refuseUnreachable() {
  if (options_.listing.allowsChangedMissing || !result_.changes) return;
  for (const std::string& path : result_.changes->unreachable) {
    problems_.push_back(
        mtlrules::printable(path) +
        ": has changed, but is \"missing\", and the module keeps the old one where it has "
        "it: give it a new name");
  }
}

}  // namespace mtlpublish
