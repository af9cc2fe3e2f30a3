// Tests publishing a folder: the list, the id, and when the id changes.
#include "mtlpublish/publisher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <regex>

#include "support/regex_matchers.h"
#include "support/temp_dir.h"
#include "update/sha256.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::Glob;
using mtlpublish::PublishOptions;
using mtlpublish::PublishResult;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<Glob> globs(const std::vector<std::string>& patterns) {
  std::vector<Glob> result;
  result.reserve(patterns.size());
  std::string problem;
  for (const auto& pattern : patterns)
    result.push_back(Glob::parse(pattern, problem).value());
  return result;
}

class Publisher : public testing::Test {
 protected:
  void add(const std::string& path, const std::string& content) { writeFile(dir_ / path, content); }
  PublishResult publish(const PublishOptions& options = {}) {
    return mtlpublish::publish(dir_.path(), options);
  }
  /// The id, when all is well.
  std::string id(const PublishOptions& options = {}) {
    const PublishResult result = publish(options);
    EXPECT_THAT(result.problems, IsEmpty());
    return result.id;
  }
  /// Without the digests.
  std::string list() {
    static const std::regex kDigest("\"sha256\":\"[0-9a-f]{64}\",");
    return std::regex_replace(readFile(dir_ / "filelist.json"), kDigest, "");
  }

  TempDir dir_;
};

TEST_F(Publisher, WritesTheListAndTheId) {
  add("maps/oak.tx", "oak");
  add("a b/é.mat", "material");
  const PublishResult result = publish();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_THAT(result.warnings, IsEmpty());
  EXPECT_EQ(result.files, 2U);
  EXPECT_EQ(result.bytes, 11U);
  EXPECT_EQ(readFile(dir_ / "filelist.json"),
            "[\n"
            "{\"download\":\"always\",\"path\":\"a b/é.mat\",\"sha256\":"
            "\"40b30b4e8f0d137056ac497e859ea198c1a00db4267d1ade9c458d04024e2981\",\"size\":8},\n"
            "{\"download\":\"always\",\"path\":\"maps/oak.tx\",\"sha256\":"
            "\"df877645404747cb797334b8055b51fc081856d44f5f59a4107f3cdd495c7a0e\",\"size\":3}\n"
            "]\n");
  EXPECT_THAT(result.id, MatchesPattern("[0-9a-f]+"));
  EXPECT_EQ(result.id.size(), 64U);
  const std::string text = readFile(dir_ / "filelist.json");
  mtlupdate::Sha256 sha256;
  sha256.update(text);
  EXPECT_EQ(readFile(dir_ / "id.txt"), result.id + "\nlist: 260 bytes, sha256 " +
                                           mtlupdate::hexText(sha256.finish()) + ", compressed\n");
  std::vector<std::string> names;
  for (const auto& file : readTree(dir_ / ""))
    names.push_back(file.first);
  EXPECT_THAT(names, ElementsAre(".mtlpublish-cache", ".mtlpublish-lock", "a b/é.mat",
                                 "filelist.json", "filelist.json.gz", "id.txt", "maps/oak.tx"));
}

TEST_F(Publisher, PublishesAnEmptyFolder) {
  EXPECT_EQ(id().size(), 64U);
  EXPECT_EQ(list(), "[]\n");
}

TEST_F(Publisher, GivesTheSameIdAndListWhenNothingChanged) {
  add("a", "1");
  add("b", "2");
  const std::string first = id();
  const std::string firstList = list();
  EXPECT_EQ(id(), first);
  EXPECT_EQ(list(), firstList);
}

TEST_F(Publisher, KeepsTheIdWhenOnlyTimesChange) {
  add("a", "1");
  const std::string first = id();
  fs::last_write_time(dir_.path() / "a",
                      fs::file_time_type::clock::now() - std::chrono::hours(1000));
  EXPECT_EQ(id(), first);
}

// For the page, which says what changed.
TEST_F(Publisher, KeepsTheListThatItReplacedLast) {
  const std::string previous = dir_ / ".mtlpublish-previous";
  add("a", "1");
  id();
  const std::string first = readFile(dir_ / "filelist.json");
  EXPECT_FALSE(fs::exists(previous));
  add("a", "22");
  id();
  id();
  EXPECT_EQ(readFile(previous), first);
}

TEST_F(Publisher, KeepsTheIdWhenTheFolderMoves) {
  add("one/a", "1");
  add("two/a", "1");
  EXPECT_EQ(mtlpublish::publish(dir_.path() / "one", {}).id,
            mtlpublish::publish(dir_.path() / "two", {}).id);
}

TEST_F(Publisher, KeepsTheIdWhenALeftOverTemporaryAppears) {
  add("a", "1");
  const std::string first = id();
  add(".mtlpublish-7.tmp", "half a li");
  EXPECT_EQ(id(), first);
}

TEST_F(Publisher, ChangesTheIdWithAContentOfTheSameSize) {
  add("a", "1");
  const std::string first = id();
  add("a", "2");
  EXPECT_NE(id(), first);
  add("a", "1");
  EXPECT_EQ(id(), first);
}

