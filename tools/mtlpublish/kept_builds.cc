// Keeps builds. Contents are stored in files named after their digests, so that what does not
// change from build to build is kept once. They are copies, because a publisher may write into the
// library's files.
#include "mtlpublish/kept_builds.h"

#include <algorithm>
#include <set>
#include <utility>

#include "mtlpublish/file_name.h"
#include "mtlpublish/tree_scan.h"
#include "mtlpublish/views.h"
#include "mtlpublish/whole_file.h"
#include "rules/printable.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFirstLine = "mtlpublish build 1\n";
constexpr std::string_view kView = "view ";
constexpr std::size_t kDigestLength = 64;
constexpr const char* kBuilds = "builds";
constexpr const char* kContents = "contents";

std::string keepProblem(const std::string& what, const std::error_code& error) {
  return what + ": cannot be kept: " + errorMessage(error);
}

std::optional<std::uint64_t> numberIn(const std::string& name) {
  if (name.empty() || name.size() > 18) return std::nullopt;
  if (name.find_first_not_of("0123456789") != name.npos) return std::nullopt;
  return std::stoull(name);
}

bool isList(std::string_view text) {
  return text.size() >= 2 && text.substr(text.size() - 2) == "]\n";
}

std::optional<BuildRecord::File> fileIn(std::string_view line) {
  if (line.size() < kDigestLength + 2 || line[kDigestLength] != ' ') return std::nullopt;
  const std::string_view digest = line.substr(0, kDigestLength);
  if (digest.find_first_not_of("0123456789abcdef") != digest.npos) return std::nullopt;
  return BuildRecord::File{std::string(line.substr(kDigestLength + 1)), std::string(digest)};
}

/// Adds the size of its list, which comes later.
std::optional<BuildRecord::ViewList> viewIn(std::string_view line,
                                            std::vector<std::size_t>& sizes) {
  if (line.substr(0, kView.size()) != kView) return std::nullopt;
  line.remove_prefix(kView.size());
  const std::size_t blank = std::min(line.find(' '), line.size());
  const std::string size(line.substr(0, blank));
  const auto number = numberIn(size);
  // A number has one way to be written.
  if (!number || std::to_string(*number) != size || blank == line.size()) return std::nullopt;
  std::string subPath(line.substr(blank + 1));
  if (!viewPathProblem(subPath).empty()) return std::nullopt;
  sizes.push_back(static_cast<std::size_t>(*number));
  return BuildRecord::ViewList{std::move(subPath), ""};
}

}  // namespace

std::string recordText(const BuildRecord& record) {
  std::string text(kFirstLine);
  for (const BuildRecord::File& file : record.files)
    text += file.sha256 + ' ' + file.path + '\n';
  for (const auto& [subPath, list] : record.views)
    text += std::string(kView) + std::to_string(list.size()) + ' ' + subPath + '\n';
  // Paths have no line break, and a list ends in one: a text that was cut is none.
  text += '\n';
  for (const BuildRecord::ViewList& view : record.views)
    text += view.list;
  return text + record.list;
}

std::optional<BuildRecord> parseRecord(std::string_view text) {
  if (text.substr(0, kFirstLine.size()) != kFirstLine) return std::nullopt;
  text.remove_prefix(kFirstLine.size());
  BuildRecord record;
  std::vector<std::size_t> sizes;
  while (true) {
    const std::size_t end = text.find('\n');
    if (end == text.npos) return std::nullopt;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (line.empty()) break;
    if (auto view = viewIn(line, sizes)) {
      record.views.push_back(*std::move(view));
    } else if (auto file = fileIn(line); file && record.views.empty()) {
      record.files.push_back(*std::move(file));
    } else {
      return std::nullopt;
    }
  }
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    record.views[i].list = text.substr(0, sizes[i]);
    text.remove_prefix(std::min(sizes[i], text.size()));
    if (record.views[i].list.size() != sizes[i] || !isList(record.views[i].list)) {
      return std::nullopt;
    }
  }
  if (!isList(text)) return std::nullopt;
  record.list = text;
  return record;
}

KeptBuilds::KeptBuilds(const fs::path& root) : root_(root), folder_(root / kKeptFolderName) {}

