// Tests what library.toml may contain, and the messages for what it may not.
#include "mtlpublish/library_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mtlpublish/first_config.h"

namespace {

using mtlpublish::DownloadPolicy;
using mtlpublish::firstConfig;
using mtlpublish::LibraryConfig;
using mtlpublish::nearestWord;
using mtlpublish::parseConfig;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

LibraryConfig configOf(const std::string& text) {
  std::vector<std::string> problems;
  const auto config = parseConfig(text, "folder/library.toml", problems);
  EXPECT_THAT(problems, IsEmpty());
  return config.value_or(LibraryConfig());
}

std::vector<std::string> problemsOfConfig(const std::string& text) {
  std::vector<std::string> problems;
  EXPECT_EQ(parseConfig(text, "folder/library.toml", problems), std::nullopt) << text;
  return problems;
}

std::vector<std::string> textsOf(const std::vector<mtlpublish::Glob>& globs) {
  std::vector<std::string> texts;
  texts.reserve(globs.size());
  for (const auto& glob : globs)
    texts.push_back(glob.text());
  return texts;
}

TEST(LibraryConfig, SaysWhatIsPublishedAndHow) {
  const LibraryConfig config = configOf(R"(
name = "Oak & Ash"
lossy = true
exclude = ["work", "*.psd"]
include = [".well-known"]
never = ["*.txt"]
allow = ["long-paths", "changed-missing"]
keep = 3
mirrors = ["https://b.example/lib", "http://c.example"]
[[policy]]
files = ["maps/new/*"]
download = "always"
[[policy]]
files = ["maps/*", "*.png"]
download = "missing"
[signing]
key = "../oak.key"
expires = 30
sub-path = "beta"
)");
  EXPECT_EQ(config.name, "Oak & Ash");
  EXPECT_TRUE(config.listing.lossy);
  EXPECT_THAT(textsOf(config.listing.selection.exclude), ElementsAre("work", "*.psd"));
  EXPECT_THAT(textsOf(config.listing.selection.include), ElementsAre(".well-known"));
  EXPECT_THAT(config.listing.allowed, ElementsAre(mtlrules::NameFault::kLongPath));
  EXPECT_TRUE(config.listing.allowsChangedMissing);
  EXPECT_THAT(config.listing.mirrors, ElementsAre("https://b.example/lib", "http://c.example"));
  std::vector<std::string> policies;
  for (const auto& rule : config.listing.policies)
    policies.push_back(std::string(mtlrules::wordFor(rule.policy)) + ' ' + rule.files.text());
  EXPECT_THAT(policies,
              ElementsAre("never *.txt", "always maps/new/*", "missing maps/*", "missing *.png"));
  EXPECT_EQ(config.keyFile.generic_u8string(), "folder/../oak.key");
  EXPECT_EQ(config.expires, 30);
  EXPECT_EQ(config.keep, 3);
  EXPECT_EQ(config.subPath, "beta");
}

TEST(LibraryConfig, MaySayNothing) {
  const LibraryConfig config = configOf("# nothing\n");
  EXPECT_TRUE(config.keyFile.empty());
  EXPECT_FALSE(config.listing.lossy);
  EXPECT_THAT(config.listing.policies, IsEmpty());
}

TEST(LibraryConfig, HasUnknownWordsReportedWithTheNearestKnownOne) {
  EXPECT_THAT(problemsOfConfig("lossy = true\nexlude = []\nzzz = 1\n[[policy]]\nfile = []\n"
                               "download = 'always'\n"),
              ElementsAre("library.toml:2: 'exlude' is not known; is it 'exclude'?",
                          "library.toml:3: 'zzz' is not known",
                          "library.toml:5: 'file' is not known; is it 'files'?",
                          "library.toml:4: a policy has no files"));
  EXPECT_THAT(problemsOfConfig("[signing]\nexpire = 1\n"),
              ElementsAre("library.toml:2: 'expire' is not known; is it 'expires'?"));
}

TEST(LibraryConfig, NamesMirrorsThatAnybodyMayAsk) {
  for (const char* address : {"b.example/lib", "ftp://b.example/lib", "https://me@b.example/lib"}) {
    EXPECT_THAT(problemsOfConfig(std::string("mirrors = [\"") + address + "\"]"),
                ElementsAre("library.toml:1: mirrors: '" + std::string(address) +
                            "' is not an address of http or https that anybody may ask"));
  }
}

TEST(LibraryConfig, HasEveryProblemReportedAtOnce) {
  EXPECT_THAT(
      problemsOfConfig("name = ''\nlossy = 1\nexclude = '*'\ninclude = [1, '[a']\n"
                       "allow = ['names']\n[[policy]]\nfiles = ['a']\ndownload = 'sometimes'\n"
                       "[signing]\nkey = 7\nexpires = 0\nsub-path = '/x'\n"),
      ElementsAre("library.toml:1: name: '' is not a name for a library",
                  "library.toml:2: lossy is true or false",
                  "library.toml:3: exclude is a list: [\"…\"]",
                  "library.toml:4: include is a text: \"…\"",
                  "library.toml:4: include: '[a' has a '[' without its ']'",
                  "library.toml:5: allow: 'names' is not windows-names, same-names, "
                  "long-paths, unused-entries or changed-missing",
                  "library.toml:8: download: 'sometimes' is not always, missing or never",
                  "library.toml:10: key is a text: \"…\"",
                  "library.toml:12: sub-path: '/x' is not the way to write a sub-path",
                  "library.toml:11: expires is a number of days, 1 to 3650"));
}

TEST(LibraryConfig, HasTablesWhereTheyBelong) {
  EXPECT_THAT(problemsOfConfig("policy = 1\nsigning = 2\n"),
              ElementsAre("library.toml:1: policies are tables: [[policy]]",
                          "library.toml:2: signing is a table: [signing]"));
  EXPECT_THAT(problemsOfConfig("[[policy]]\n"),
              ElementsAre("library.toml:1: a policy has no files",
                          "library.toml:1: a policy has no download"));
}

TEST(LibraryConfig, HasViewsWithPoliciesOfTheirOwn) {
  const LibraryConfig config = configOf(R"(
address = "https://materials.example/library/"
[[view]]
sub-path = "beta"
files = ["maps/*"]
exclude = ["*.psd"]
lossy = true
[[view.policy]]
files = ["*"]
download = "missing"
[[view]]
sub-path = "all"
)");
  EXPECT_EQ(config.address, "https://materials.example/library");
  ASSERT_EQ(config.views.size(), 2U);
  EXPECT_EQ(config.views[0].subPath, "beta");
  EXPECT_EQ(config.views[0].files.size(), 1U);
  EXPECT_EQ(config.views[0].exclude.size(), 1U);
  EXPECT_EQ(config.views[0].lossy, true);
  EXPECT_EQ(config.views[0].policies.size(), 1U);
  EXPECT_EQ(config.views[1].lossy, std::nullopt);
  EXPECT_THAT(problemsOfConfig("[[view]]\nsub-path = \"a\"\n"),
              ElementsAre(HasSubstr("views need the address that clients give")));
  EXPECT_THAT(problemsOfConfig("address = \"x\"\nview = [{}, {sub-path = \"..\", file = []}]\n"),
              ElementsAre("library.toml:1: address: 'x' is not an address of http or https",
                          "library.toml:2: a view has no sub-path",
                          "library.toml:2: 'file' is not known; is it 'files'?",
                          "library.toml:2: sub-path: '..' is not the way to write a sub-path"));
  EXPECT_THAT(problemsOfConfig("address = \"http://x\"\n[[view]]\nsub-path = \"a\"\n"
                               "[[view]]\nsub-path = \"a\"\n"),
              ElementsAre("library.toml:5: sub-path: 'a' is that of another view"));
}

TEST(LibraryConfig, SaysWhatCachesAreToldOfFiles) {
  EXPECT_EQ(controlOfFile(configOf("").caches, "maps/a/b.tx"), "max-age=31536000, immutable");
  EXPECT_EQ(controlOfFile(configOf("").caches, "a/maps/b.tx"), "no-cache");
  const auto rules = configOf(R"(
[[cache]]
files = ["maps/drafts/*"]
life = "no-cache"
[[cache]]
files = ["maps/*", "*.hdr"]
life = "forever"
[[cache]]
files = ["*.png"]
life = "30d"
)")
                         .caches;
  EXPECT_EQ(controlOfFile(rules, "maps/drafts/a.png"), "no-cache");
  EXPECT_EQ(controlOfFile(rules, "maps/a.png"), "max-age=31536000, immutable");
  EXPECT_EQ(controlOfFile(rules, "x/sky.hdr"), "max-age=31536000, immutable");
  EXPECT_EQ(controlOfFile(rules, "icons/a.png"), "max-age=2592000");
  EXPECT_EQ(controlOfFile(rules, "a.mat"), "no-cache");
}

TEST(LibraryConfig, HasNoSenselessLives) {
  const std::string rule = "[[cache]]\nfiles = ['*']\nlife = ";
  EXPECT_THAT(
      problemsOfConfig(rule + "'foreve'\n"),
      ElementsAre("library.toml:3: life: 'foreve' is not forever, no-cache or a time: 90s, 10m, "
                  "12h, 30d, or 1y at most; is it 'forever'?"));
  for (const char* life : {"", "0s", "-1d", "+1d", "1", "d", "1 d", "1w", "1.5h", "2y", "366d",
                           "99999999999999999999s", "4294967296s"}) {
    EXPECT_THAT(problemsOfConfig(rule + '\'' + life + "'\n"),
                ElementsAre("library.toml:3: life: '" + std::string(life) +
                            "' is not forever, no-cache or a time: 90s, 10m, 12h, 30d, or 1y at "
                            "most"));
  }
  EXPECT_THAT(problemsOfConfig(rule + "60\n"),
              ElementsAre("library.toml:3: life is a text: \"…\""));
  EXPECT_THAT(problemsOfConfig("[[cache]]\nfile = ['*']\n"),
              ElementsAre("library.toml:2: 'file' is not known; is it 'files'?",
                          "library.toml:1: a rule for caches has no files",
                          "library.toml:1: a rule for caches has no life"));
  EXPECT_THAT(problemsOfConfig("cache = 'forever'\n"),
              ElementsAre("library.toml:1: rules for caches are tables: [[cache]]"));
  EXPECT_EQ(configOf(rule + "'1y'\n").caches.at(0).control, "max-age=31536000");
  EXPECT_EQ(configOf(rule + "'1s'\n").caches.at(0).control, "max-age=1");
}

TEST(LibraryConfig, IsRefusedWhereItIsNotToml) {
  for (const std::string text :
       {"name", "name = \"", "name = \"\"\"", "a = [1", "\xFF", "name = 'a'\nname = 'b'"})
    EXPECT_THAT(problemsOfConfig(text), ElementsAre(StartsWith("library.toml:"))) << text;
  EXPECT_THAT(problemsOfConfig("\n\nname = \"\x1B[2J\""), ElementsAre(Not(HasSubstr("\x1B"))));
}

TEST(LibraryConfig, IsRefusedWhereNoKeyIsGood) {
  for (const std::string text : {"[/*\", \"*.hdr\"]", "[\001]", "a./ = 1", "a = {b./ = 1}"})
    EXPECT_THAT(problemsOfConfig(text), ElementsAre(StartsWith("library.toml:1: "))) << text;
}

std::string repeated(const std::string& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i)
    all += text;
  return all;
}