TEST_F(Publisher, ChangesTheIdWhenContentsAreSwapped) {
  add("a", "1");
  add("b", "2");
  const std::string first = id();
  add("a", "2");
  add("b", "1");
  EXPECT_NE(id(), first);
}

TEST_F(Publisher, ChangesTheIdWithAName) {
  add("a", "1");
  const std::string first = id();
  fs::rename(dir_.path() / "a", dir_.path() / "b");
  EXPECT_NE(id(), first);
}

TEST_F(Publisher, ChangesTheIdWithAFileMoreOrLess) {
  add("a", "1");
  const std::string first = id();
  add("b", "");
  EXPECT_NE(id(), first);
  fs::remove(dir_.path() / "b");
  EXPECT_EQ(id(), first);
}

TEST_F(Publisher, ChangesTheIdWithAPolicy) {
  add("a", "1");
  const std::string first = id();
  PublishOptions options;
  options.missing = globs({"a"});
  EXPECT_NE(id(options), first);
}

TEST_F(Publisher, MarksWhatPatternsSelect) {
  for (const char* path : {"a.tx", "previews/a.png", "previews/old/b.png", "c.psd"})
    add(path, "x");
  PublishOptions options;
  options.missing = globs({"previews/*"});
  options.never = globs({"*.psd", "b.png"});
  EXPECT_THAT(publish(options).warnings, IsEmpty());
  EXPECT_EQ(list(),
            "[\n"
            "{\"download\":\"always\",\"path\":\"a.tx\",\"size\":1},\n"
            "{\"download\":\"never\",\"path\":\"c.psd\",\"size\":1},\n"
            "{\"download\":\"missing\",\"path\":\"previews/a.png\",\"size\":1},\n"
            "{\"download\":\"never\",\"path\":\"previews/old/b.png\",\"size\":1}\n"
            "]\n");
}

TEST_F(Publisher, WarnsOfPatternsThatSelectNothing) {
  add("a", "x");
  PublishOptions options;
  options.missing = globs({"a", "b*"});
  options.never = globs({"c/d"});
  const PublishResult result = publish(options);
  EXPECT_THAT(result.warnings,
              ElementsAre("missing 'b*' matches no file", "never 'c/d' matches no file"));
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_THAT(list(), HasSubstr("missing"));
}

TEST_F(Publisher, NamesWhatItPassesOver) {
  add("a", "x");
  add(".htpasswd", "x");
  PublishOptions options;
  options.selection.exclude = globs({"b"});
  options.selection.include = globs({".c"});
  const PublishResult result = publish(options);
  EXPECT_THAT(result.skipped, ElementsAre(".htpasswd"));
  EXPECT_THAT(result.warnings,
              ElementsAre("exclude 'b' matches no file", "include '.c' matches no file"));
}

TEST_F(Publisher, LeavesOutTheLossyVariant) {
  add("maps/oak.tx", "large map");
  add("maps/oak.jpeg.tx", "small");
  add("maps/ash.tx", "no variant");
  add("maps/elm.jpeg.tx", "no map");
  PublishOptions options;
  options.lossy = true;
  const PublishResult result = publish(options);
  EXPECT_EQ(list(),
            "[\n"
            "{\"download\":\"always\",\"path\":\"maps/ash.tx\",\"size\":10},\n"
            "{\"download\":\"always\",\"path\":\"maps/elm.jpeg.tx\",\"size\":6},\n"
            "{\"download\":\"always\",\"jpegSize\":5,\"path\":\"maps/oak.tx\",\"size\":9}\n"
            "]\n");
  EXPECT_EQ(result.files, 3U);
  EXPECT_EQ(result.bytes, 21U) << "what is fetched: the variant in place of its map";
}

TEST_F(Publisher, GivesTheDigestOfTheFileThatIsFetched) {
  add("oak.tx", "large map");
  add("oak.jpeg.tx", "small");
  PublishOptions options;
  options.lossy = true;
  publish(options);
  EXPECT_THAT(readFile(dir_ / "filelist.json"),
              HasSubstr("\"sha256\":"
                        "\"81db8ebbbbc69c6c6ad4a6aa92b76e0c08af547da236b9e2c9dbe1d8285a8130\""));
}

TEST_F(Publisher, ListsTheLossyVariantAsAFileUnlessAsked) {
  add("oak.tx", "large map");
  add("oak.jpeg.tx", "small");
  publish();
  EXPECT_EQ(list(),
            "[\n"
            "{\"download\":\"always\",\"path\":\"oak.jpeg.tx\",\"size\":5},\n"
            "{\"download\":\"always\",\"path\":\"oak.tx\",\"size\":9}\n"
            "]\n");
}

