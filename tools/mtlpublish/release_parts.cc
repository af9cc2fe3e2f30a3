// Writes the parts of a release. A file whose content does not change is left alone, so that a
// build that changes nothing writes nothing.
#include "mtlpublish/release_parts.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <system_error>

#include "mtlpublish/file_name.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"
#include "rules/list_note.h"
#include "rules/own_names.h"
#include "rules/printable.h"
#include "update/sha256.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kIdLength = 64;

/// None when there is no such file, or it cannot be read.
std::optional<std::string> contentIfAny(const fs::path& file) {
  std::string content;
  if (readContent(file, content)) return std::nullopt;
  return content;
}

/// Each part is ended by a zero byte, which neither the list nor a path has, so that no
/// two libraries give the same bytes.
std::string libraryId(const BuildRecord& build) {
  constexpr std::string_view kEnd("\0", 1);
  mtlupdate::Sha256 sha256;
  sha256.update(build.list);
  sha256.update(kEnd);
  for (const BuildRecord::File& file : build.files) {
    sha256.update(file.path);
    sha256.update(kEnd);
    sha256.update(file.sha256);
    sha256.update(kEnd);
  }
  return mtlupdate::hexText(sha256.finish());
}

std::string idAfter(const std::string& id, const std::string& stamp) {
  mtlupdate::Sha256 sha256;
  sha256.update(id);
  sha256.update(stamp);
  return mtlupdate::hexText(sha256.finish());
}

/// The record says of one library that its id is another one, since it was published again.
std::string idByRecord(const std::string& id, const std::string& record) {
  const bool isThis = record.size() == 2 * kIdLength + 2 && record.substr(0, kIdLength) == id;
  return isThis ? record.substr(kIdLength + 1, kIdLength) : id;
}

/// The list after its forms: who still has the stamp before is served as long as may be.
void addList(const ListForms& forms, const std::string& list, ReleaseParts& parts) {
  for (auto& file : forms.files(parts.isNew))
    parts.files.push_back(std::move(file));
  parts.files.emplace_back(mtlrules::kListName, list);
  if (!forms.lastList().empty() && forms.lastList() != list) {
    parts.files.emplace_back(kPreviousListName, forms.lastList());
  }
  parts.stale = forms.stale(parts.isNew);
}

/// Removes files, and the folder of differences if there is nothing in it. What stays is looked for
/// again by the next build.
void remove(const fs::path& root, const std::vector<std::string>& names) {
  std::error_code ignored;
  for (const std::string& name : names)
    fs::remove(root / fs::u8path(name), ignored);
  const fs::path folder = root / mtlrules::kDifferencesFolder;
  if (fs::is_directory(fs::symlink_status(folder, ignored)) && fs::is_empty(folder, ignored)) {
    fs::remove(folder, ignored);
  }
}

/// Replaces files; restores what it replaced if it is destroyed before keep() is called.
class PartWriter {
 public:
  explicit PartWriter(const fs::path& root) : root_(root) {}
  PartWriter(const PartWriter&) = delete;
  PartWriter& operator=(const PartWriter&) = delete;
  ~PartWriter() {
    // A list without its stamp harms no client, but is not what was published.
    for (auto one = written_.rbegin(); one != written_.rend(); ++one)
      putBack(*one);
  }

  std::string write(const fs::path& folder, const std::string& name, const std::string& content);
  void keep() { written_.clear(); }

 private:
  struct Written {
    fs::path file;
    std::optional<std::string> before;
  };

  static void putBack(const Written& written);

  const fs::path& root_;
  std::vector<Written> written_;
};

void PartWriter::putBack(const Written& written) {
  const auto& [file, before] = written;
  std::error_code ignored;
  if (before) {
    static_cast<void>(replaceFile(file.parent_path(), fileName(file), *before));
  } else {
    fs::remove(file, ignored);
    // It may have been made for the file.
    if (fs::is_empty(file.parent_path(), ignored)) fs::remove(file.parent_path(), ignored);
  }
}

