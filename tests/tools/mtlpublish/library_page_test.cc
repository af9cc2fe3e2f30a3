// Tests the page about a library, as text; system/page_in_browser.py looks at it in a browser.
#include "mtlpublish/page/page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "mtlpublish/file_list.h"
#include "mtlpublish/media_type.h"
#include "signing/release_comment.h"
#include "signing/secret_key.h"
#include "support/regex_matchers.h"
#include "support/temp_dir.h"

namespace {

using mtlpublish::DownloadPolicy;
using mtlpublish::ListEntry;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t kNow = 1767225600;

const std::string kDigest(64, '1');
const std::string kOtherDigest(64, '2');

class LibraryPage : public testing::Test {
 protected:
  void build(const std::vector<ListEntry>& entries, const std::string& stamp = "0123abc\n") {
    list_ = mtlpublish::fileListText(entries);
    writeFile(dir_ / "oak/filelist.json", list_);
    writeFile(dir_ / "oak/id.txt", stamp);
  }

  /// As if the last build had replaced this list.
  void replaced(const std::vector<ListEntry>& entries) {
    writeFile(dir_ / "oak/.mtlpublish-previous", mtlpublish::fileListText(entries));
  }

  std::string page(const std::string& subPath = "") {
    const auto now = std::chrono::system_clock::time_point(std::chrono::seconds(kNow));
    return mtlpublish::libraryPage(dir_.path() / "oak", subPath, now, problem_);
  }

  /// A string of JSON, which keeps bytes that are not UTF-8.
  static std::string quoted(const std::string& text) {
    std::string result;
    for (const char c : text) {
      if (c == '"' || c == '\\') result += '\\';
      result += c == '\n' ? "\\n" : std::string(1, c);
    }
    return '"' + result + '"';
  }

  /// What is there for everybody: without style and scripts.
  static std::string staticText(const std::string& page) {
    const std::size_t start = page.find("<body>");
    return page.substr(start, page.find("<script", start) - start);
  }

  static std::string dataText(const std::string& page) {
    const std::string begin = "<script type=\"application/json\" id=\"data\">";
    const std::size_t start = page.find(begin) + begin.size();
    return page.substr(start, page.find("</script>", start) - start);
  }

  /// What the page's script gets to show: for each file its name, size, marks, and the address
  /// where that is another one than the name.
  static Json::Value data(const std::string& page) {
    const std::string text = dataText(page);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string error;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &error)) << error;
    return value;
  }

  static std::string visibleText(const std::string& page) {
    const std::string text = std::regex_replace(staticText(page), std::regex("<[^>]*>"), " ");
    return std::regex_replace(text, std::regex("\\s+"), " ");
  }

  TempDir dir_;
  std::string list_;
  std::string problem_;
};

TEST_F(LibraryPage, SaysWhatTheLibraryConsistsOf) {
  build({{"maps/a.tx", DownloadPolicy::kMissing, 3000, 0, kDigest},
         {"maps/b.tx", DownloadPolicy::kMissing, 9000, 500, kDigest},
         {"oak.mat", DownloadPolicy::kAlways, 1, 0, kDigest},
         {"oak.psd", DownloadPolicy::kNever, 7'000'000, 0, kDigest}});
  const std::string text = visibleText(page());
  EXPECT_EQ(problem_, "");
  EXPECT_THAT(text, HasSubstr(" oak "));
  EXPECT_THAT(text, HasSubstr("Files 3 Size 3.5 kB "));
  EXPECT_THAT(text, HasSubstr("Signature none Id 0123abc "));
  EXPECT_THAT(text, HasSubstr(" always 1 1 byte missing 2 3.5 kB never 1 7.0 MB "));
  EXPECT_THAT(text, HasSubstr(" maps/ 2 3.5 kB no folder 1 1 byte "));
}