// Tables by the hundred thousand in each other would be more than a stack takes.
TEST(LibraryConfig, IsRefusedWhereTablesLieTooDeepInEachOther) {
  const std::string keys = "a" + repeated(".a", 500000);
  for (const std::string& text :
       {keys + " = 1", "[" + keys + "]", "x = [\"\"\"\n \\\"\"\"\", '\"', {" + keys + " = 1}]",
        "x = '''\n' '''\n" + keys + " = 1", "x = [\"\"\"\"\"\"\"\", {" + keys + " = 1}]"}) {
    EXPECT_THAT(problemsOfConfig(text), ElementsAre(HasSubstr("too deep in each other")))
        << text.substr(0, 30);
  }
}

TEST(LibraryConfig, MayHaveAnyCharacterWhereTomlHasThem) {
  EXPECT_EQ(configOf("\xEF\xBB\xBF# Ł \uFECD\nname = \"Ł \uFECD é\" # é\n").name, "Ł \uFECD é");
  for (const std::string text : {"\n\uFECD = 1", "\né", "\nname = é", "\nname = 0'é'", "\n\xFF\"\"",
                                 "\nname = \"\"\"\\é\"\"\"", "\nname = '''é'''"}) {
    EXPECT_THAT(problemsOfConfig(text),
                ElementsAre("library.toml:2: characters beyond ASCII may be in comments and in "
                            "texts of one line"))
        << text;
  }
}

