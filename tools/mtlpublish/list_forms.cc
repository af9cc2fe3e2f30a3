// Makes the forms of a list. The differences that lead to the last list are beside it; joined with
// the one from there to the new list, they are the next to publish.
#include "mtlpublish/list_forms.h"

#include <algorithm>
#include <system_error>

#include "mtlpublish/file_name.h"
#include "mtlpublish/list_differences.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "signing/signed_release.h"
#include "update/gzip.h"
#include "update/sha256.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;
using mtlrules::ListNote;
using mtlupdate::ListDifference;

/// A difference that has more than this part of the list saves too little.
constexpr std::size_t kWorthPart = 4;

/// Of a shorter list, a difference saves a kilobyte or two at most. Whether clients ask for one
/// does not depend on what was published before: the same library has the same stamp.
constexpr std::size_t kWorthDifferences = 4096;

ListNote noteOf(const mtlupdate::ListIdentity& list) {
  return {list.size, mtlupdate::hexText(list.sha256), false, false};
}

/// Of a difference between lists of these lengths, unpacked. Nothing that is worth publishing is
/// longer.
std::size_t mostOfDifference(std::size_t from, std::size_t to) {
  return from + to;
}

/// Whether the pieces put together are the list; those of the old list count as right when `from`
/// is none.
bool makes(const ListDifference& difference, const std::string* from, std::string_view list) {
  for (const ListDifference::Piece& piece : difference.pieces) {
    const auto size = static_cast<std::size_t>(piece.size);
    if (size > list.size()) return false;
    const std::string_view there = list.substr(0, size);
    if (!piece.text.empty() && piece.text != there) return false;
    if (piece.text.empty() && from != nullptr &&
        from->compare(static_cast<std::size_t>(piece.offset), size, there) != 0) {
      return false;
    }
    list.remove_prefix(size);
  }
  return list.empty();
}

bool isSameList(const ListNote& a, const ListNote& b) {
  return a.size == b.size && a.sha256 == b.sha256;
}

}  // namespace

std::vector<std::string> listFormsIn(const fs::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder / mtlrules::kDifferencesFolder, error);
       !error && entry != fs::directory_iterator(); entry.increment(error)) {
    std::string name =
        std::string(mtlrules::kDifferencesFolder).append("/").append(fileName(entry->path()));
    if (mtlrules::isListForm(name)) names.push_back(std::move(name));
  }
  if (fs::exists(folder / mtlrules::kCompressedListName, error)) {
    names.emplace_back(mtlrules::kCompressedListName);
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string compressedListProblem(const std::string& content, const std::string& list) {
  return mtlupdate::gunzipped(content, list.size()) == list
             ? ""
             : "is damaged, or of another list; clients fetch the whole list";
}

std::string differenceProblem(const std::string& content, const std::string& list,
                              const std::vector<std::string>& older) {
  std::size_t longest = list.size();
  for (const std::string& one : older)
    longest = std::max(longest, one.size());
  const auto text = mtlupdate::gunzipped(content, mostOfDifference(longest, list.size()));
  const auto difference = text ? mtlupdate::parseDifference(*text) : std::nullopt;
  if (!difference) return "is damaged";
  if (!(difference->head.to == identityOf(list))) return "leads to another list";
  const auto from = std::find_if(older.begin(), older.end(), [&](const std::string& one) {
    return one.size() == difference->head.from.size && identityOf(one) == difference->head.from;
  });
  const bool isRight = makes(*difference, from == older.end() ? nullptr : &*from, list);
  return isRight ? "" : "does not make the list that it says";
}

ListForms::ListForms(const fs::path& folder, std::string list, std::size_t differences)
    : folder_(folder), list_(std::move(list)) {
  compress();
  readLast();
  note_ = noteOf(identityOf(list_));
  note_.isCompressed = compressed_.size() < list_.size();
  note_.hasDifferences = differences > 0 && list_.size() >= kWorthDifferences;
  // Of others, clients would not know.
  if (note_.hasDifferences) makeDifferences(differences);
}

// Unpacking what is there takes less time than packing it.
void ListForms::compress() {
  compressed_ = contentOf(folder_ / mtlrules::kCompressedListName);
  if (mtlupdate::gunzipped(compressed_, list_.size()) == list_) return;
  compressed_ = mtlupdate::gzipped(list_);
}

void ListForms::readLast() {
  lastStamp_ = contentOf(folder_ / mtlrules::kStampName);
  lastList_ = contentOf(folder_ / mtlrules::kListName);
  const mtlupdate::ListIdentity last = identityOf(lastList_);
  lastNote_ = mtlsigning::listNoteIn(lastStamp_);
  if (lastNote_ && !isSameList(*lastNote_, noteOf(last))) lastNote_.reset();
  for (std::string& name : listFormsIn(folder_)) {
    if (name == mtlrules::kCompressedListName) continue;
    const auto text = mtlupdate::gunzipped(contentOf(folder_ / name),
                                           mostOfDifference(lastList_.size(), list_.size()));
    auto difference = text ? mtlupdate::parseDifference(*text) : std::nullopt;
    if (difference && difference->head.to == last) {
      there_.emplace(std::move(name), *std::move(difference));
    } else {
      damaged_.push_back(std::move(name));
    }
  }
}

void ListForms::makeDifferences(std::size_t count) {
  const ListDifference step = differenceBetween(lastList_, list_);
  if (lastNote_) {
    addDifference(ownName(), step, count);
  }
  for (const auto& [name, difference] : there_) {
    if (differences_.count(name) == 0) addDifference(name, joined(difference, step), count);
  }
}

/// Of the difference from the last list.
std::string ListForms::ownName() const {
  mtlupdate::Sha256 sha256;
  sha256.update(lastStamp_);
  return mtlrules::differenceName(mtlupdate::hexText(sha256.finish()));
}

void ListForms::addDifference(const std::string& name, const ListDifference& difference,
                              std::size_t count) {
  if (difference.head.builds > count) return;
  std::string packed = mtlupdate::gzipped(mtlupdate::differenceText(difference));
  if (packed.size() <= list_.size() / kWorthPart && packed.size() < compressed_.size()) {
    differences_.emplace(name, std::move(packed));
  }
}

std::vector<std::pair<std::string, std::string>> ListForms::files(bool isNewStamp) const {
  std::vector<std::pair<std::string, std::string>> files;
  if (isNewStamp) files.assign(differences_.begin(), differences_.end());
  files.emplace_back(mtlrules::kCompressedListName, compressed_);
  return files;
}

std::vector<std::string> ListForms::stale(bool isNewStamp) const {
  std::vector<std::string> names = damaged_;
  for (const auto& [name, difference] : there_) {
    const bool stays = isNewStamp ? differences_.count(name) != 0 : note_.hasDifferences;
    if (!stays) names.push_back(name);
  }
  return names;
}

ListCosts ListForms::costs() const {
  const std::uint64_t whole = note_.isCompressed ? compressed_.size() : list_.size();
  ListCosts costs{whole, whole};
  if (!lastNote_) return costs;
  const auto own = differences_.find(ownName());
  if (own != differences_.end()) costs.update = own->second.size();
  costs.isAskedInVain = own == differences_.end() && note_.hasDifferences;
  if (isSameList(*lastNote_, note_)) costs = {whole, std::nullopt};
  return costs;
}

}  // namespace mtlpublish