TEST_F(LibraryPage, NamesTheLargestFolders) {
  std::vector<ListEntry> entries;
  for (std::size_t i = 10; i < 22; ++i) {
    const std::string path = "f" + std::to_string(i) + "/a";
    entries.push_back({path, DownloadPolicy::kAlways, i, 0, kDigest});
  }
  build(entries);
  EXPECT_THAT(visibleText(page()), HasSubstr(" f21/ 1 21 bytes f20/ 1 20 bytes f19/ "));
  EXPECT_THAT(visibleText(page()), HasSubstr(" f12/ 1 12 bytes 2 others 2 21 bytes "));
  entries.pop_back();
  build(entries);
  EXPECT_THAT(visibleText(page()), HasSubstr(" f11/ 1 11 bytes f10/ 1 10 bytes By "));
}

TEST_F(LibraryPage, ShowsWhatASignedStampSays) {
  const auto key = mtlsigning::SecretKey::generate().value();
  mtlsigning::Release release;
  release.library = "Oak & Ash";
  release.subPath = "beta";
  release.serial = 41;
  release.published = kNow - 1;
  release.expires = kNow + 1;
  build({});
  release.list.size = list_.size();
  build({}, mtlsigning::signatureFile(key.sign(list_, mtlsigning::commentText(release))));
  const std::string text = visibleText(page());
  EXPECT_THAT(text, HasSubstr(" Oak &amp; Ash "));
  EXPECT_THAT(text, HasSubstr("Sub-path beta Serial 41 Published 2025-12-31T23:59:59Z "
                              "Expires 2026-01-01T00:00:01Z Signed with key " +
                              mtlsigning::idText(key.publicKey().id) + " "));
  EXPECT_THAT(text, Not(HasSubstr("Problems")));
}

TEST_F(LibraryPage, WarnsOfAStampThatIsNotInOrder) {
  const auto key = mtlsigning::SecretKey::generate().value();
  mtlsigning::Release release;
  release.library = "oak";
  release.published = kNow - 2;
  release.expires = kNow - 1;
  build({}, mtlsigning::signatureFile(key.sign("", mtlsigning::commentText(release))));
  EXPECT_THAT(visibleText(page()), HasSubstr(" Problems id.txt: was signed for a list of "
                                             "another size id.txt: expired at 2025-12-31T"));
  build({}, "untrusted comment: signature from minisign secret key\nnothing\n");
  EXPECT_THAT(visibleText(page()), HasSubstr(" Problems id.txt: is not a whole signature "));
}

TEST_F(LibraryPage, TakesTheNameFromTheConfiguration) {
  build({});
  writeFile(dir_ / "oak/library.toml", "name = \"Oak <b>\"\n");
  EXPECT_THAT(staticText(page()), HasSubstr("<h1>Oak &lt;b&gt;</h1>"));
  writeFile(dir_ / "oak/library.toml", "name = ");
  EXPECT_THAT(staticText(page()), HasSubstr("<h1>oak</h1>"));
}

TEST_F(LibraryPage, SaysWhatTheLastBuildChanged) {
  const ListEntry kept{"kept", DownloadPolicy::kAlways, 5, 0, kDigest};
  const std::vector<ListEntry> before{{"changed", DownloadPolicy::kAlways, 7, 0, kDigest},
                                      kept,
                                      {"removed & gone", DownloadPolicy::kAlways, 9, 0, kDigest}};
  const std::vector<ListEntry> after{
      {"added", DownloadPolicy::kAlways, 2000, 0, kOtherDigest},
      {"changed", DownloadPolicy::kAlways, 8, 0, std::string(64, '3')},
      kept};
  build(after);
  EXPECT_THAT(visibleText(page()), HasSubstr("There was no other list before this one."));
  replaced(before);
  const std::string text = visibleText(page());
  EXPECT_THAT(text, HasSubstr("fetch 2 files, 2.0 kB; hosts of the module, 3 files, 2.0 kB."));
  EXPECT_THAT(text, HasSubstr(" 1 added added 1 changed changed 1 removed removed &amp; gone "));
  const Json::Value files = data(page());
  ASSERT_EQ(files.size(), 3U);
  EXPECT_EQ(files[0][2].asInt(), 8);
  EXPECT_EQ(files[1][2].asInt(), 16);
  EXPECT_EQ(files[2][2].asInt(), 0);
}