TEST_F(Publisher, ListsTheVariantOfAVariant) {
  for (const char* path : {"a.tx", "a.jpeg.tx", "a.jpeg.jpeg.tx"})
    add(path, path);
  PublishOptions options;
  options.lossy = true;
  publish(options);
  EXPECT_EQ(list(),
            "[\n"
            "{\"download\":\"always\",\"path\":\"a.jpeg.jpeg.tx\",\"size\":14},\n"
            "{\"download\":\"always\",\"jpegSize\":9,\"path\":\"a.tx\",\"size\":4}\n"
            "]\n");
}

TEST_F(Publisher, ChangesTheIdWithTheContentOfALossyVariant) {
  add("oak.tx", "large map");
  add("oak.jpeg.tx", "small");
  PublishOptions options;
  options.lossy = true;
  const std::string first = id(options);
  add("oak.jpeg.tx", "other");
  EXPECT_NE(id(options), first);
}

TEST_F(Publisher, RefusesAnEmptyLossyVariant) {
  add("oak.tx", "large map");
  add("oak.jpeg.tx", "");
  PublishOptions options;
  options.lossy = true;
  EXPECT_THAT(publish(options).problems, ElementsAre("oak.jpeg.tx: a lossy variant that is empty"));
  EXPECT_THAT(publish().problems, IsEmpty());
}

TEST_F(Publisher, LeavesTheLibraryAsItWasWhenAFileCannotBePublished) {
  add("a", "1");
  add("id.txt/b", "2");
  const std::string tooLong = std::string(200, 'd') + "/" + std::string(58, 'f');
  add(tooLong, "3");
  add("filelist.json", "the old list");
  auto before = readTree(dir_ / "");
  PublishOptions options;
  options.missing = globs({"?"});
  EXPECT_THAT(publish(options).problems,
              ElementsAre(tooLong + ": the path has 259 bytes, no client can hold more than 258",
                          "id.txt: a folder where publishing writes a file of that name"));
  // What was read need not be read again.
  for (const char* name : {".mtlpublish-cache", ".mtlpublish-lock"})
    before[name] = readFile(dir_ / name);
  EXPECT_EQ(readTree(dir_ / ""), before);
}

TEST_F(Publisher, RefusesAtOnceEverythingThatSomeClientCannotTake) {
  const std::string longName = std::string(199, 'f');
  for (const std::string& path : {std::string("beta/id.txt"), longName, "d/" + longName})
    add(path, "x");
  PublishOptions options;
  options.never = globs({"d/*"});
  options.signing.subPath = "beta";
  EXPECT_THAT(publish(options).problems,
              ElementsAre("beta/id.txt: has a name that clients keep for their own files",
                          longName + ": the path has 199 bytes, more than the 198 that a client "
                                     "can hold in a folder of 60"));
  EXPECT_FALSE(fs::exists(dir_.path() / "filelist.json"));
  options.allowed = {mtlrules::NameFault::kUnusedEntry};
  EXPECT_EQ(publish(options).problems.size(), 1U);
  options.allowed.insert(mtlrules::NameFault::kLongPath);
  EXPECT_THAT(publish(options).problems, IsEmpty());
  EXPECT_THAT(list(), HasSubstr("beta/id.txt"));
}

TEST_F(Publisher, WarnsOfFilesThatAreTooLargeForMany) {
  mtlpublish::ListEntry entry{"a.tx", mtlpublish::DownloadPolicy::kAlways, 2'000'000'000};
  EXPECT_THAT(mtlpublish::sizeWarnings({entry}), IsEmpty());
  ++entry.size;
  EXPECT_THAT(mtlpublish::sizeWarnings({entry}),
              ElementsAre("a.tx: has more than 2 GB, which many clients do not take"));
  entry.policy = mtlpublish::DownloadPolicy::kNever;
  EXPECT_THAT(mtlpublish::sizeWarnings({entry}), IsEmpty());
}

TEST_F(Publisher, NamesMirrorsInTheListAndThatClientsWantThemSigned) {
  add("a", "a");
  const std::string before = id();
  PublishOptions options;
  options.mirrors = {"https://b.example/lib"};
  const PublishResult result = publish(options);
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_THAT(result.warnings, ElementsAre(HasSubstr("from signed lists only")));
  EXPECT_NE(result.id, before);
  EXPECT_THAT(list(), testing::StartsWith("[\n{\"mirror\":\"https://b.example/lib\"},\n{"));
  ASSERT_TRUE(result.changes);
  EXPECT_TRUE(publish(options).changes) << "its own list is one that it can read";
  options.mirrors.assign(17, "https://b.example/lib");
  EXPECT_THAT(publish(options).problems, ElementsAre("clients take no more than 16 mirrors"));
}

TEST_F(Publisher, RefusesAFolderThatIsNone) {
  add("file", "");
  EXPECT_THAT(mtlpublish::publish(dir_ / "file", {}).problems,
              ElementsAre(dir_ / "file" + ": Not a directory"));
  EXPECT_THAT(mtlpublish::publish(dir_ / "none", {}).problems,
              ElementsAre(dir_ / "none" + ": No such file or directory"));
}

}  // namespace
