// Writes the page, except for the table of files: page.js makes that from a list in JSON,
// according to what the reader searches for.
#include "mtlpublish/page/page.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "common/quantity_text.h"
#include "mtlpublish/media_type.h"
#include "mtlpublish/page/library_overview.h"
#include "mtlpublish/page/page_parts.h"
#include "rules/address.h"
#include "rules/list_entry.h"
#include "rules/path.h"
#include "rules/printable.h"
#include "signing/minisign_text.h"
#include "update/sha256.h"

namespace mtlpublish {

namespace {

constexpr std::size_t kFoldersShown = 10;
constexpr std::size_t kNamesShown = 200;

/// Files, and what clients fetch for them.
struct Amount {
  std::size_t files = 0;
  std::uint64_t bytes = 0;

  void add(const ListEntry& entry) {
    ++files;
    bytes += entry.fetchedSize();
  }
};

// Every text that comes from elsewhere passes here.
std::string html(std::string_view text) {
  std::string result;
  for (const char c : mtlrules::printable(text)) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

/// A string for JSON within a script: no part of it ends that, or begins a comment.
std::string json(std::string_view text) {
  std::string result = "\"";
  for (const char c : mtlrules::printable(text)) {
    if (c == '<') {
      result += "\\u003c";
      continue;
    }
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + '"';
}

/// "30,000".
std::string number(std::size_t count) {
  std::string text = std::to_string(count);
  for (std::size_t end = text.size(); end > 3; end -= 3)
    text.insert(end - 3, ",");
  return text;
}

std::string filesText(std::size_t count) {
  return number(count) + (count == 1 ? " file" : " files");
}

std::string bytesText(std::uint64_t bytes) {
  return common::bytesText(static_cast<std::int64_t>(bytes));
}

std::string elementText(std::string_view text, const char* tag) {
  return std::string("<").append(tag).append(">").append(text).append("</").append(tag) + ">";
}

/// For style-src and script-src: what is written between the tags, and nothing else.
std::string hashSource(std::string_view text) {
  mtlupdate::Sha256 sha256;
  sha256.update(text);
  const auto digest = sha256.finish();
  return digest ? "'sha256-" + mtlsigning::base64Of(digest->data(), digest->size()) + "'"
                : "'none'";
}

std::string policyWithin() {
  static const std::string policy =
      "default-src 'none'; img-src 'self' data:; style-src " + hashSource(kPageStyle) +
      "; script-src " + hashSource(kPageScript) + "; base-uri 'none'; form-action 'none'";
  return policy;
}

std::string fact(const char* name, const std::string& content, const char* kind = "") {
  return std::string("<div class=\"") + kind + "\"><dt>" + name + "</dt><dd>" + content +
         "</dd></div>\n";
}

/// Where clients look for the list of a view depends on the library's address.
std::string listLink(const LibraryOverview& overview) {
  return overview.subPath.empty() ? "<a href=\"filelist.json\">filelist.json</a>" : "filelist.json";
}

/// Leads from the page to the library, and makes an address of whatever follows a relative one.
std::string baseOf(std::string_view subPath) {
  std::string base = "./";
  for (std::size_t i = 0; i < mtlrules::namesOf(subPath).size(); ++i)
    base += "../";
  return base;
}

std::string releaseFacts(const LibraryOverview& overview) {
  if (overview.release) {
    const mtlsigning::Release& release = *overview.release;
    std::string facts = fact("Serial", std::to_string(release.serial), "large");
    facts += fact("Published", mtlsigning::utcText(release.published));
    facts += fact("Expires", release.expires ? mtlsigning::utcText(*release.expires) : "never");
    return facts + fact("Signed with key", elementText(overview.keyId, "code"));
  }
  return fact("Signature", overview.keyId.empty() ? "none" : elementText(overview.keyId, "code")) +
         fact("Id", elementText(html(overview.stamp), "code"), "wide");
}

std::string aboutSection(const LibraryOverview& overview, const Amount& fetched) {
  const std::string& subPath = overview.release ? overview.release->subPath : overview.subPath;
  return "<section aria-labelledby=\"about\">\n<h2 id=\"about\">Release</h2>\n<dl>\n" +
         fact("Files", number(fetched.files), "large") +
         fact("Size", bytesText(fetched.bytes), "large") +
         (subPath.empty() ? "" : fact("Sub-path", html(subPath))) + releaseFacts(overview) +
         fact("List", listLink(overview) + ", " + bytesText(overview.listSize)) +
         "</dl>\n</section>\n";
}

std::string warningsSection(const std::vector<std::string>& warnings) {
  if (warnings.empty()) return {};
  std::string text =
      "<section class=\"warnings\" aria-labelledby=\"warnings\">\n"
      "<h2 id=\"warnings\">Problems</h2>\n<ul>\n";
  for (const std::string& warning : warnings)
    text += elementText(html(warning), "li") + "\n";
  return text + "</ul>\n</section>\n";
}

std::string namesText(const char* what, const std::vector<std::string>& paths) {
  if (paths.empty()) return {};
  std::string text =
      "<details>\n<summary>" + number(paths.size()) + " " + what + "</summary>\n<ul>\n";
  const std::size_t shown = std::min(paths.size(), kNamesShown);
  for (std::size_t i = 0; i < shown; ++i)
    text += elementText(html(paths[i]), "li") + "\n";
  if (shown < paths.size()) text += "<li>and " + number(paths.size() - shown) + " more</li>\n";
  return text + "</ul>\n</details>\n";
}

std::string costText(const Fetches& fetches) {
  return filesText(fetches.requests) + ", " + bytesText(fetches.bytes);
}

std::string changesSection(const std::optional<ListChanges>& changes) {
  std::string text =
      "<section aria-labelledby=\"changes\">\n"
      "<h2 id=\"changes\">Changed by the last build</h2>\n";
  if (!changes) {
    text += "<p class=\"quiet\">There was no other list before this one.</p>\n";
  } else if (changes->isEmpty()) {
    text += "<p>The list shows no change.</p>\n";
  } else {
    text += "<p>Clients of the kit that had the build before fetch " + costText(changes->byKit) +
            "; hosts of the module, " + costText(changes->byModule) + ".</p>\n" +
            namesText("added", changes->added) + namesText("changed", changes->changed) +
            namesText("removed", changes->removed);
  }
  return text + "</section>\n";
}

std::string amountRow(const std::string& name, const Amount& amount) {
  return "<tr><th scope=\"row\">" + name + "</th><td class=\"number\">" + number(amount.files) +
         "</td><td class=\"number\">" + bytesText(amount.bytes) + "</td></tr>\n";
}

std::string amountTable(const char* caption, const char* what, const std::string& rows) {
  return std::string("<table>\n<caption>") + caption + "</caption>\n<thead><tr><th scope=\"col\">" +
         what +
         "</th><th scope=\"col\" class=\"number\">Files</th><th scope=\"col\" class=\"number\">"
         "Size</th></tr></thead>\n<tbody>\n" +
         rows + "</tbody>\n</table>\n";
}

std::string policyTable(const std::vector<ListEntry>& entries) {
  std::map<DownloadPolicy, Amount> amounts;
  for (const ListEntry& entry : entries)
    amounts[entry.policy].add(entry);
  std::string rows;
  for (const auto& [policy, amount] : amounts)
    rows += amountRow(mtlrules::wordFor(policy), amount);
  return amountTable("By how clients fetch them", "Policy", rows);
}

std::string folderTable(const std::vector<ListEntry>& entries) {
  std::map<std::string_view, Amount> amounts;
  for (const ListEntry& entry : entries) {
    const std::string_view path = entry.path;
    const std::size_t slash = path.find('/');
    if (entry.policy == DownloadPolicy::kNever) continue;
    amounts[slash == path.npos ? std::string_view() : path.substr(0, slash + 1)].add(entry);
  }
  std::vector<std::pair<std::string_view, Amount>> folders(amounts.begin(), amounts.end());
  std::stable_sort(folders.begin(), folders.end(),
                   [](const auto& a, const auto& b) { return a.second.bytes > b.second.bytes; });
  std::string rows;
  Amount others;
  for (std::size_t i = 0; i < folders.size(); ++i) {
    const auto& [folder, amount] = folders[i];
    // The last row is rather a folder than "1 other folder".
    if (i < kFoldersShown || folders.size() == kFoldersShown + 1) {
      rows += amountRow(folder.empty() ? "<i>no folder</i>" : html(folder), amount);
      continue;
    }
    others.files += amount.files;
    others.bytes += amount.bytes;
  }
  if (others.files > 0) {
    rows += amountRow("<i>" + number(folders.size() - kFoldersShown) + " others</i>", others);
  }
  return amountTable("By folder, the largest first", "Folder", rows);
}

std::string sizesSection(const std::vector<ListEntry>& entries) {
  if (entries.empty()) return {};
  return "<section aria-labelledby=\"sizes\">\n<h2 id=\"sizes\">Sizes</h2>\n"
         "<div class=\"columns\">\n" +
         folderTable(entries) + policyTable(entries) + "</div>\n</section>\n";
}

/// What a file of the list is beside its policy, in the data of page.js.
enum Mark { kPicture = 4, kAdded = 8, kChanged = 16 };

bool contains(const std::vector<std::string>& sorted, const std::string& path) {
  return std::binary_search(sorted.begin(), sorted.end(), path);
}

/// The name of the file that clients fetch for the entry.
std::string remoteName(const ListEntry& entry) {
  return entry.jpegSize != 0 ? mtlrules::lossyVariantOf(entry.path).value_or(entry.path)
                             : entry.path;
}

std::string fileData(const ListEntry& entry, const std::optional<ListChanges>& changes) {
  const std::string remote = remoteName(entry);
  const bool isFetched = entry.policy != DownloadPolicy::kNever;
  int marks = static_cast<int>(entry.policy);
  if (isFetched && isPicture(remote)) marks |= kPicture;
  if (changes && contains(changes->added, entry.path)) marks |= kAdded;
  if (changes && contains(changes->changed, entry.path)) marks |= kChanged;
  std::string text = "[" + json(entry.path) + "," + std::to_string(entry.fetchedSize()) + "," +
                     std::to_string(marks);
  std::string address = mtlrules::urlPath("", remote);
  // It begins with a slash, unless the path leaves the library.
  address.erase(0, 1);
  if (address != entry.path) text += "," + json(address);
  return text + "]";
}

std::string filesSection(const LibraryOverview& overview) {
  std::string text = R"(<section aria-labelledby="files-title">
<h2 id="files-title">Files</h2>
<div class="search" id="form" role="search" hidden>
<label>Search, by parts of the path <input id="search" type="search" autocomplete="off" spellcheck="false"></label>
<label>Show <select id="kind">
<option value="all">all</option>
<option value="pictures">pictures</option>
<option value="changed">added or changed by the last build</option>
<option value="always">always: kept up to date</option>
<option value="missing">missing: fetched once</option>
<option value="never">never: not fetched</option>
</select></label>
</div>
<p id="count" role="status">To show them, this page needs the script that is in it. They all stand in )" +
                     listLink(overview) + R"(.</p>
<table class="files" id="files" data-base=")" +
                     baseOf(overview.subPath) + R"(">
<caption class="unseen">The files that were found</caption>
<thead><tr>
<th scope="col" class="preview">Preview</th>
<th scope="col" data-key="place" aria-sort="ascending"><button type="button">Path</button></th>
<th scope="col" class="policy">Policy</th>
<th scope="col" class="size number" data-key="size"><button type="button">Size</button></th>
</tr></thead>
<tbody></tbody>
</table>
<button type="button" id="more" hidden></button>
</section>
<script type="application/json" id="data">
)";
  const char* separator = "[";
  for (const ListEntry& entry : overview.entries) {
    text += separator + fileData(entry, overview.changes);
    separator = ",\n";
  }
  return text + (overview.entries.empty() ? "[]" : "]") + "\n</script>\n";
}

std::string pageText(const LibraryOverview& overview) {
  Amount fetched;
  for (const ListEntry& entry : overview.entries) {
    if (entry.policy != DownloadPolicy::kNever) fetched.add(entry);
  }
  const std::string name = html(overview.name);
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"" +
         policyWithin() +
         "\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"referrer\" content=\"no-referrer\">\n"
         // Or browsers ask for one.
         "<link rel=\"icon\" href=\"data:,\">\n" +
         elementText(name + " – material library", "title") + "\n" +
         elementText(kPageStyle, "style") + "\n</head>\n<body>\n<header>\n" +
         elementText(name, "h1") + "\n<p>Material library</p>\n</header>\n<main>\n" +
         warningsSection(overview.warnings) + aboutSection(overview, fetched) +
         changesSection(overview.changes) + sizesSection(overview.entries) +
         filesSection(overview) + "</main>\n<footer>Made by mtlpublish</footer>\n" +
         elementText(kPageScript, "script") + "\n</body>\n</html>\n";
}

}  // namespace

std::string libraryPage(const std::filesystem::path& root, const std::string& subPath,
                        std::chrono::system_clock::time_point now, std::string& problem) {
  const auto age = std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch());
  const std::optional<LibraryOverview> overview = readOverview(root, subPath, age.count(), problem);
  return overview ? pageText(*overview) : std::string();
}

std::string pagePolicy() {
  return policyWithin() + "; frame-ancestors 'none'";
}

}  // namespace mtlpublish