TEST(LibraryConfig, IsRefusedWhereAFaultStandsBeforeAnyCharacter) {
  for (const std::string text : {"a=0='ﻟ\n e=.", "a=0=\"ﻍ\""})
    EXPECT_THAT(problemsOfConfig(text), ElementsAre(StartsWith("library.toml:1: "))) << text;
}

TEST(LibraryConfig, IsRefusedWhereItIsTooLong) {
  EXPECT_THAT(problemsOfConfig(repeated("# it's\n", 150000)), ElementsAre(HasSubstr("too long")));
}

TEST(LibraryConfig, MayHaveManyDotsInTextsAndComments) {
  const LibraryConfig config = configOf("# " + repeated(".", 2000) + "\nnever = [" +
                                        repeated("\"*.hdr\", '*.exr',\n", 2000) + "]");
  EXPECT_EQ(config.listing.policies.size(), 4000U);
}

TEST(LibraryConfig, FindsTheNearestWord) {
  EXPECT_EQ(nearestWord("missing", {"always", "missing"}), "missing");
  EXPECT_EQ(nearestWord("misisng", {"always", "missing"}), "missing");
  EXPECT_EQ(nearestWord("xyz", {"always", "missing"}), "");
  EXPECT_EQ(nearestWord("", {"a"}), "");
}