fs::path KeptBuilds::contentFile(std::string_view sha256) const {
  return folder_ / kContents / std::string(sha256);
}

std::string KeptBuilds::keepContents(const std::vector<DigestedFile>& files) {
  mtlupdate::Folder kept;
  std::error_code error = kept.open(folder_.u8string(), true);
  if (!error) error = kept.makeFolders(kContents);
  if (error) return keepProblem(kKeptFolderName, error);
  std::set<std::string> copied;
  for (const DigestedFile& file : files) {
    const fs::path content = contentFile(file.sha256);
    if (fs::exists(content, error) || !copied.insert(file.sha256).second) continue;
    const fs::path unfinished = fs::path(content) += kTemporarySuffix;
    fs::remove(unfinished, error);
    fs::copy_file(file.file.location, unfinished, error);
    // Windows flushes no file that may not be written.
    if (!error) fs::permissions(unfinished, fs::perms::owner_write, fs::perm_options::add, error);
    if (error) return keepProblem(mtlrules::printable(file.file.path), error);
  }
  error = nameContents(kept, {copied.begin(), copied.end()});
  return error ? keepProblem(kKeptFolderName, error) : std::string();
}

// A name on the disk has its content there, whenever the power is lost, and a record on the disk
// has all its names there. Whether a content is what its name says is looked at when it is needed,
// which is rarely.
std::error_code KeptBuilds::nameContents(mtlupdate::Folder& kept,
                                         const std::vector<std::string>& digests) {
  if (digests.empty()) return {};
  const auto path = [&](std::size_t i) { return std::string(kContents) + '/' + digests[i]; };
  const auto unfinished = [&](std::size_t i) { return path(i).append(kTemporarySuffix); };
  std::error_code error = kept.flush(digests.size(), unfinished);
  for (std::size_t i = 0; !error && i < digests.size(); ++i)
    error = kept.replace(unfinished(i), path(i));
  return error ? error : kept.flush(digests.size(), path);
}

std::string KeptBuilds::add(const BuildRecord& record, std::size_t count) {
  std::error_code error;
  fs::create_directories(folder_ / kBuilds, error);
  const std::vector<std::uint64_t> there = numbers();
  const std::uint64_t number = there.empty() ? 1 : there.back() + 1;
  if (!error) error = replaceFile(folder_ / kBuilds, std::to_string(number), recordText(record));
  if (error) return keepProblem("the build", error);
  for (std::size_t i = 0; i + count < there.size(); ++i)
    forget(there[i]);
  removeUnusedContents();
  return {};
}

std::vector<std::uint64_t> KeptBuilds::numbers() const {
  std::vector<std::uint64_t> numbers;
  std::error_code error;
  for (fs::directory_iterator entry(folder_ / kBuilds, error);
       !error && entry != fs::directory_iterator(); entry.increment(error)) {
    if (const auto number = numberIn(fileName(entry->path()))) numbers.push_back(*number);
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::optional<BuildRecord> KeptBuilds::read(std::uint64_t number) const {
  std::string text;
  if (readContent(folder_ / kBuilds / std::to_string(number), text)) return std::nullopt;
  return parseRecord(text);
}

void KeptBuilds::forget(std::uint64_t number) {
  std::error_code ignored;
  fs::remove(folder_ / kBuilds / std::to_string(number), ignored);
}

// What stays behind costs room, and is looked for again after the next build.
void KeptBuilds::removeUnusedContents() {
  std::set<std::string> used;
  for (const std::uint64_t number : numbers()) {
    const std::optional<BuildRecord> record = read(number);
    // Without it nobody knows what it needs.
    if (!record) return;
    for (const BuildRecord::File& file : record->files)
      used.insert(file.sha256);
  }
  std::vector<fs::path> unused;
  std::error_code error;
  for (fs::directory_iterator entry(folder_ / kContents, error);
       !error && entry != fs::directory_iterator(); entry.increment(error)) {
    if (used.count(fileName(entry->path())) == 0) unused.push_back(entry->path());
  }
  for (const fs::path& file : unused)
    fs::remove(file, error);
}

}  // namespace mtlpublish