TEST_F(LibraryPage, NamesNoMoreThanTwoHundredChanges) {
  std::vector<ListEntry> entries;
  for (std::size_t i = 10000; i < 11200; ++i)
    entries.push_back({std::to_string(i), DownloadPolicy::kAlways, 1, 0, ""});
  replaced({});
  build(entries);
  EXPECT_THAT(visibleText(page()), HasSubstr(" 10198 10199 and 1,000 more "));
}

TEST_F(LibraryPage, HasAddressesAsClientsAskForThem) {
  build({{"a b/50% #1 é?.png", DownloadPolicy::kAlways, 1, 0, ""},
         {"plain.png", DownloadPolicy::kMissing, 2, 0, ""},
         {"x.tx", DownloadPolicy::kNever, 9, 3, ""}});
  const Json::Value files = data(page());
  EXPECT_EQ(files[0][0].asString(), "a b/50% #1 é?.png");
  EXPECT_EQ(files[0][3].asString(), "a%20b/50%25%20%231%20%C3%A9%3F.png");
  EXPECT_EQ(files[0][2].asInt(), 4);
  EXPECT_EQ(files[1].size(), 3U);
  EXPECT_EQ(files[1][2].asInt(), 5);
  EXPECT_EQ(files[2][3].asString(), "x.jpeg.tx");
  EXPECT_EQ(files[2][2].asInt(), 2);
}

TEST_F(LibraryPage, ShowsNamesAsTextWhateverTheyAre) {
  const std::vector<std::string> names{"</script><script>alert(1)</script>.png",
                                       "<!--<script>",
                                       "<img src=x onerror=alert(1)>",
                                       "\"' onmouseover=\"alert(1)",
                                       "a\\\",1],alert(1),[\\",
                                       "&lt;&amp;",
                                       "javascript:alert(1)",
                                       "//elsewhere.example/x.png",
                                       "..",
                                       "../../x.png",
                                       "\xE2\x80\xAEgnp.exe",
                                       "line\nbreak\xE2\x80\xA8",
                                       "bytes\xFF\xC3.png",
                                       "\xD7\x90\xD7\x91/\xD7\x92.png"};
  // Such a list no build writes, but somebody else may have.
  std::string list;
  for (const std::string& name : names) {
    list += list.empty() ? "[\n" : ",\n";
    list += "{\"download\":\"always\",\"path\":" + quoted(name) + ",\"size\":1}";
  }
  build({}, "<script>alert(1)</script>\n");
  writeFile(dir_ / "oak/filelist.json", list + "\n]\n");
  replaced({});
  const std::string page = this->page();
  ASSERT_EQ(problem_, "");
  EXPECT_THAT(dataText(page), Not(HasSubstr("<")));
  const std::string text = staticText(page);
  for (const char* one : {"<script>alert", "<img", "<!--<", "\xE2\x80\xAE", "\xE2\x80\xA8", "\xFF",
                          "onmouseover=\"alert"}) {
    EXPECT_THAT(text + dataText(page), Not(HasSubstr(one)));
  }
  EXPECT_THAT(text, HasSubstr("<li>&lt;img src=x onerror=alert(1)&gt;</li>"));
  EXPECT_THAT(text, HasSubstr("<li>\\xE2\\x80\\xAEgnp.exe</li>"));
  EXPECT_THAT(text, HasSubstr("<li>&quot;&#39; onmouseover=&quot;alert(1)</li>"));
  const Json::Value files = data(page);
  ASSERT_EQ(files.size(), names.size());
  for (const Json::Value& file : files) {
    EXPECT_THAT(file[3].asString(), MatchesPattern("[-A-Za-z0-9._~/%]*"));
  }
}