TEST(FirstConfig, SaysWhatThePublisherProbablyWants) {
  mtlpublish::TreeScan scan;
  for (const char* path : {"Maps/oak.jpeg.tx", "Maps/oak.tx", "oak.PSD", "previews/oak.png"})
    scan.files.push_back({path, ""});
  const std::string text = firstConfig(scan, "oak \"1\"");
  const LibraryConfig config = configOf(text);
  EXPECT_EQ(config.name, "oak \"1\"");
  EXPECT_TRUE(config.listing.lossy);
  EXPECT_THAT(textsOf(config.listing.selection.exclude), ElementsAre("*.PSD"));
  ASSERT_EQ(config.listing.policies.size(), 2U);
  EXPECT_EQ(config.listing.policies[0].files.text(), "Maps/*");
  EXPECT_EQ(config.listing.policies[0].policy, DownloadPolicy::kMissing);
  EXPECT_EQ(config.listing.policies[1].files.text(), "previews/*");
  EXPECT_EQ(controlOfFile(config.caches, "previews/oak.png"), "max-age=31536000, immutable");
  EXPECT_EQ(controlOfFile(config.caches, "maps/oak.png"), "no-cache");
}

TEST(FirstConfig, IsGoodForAnEmptyFolder) {
  const LibraryConfig config = configOf(firstConfig({}, "a;b"));
  EXPECT_EQ(config.name, "") << "which is none for a signature";
  EXPECT_FALSE(config.listing.lossy);
  EXPECT_THAT(config.listing.policies, IsEmpty());
}

TEST(FirstConfig, IsGoodAlsoWithItsCommentsTaken) {
  std::string text = firstConfig({}, "a;b");
  for (const std::string comment :
       {"# name", "# exclude", "# allow", "# keep", "# [[policy", "# files", "# download",
        "# [[cache", "# files", "# life", "# [signing", "# key", "# expires"}) {
    const auto at = text.find("\n" + comment);
    ASSERT_NE(at, text.npos) << comment;
    text.erase(at + 1, 2);
  }
  const LibraryConfig config = configOf(text);
  EXPECT_EQ(config.name, "materials");
  EXPECT_EQ(config.expires, 30);
}

}  // namespace
