// A content that is the same stays as it is, so that a build that changes nothing writes nothing.
#include "mtlpublish/release_parts.h"

#include <cstddef>
#include <string_view>
#include <system_error>

#include "mtlpublish/tree_scan.h"
#include "mtlpublish/whole_file.h"
#include "rules/list_entry.h"
#include "rules/own_names.h"
#include "update/sha256.h"

namespace mtlpublish {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kIdLength = 64;

/// None when there is no such file, or it cannot be read.
std::optional<std::string> contentOf(const fs::path& file) {
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

}  // namespace

ReleaseParts makeParts(const fs::path& root, const BuildRecord& build, const LibrarySigner& signer,
                       std::chrono::system_clock::time_point now, bool isAgain) {
  ReleaseParts parts;
  if (signer.isNeeded()) {
    SignedStamp stamp = signer.sign(build.list, now);
    parts.files = {{kSignedName, mtlsigning::commentText(stamp.release) + "\n"},
                   {mtlrules::kListName, build.list}};
    if (!stamp.text.empty()) parts.files.emplace_back(mtlrules::kStampName, std::move(stamp.text));
    parts.isNew = stamp.isNew;
    parts.release = std::move(stamp.release);
    return parts;
  }
  const std::string stamp = contentOf(root / mtlrules::kStampName).value_or("");
  const std::string id = libraryId(build);
  if (isAgain) {
    parts.id = idAfter(id, stamp);
    std::string record = id + ' ' + parts.id + '\n';
    parts.files.emplace_back(kAgainName, std::move(record));
  } else {
    parts.id = idByRecord(id, contentOf(root / kAgainName).value_or(""));
  }
  parts.files.emplace_back(mtlrules::kListName, build.list);
  parts.files.emplace_back(mtlrules::kStampName, parts.id + "\n");
  parts.isNew = stamp != parts.id + "\n";
  return parts;
}

std::string writeParts(const fs::path& root, const ReleaseParts& parts) {
  std::optional<std::string> listBefore;
  for (const auto& [name, content] : parts.files) {
    std::optional<std::string> before = contentOf(root / name);
    const bool isSame = before == content;
    if (name == mtlrules::kListName) listBefore = std::move(before);
    if (isSame) continue;
    const std::error_code error = replaceFile(root, name, content);
    if (!error) continue;
    // A list without its stamp harms no client, but is not what was published.
    if (name == mtlrules::kStampName && listBefore) {
      static_cast<void>(replaceFile(root, mtlrules::kListName, *listBefore));
    }
    return name + ": cannot be written: " + errorMessage(error);
  }
  return {};
}

}  // namespace mtlpublish