TEST_F(LibraryPage, ShowsAViewWithTheFilesOfTheLibrary) {
  build({{"all.png", DownloadPolicy::kAlways, 1, 0, ""}});
  writeFile(dir_ / "oak/a/beta/filelist.json",
            mtlpublish::fileListText({{"some.png", DownloadPolicy::kAlways, 2, 0, ""}}));
  writeFile(dir_ / "oak/a/beta/id.txt", "view\n");
  const std::string text = page("a/beta");
  EXPECT_THAT(visibleText(text), HasSubstr("Sub-path a/beta "));
  EXPECT_THAT(visibleText(text), HasSubstr("Id view "));
  EXPECT_THAT(staticText(text), HasSubstr(" data-base=\"./../../\">"));
  EXPECT_EQ(data(text)[0][0].asString(), "some.png");
  EXPECT_THAT(staticText(page()), HasSubstr(" data-base=\"./\">"));
  EXPECT_EQ(page("a"), "");
}

TEST_F(LibraryPage, SaysWhatTheLastBuildChangedInAView) {
  const auto listOf = [](const char* path) {
    return mtlpublish::fileListText({{path, DownloadPolicy::kAlways, 2, 0, ""}});
  };
  build({{"all", DownloadPolicy::kAlways, 1, 0, ""}});
  writeFile(dir_ / "oak/beta/filelist.json", listOf("new"));
  writeFile(dir_ / "oak/beta/id.txt", "view\n");
  writeFile(dir_ / "oak/beta/.mtlpublish-previous", listOf("old"));
  EXPECT_THAT(visibleText(page("beta")), HasSubstr(" 1 added new 1 removed old "));
  EXPECT_THAT(visibleText(page()), HasSubstr("There was no other list before this one."));
}

TEST_F(LibraryPage, AllowsNothingFromElsewhere) {
  build({});
  const std::string text = page();
  const std::regex meta("<meta http-equiv=\"Content-Security-Policy\" content=\"([^\"]*)\">");
  std::smatch match;
  ASSERT_TRUE(std::regex_search(text, match, meta));
  EXPECT_THAT(match[1].str(), MatchesPattern("default-src 'none'; img-src 'self' data:; "
                                             "style-src 'sha256-[^']*'; script-src 'sha256-[^']*'; "
                                             "base-uri 'none'; form-action 'none'"));
  EXPECT_EQ(mtlpublish::pagePolicy(), match[1].str() + "; frame-ancestors 'none'");
  EXPECT_EQ(text.find("://"), text.npos);
}

TEST_F(LibraryPage, IsSmallForManyFiles) {
  std::vector<ListEntry> entries;
  for (std::size_t i = 100000; i < 130000; ++i) {
    const std::string number = std::to_string(i);
    entries.push_back(
        {"materials/wood/oak-" + number + ".mat", DownloadPolicy::kAlways, i, 0, kDigest});
  }
  build(entries);
  EXPECT_LT(page().size(), 30000 * 60 + 20000);
}

TEST_F(LibraryPage, IsNotMadeOfWhatIsNotALibrary) {
  EXPECT_EQ(page(), "");
  EXPECT_THAT(problem_, HasSubstr("id.txt: No such file"));
  EXPECT_THAT(problem_, HasSubstr("; run mtlpublish build first"));
  build({});
  writeFile(dir_ / "oak/filelist.json", "[{}]\n");
  EXPECT_EQ(page(), "");
  EXPECT_EQ(problem_, "filelist.json: is not a list that mtlpublish build wrote");
}

TEST(MediaType, IsThatOfTheEnding) {
  using mtlpublish::mediaType;
  EXPECT_STREQ(mediaType("filelist.json"), "application/json");
  EXPECT_STREQ(mediaType("id.txt"), "text/plain");
  EXPECT_STREQ(mediaType("a/b.PNG"), "image/png");
  EXPECT_STREQ(mediaType("a.svg"), "image/svg+xml");
  EXPECT_STREQ(mediaType("maps/oak.tx"), "application/octet-stream");
  EXPECT_STREQ(mediaType("a.png/b"), "application/octet-stream");
  EXPECT_STREQ(mediaType(""), "application/octet-stream");
  EXPECT_TRUE(mtlpublish::isPicture("a.jpeg"));
  EXPECT_FALSE(mtlpublish::isPicture("a.tx"));
}

}  // namespace