std::string PartWriter::write(const fs::path& folder, const std::string& name,
                              const std::string& content) {
  const fs::path file = folder / fs::u8path(name);
  std::optional<std::string> before = contentIfAny(file);
  if (before == content) return {};
  std::error_code error;
  fs::create_directories(file.parent_path(), error);
  if (!error) error = replaceFile(file.parent_path(), fileName(file), content);
  if (error) {
    return mtlrules::printable(file.lexically_relative(root_).generic_u8string()) +
           ": cannot be written: " + errorMessage(error);
  }
  const bool isRecord = name == kSignedName || name == kAgainName;
  if (!isRecord) written_.push_back({file, std::move(before)});
  return {};
}

bool has(const PublishedViews& views, const std::string& subPath) {
  return std::find(views.subPaths.begin(), views.subPaths.end(), subPath) != views.subPaths.end();
}

/// What cannot be removed stays, and is listed by the next build.
void removeView(const fs::path& root, const std::string& subPath) {
  std::error_code error;
  fs::path folder = root / fs::u8path(subPath);
  std::vector<std::string> written;
  for (fs::recursive_directory_iterator entry(folder, error);
       !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().lexically_relative(folder).generic_u8string();
    if (isWrittenName(name) || mtlrules::isListForm(name)) written.push_back(name);
  }
  remove(folder, written);
  for (; folder != root && fs::is_empty(folder, error) && !error; folder = folder.parent_path())
    fs::remove(folder, error);
}

}  // namespace

ReleaseParts makeParts(const fs::path& root, const BuildRecord& build, const LibrarySigner& signer,
                       std::chrono::system_clock::time_point now, bool isAgain,
                       std::size_t differences) {
  const ListForms forms(root, build.list, differences);
  ReleaseParts parts;
  parts.listCosts = forms.costs();
  if (signer.isNeeded()) {
    SignedStamp stamp = signer.sign(build.list, forms.note(), now);
    parts.isNew = stamp.isNew;
    parts.files.emplace_back(kSignedName, mtlsigning::commentText(stamp.release) + "\n");
    addList(forms, build.list, parts);
    if (!stamp.text.empty()) parts.files.emplace_back(mtlrules::kStampName, std::move(stamp.text));
    parts.release = std::move(stamp.release);
    return parts;
  }
  const std::string stamp = contentIfAny(root / mtlrules::kStampName).value_or("");
  const std::string id = libraryId(build);
  if (isAgain) {
    parts.id = idAfter(id, stamp);
    std::string record = id + ' ' + parts.id + '\n';
    parts.files.emplace_back(kAgainName, std::move(record));
  } else {
    parts.id = idByRecord(id, contentIfAny(root / kAgainName).value_or(""));
  }
  std::string newStamp = mtlrules::stampText(parts.id, forms.note());
  parts.isNew = stamp != newStamp;
  addList(forms, build.list, parts);
  parts.files.emplace_back(mtlrules::kStampName, std::move(newStamp));
  return parts;
}

std::string writeParts(const fs::path& root, const std::vector<PlacedParts>& releases,
                       const PublishedViews& views) {
  PartWriter writer(root);
  const PublishedViews former = readViews(root);
  PublishedViews all = views;
  for (const std::string& subPath : former.subPaths) {
    if (!has(views, subPath)) all.subPaths.push_back(subPath);
  }
  // What a build that was cut has written is known, and not taken for files of the library.
  std::string problem =
      all.subPaths.empty() ? std::string() : writer.write(root, kViewsName, viewsText(all));
  for (const bool stamps : {false, true}) {
    for (const auto& [folder, parts] : releases) {
      for (const auto& [name, content] : parts.files) {
        if (problem.empty() && (name == mtlrules::kStampName) == stamps) {
          problem = writer.write(folder, name, content);
        }
      }
    }
  }
  if (!problem.empty()) return problem;
  writer.keep();
  for (const auto& [folder, parts] : releases)
    remove(folder, parts.stale);
  if (all.subPaths.size() == views.subPaths.size()) return {};
  for (const std::string& subPath : former.subPaths) {
    if (!has(views, subPath)) removeView(root, subPath);
  }
  problem = writer.write(root, kViewsName, viewsText(views));
  writer.keep();
  return problem;
}

}  // namespace mtlpublish
