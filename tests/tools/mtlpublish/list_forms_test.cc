// Tests what is published beside the list, from build to build.
#include "mtlpublish/list_forms.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "mtlpublish/list_differences.h"
#include "mtlpublish/publisher.h"
#include "mtlpublish/rollback.h"
#include "rules/list_note.h"
#include "signing/secret_key.h"
#include "signing/signed_release.h"
#include "support/temp_dir.h"
#include "update/gzip.h"

namespace mtlpublish {
namespace {

namespace fs = std::filesystem;
using mtlupdate::ListDifference;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr std::size_t kMost = 10000000;

std::string sha256Of(const std::string& text) {
  return mtlupdate::hexText(identityOf(text).sha256);
}

std::string differenceOf(const std::string& stamp) {
  return mtlrules::differenceName(sha256Of(stamp));
}

/// A library of so many files that one of them is little of its list; signed or not.
class ListFormsTest : public testing::TestWithParam<bool> {
 protected:
  ListFormsTest() {
    for (int i = 0; i < 100; ++i)
      write(i, "content " + std::to_string(i));
    if (!GetParam()) return;
    options_.signing.way = SigningOptions::Way::kKey;
    options_.signing.key = mtlsigning::SecretKey::generate();
    options_.signing.library = "oak";
  }

  void write(int number, const std::string& content) const {
    writeFile(dir_ / ("files/" + std::to_string(number)), content);
  }

  PublishResult publish() {
    // Signed releases are a second apart, and files are older than builds.
    options_.start += std::chrono::seconds(10);
    PublishResult result = mtlpublish::publish(dir_.path(), options_);
    EXPECT_THAT(result.problems, IsEmpty());
    return result;
  }

  std::string stamp() const { return readFile(dir_ / "id.txt"); }
  std::string list() const { return readFile(dir_ / "filelist.json"); }
  mtlrules::ListNote note() const {
    const auto note = mtlsigning::listNoteIn(stamp());
    EXPECT_TRUE(note) << stamp();
    return note.value_or(mtlrules::ListNote{});
  }

  std::vector<std::string> differences() const {
    std::vector<std::string> names;
    const fs::path folder = dir_ / "changes";
    if (!fs::exists(folder)) return names;
    for (const auto& entry : fs::directory_iterator(folder))
      names.push_back("changes/" + entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  /// What the difference of this name makes of the list.
  std::string made(const std::string& name, const std::string& from) const {
    const auto text = mtlupdate::gunzipped(readFile(dir_ / name), kMost);
    const auto difference = mtlupdate::parseDifference(text.value_or(""));
    if (!difference) return "no difference";
    EXPECT_TRUE(difference->head.from == identityOf(from));
    std::string to;
    for (const ListDifference::Piece& piece : difference->pieces)
      to += piece.text.empty() ? from.substr(piece.offset, piece.size) : piece.text;
    EXPECT_TRUE(difference->head.to == identityOf(to));
    return to;
  }

  TempDir dir_;
  PublishOptions options_;
};

INSTANTIATE_TEST_SUITE_P(EachWay, ListFormsTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "Signed" : "Unsigned"; });

TEST_P(ListFormsTest, AFirstBuildHasACompressedListAlone) {
  const PublishResult result = publish();
  EXPECT_EQ(mtlupdate::gunzipped(readFile(dir_ / "filelist.json.gz"), kMost), list());
  EXPECT_THAT(differences(), IsEmpty());
  EXPECT_TRUE(note() == (mtlrules::ListNote{list().size(), sha256Of(list()), true, true}));
  EXPECT_EQ(result.byKit.requests, 102U);
  EXPECT_EQ(result.byKit.bytes,
            result.bytes + stamp().size() + readFile(dir_ / "filelist.json.gz").size());
  EXPECT_EQ(result.byModule.bytes, result.bytes + stamp().size() + list().size());
}

TEST_P(ListFormsTest, FurtherBuildsHaveADifferenceFromEachBefore) {
  std::vector<std::pair<std::string, std::string>> builds;
  for (int build = 0; build < 5; ++build) {
    write(build, "changed in " + std::to_string(build));
    const PublishResult result = publish();
    EXPECT_TRUE(mtlsigning::listNoteIn(stamp()).has_value());
    EXPECT_THAT(differences(), SizeIs(builds.size()));
    for (const auto& [before, text] : builds)
      EXPECT_EQ(made(differenceOf(before), text), list());
    EXPECT_TRUE(note().hasDifferences);
    if (build > 0) {
      EXPECT_EQ(result.byKit.requests, 3U);
      EXPECT_EQ(result.byKit.bytes, std::string("changed in 1").size() + stamp().size() +
                                        readFile(dir_ / differenceOf(builds.back().first)).size());
    }
    builds.emplace_back(stamp(), list());
  }
}

TEST_P(ListFormsTest, ABuildThatChangesNothingWritesNothing) {
  publish();
  write(0, "changed");
  publish();
  const auto before = readTree(dir_ / "");
  const PublishResult result = publish();
  EXPECT_FALSE(result.isNew);
  EXPECT_EQ(readTree(dir_ / ""), before);
  EXPECT_EQ(result.byKit.requests, 1U);
}

TEST_P(ListFormsTest, DifferencesAreFromTheLastBuildsOnly) {
  options_.differences = 2;
  std::vector<std::string> stamps;
  for (int build = 0; build < 5; ++build) {
    write(build, "changed in " + std::to_string(build));
    publish();
    stamps.push_back(stamp());
  }
  std::vector<std::string> expected{differenceOf(stamps[2]), differenceOf(stamps[3])};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(differences(), expected);
  options_.differences = 0;
  write(9, "changed");
  publish();
  EXPECT_THAT(differences(), IsEmpty());
  EXPECT_FALSE(fs::exists(dir_ / "changes"));
  EXPECT_FALSE(note().hasDifferences);
  EXPECT_TRUE(note().isCompressed);
}

TEST_P(ListFormsTest, ADifferenceThatIsMuchOfTheListIsNotWorthIt) {
  publish();
  for (int i = 0; i < 90; ++i)
    write(i, "all is new " + std::to_string(i));
  const PublishResult result = publish();
  EXPECT_THAT(differences(), IsEmpty());
  // One of them in vain.
  EXPECT_EQ(result.byKit.requests, 93U);
}

TEST_P(ListFormsTest, AShortListHasNoDifferences) {
  // What has changed would be less than a quarter of it.
  for (int i = 25; i < 100; ++i)
    fs::remove(dir_ / ("files/" + std::to_string(i)));
  publish();
  EXPECT_FALSE(note().hasDifferences);
  write(0, "changed");
  const PublishResult result = publish();
  EXPECT_FALSE(note().hasDifferences);
  EXPECT_FALSE(fs::exists(dir_ / "changes"));
  EXPECT_EQ(result.byKit.requests, 3U);
  EXPECT_EQ(result.byKit.bytes, std::string("changed").size() + stamp().size() +
                                    readFile(dir_ / "filelist.json.gz").size());
}

TEST_P(ListFormsTest, AListThatBecomesShortLosesItsDifferences) {
  publish();
  write(0, "changed");
  publish();
  EXPECT_THAT(differences(), SizeIs(1));
  for (int i = 25; i < 100; ++i)
    fs::remove(dir_ / ("files/" + std::to_string(i)));
  publish();
  EXPECT_FALSE(note().hasDifferences);
  EXPECT_FALSE(fs::exists(dir_ / "changes"));
}

TEST(ListFormsStamp, TheSameLibraryHasTheSameStampWhateverWasPublishedBefore) {
  TempDir dir;
  for (int i = 0; i < 100; ++i)
    writeFile(dir / std::to_string(i), std::to_string(i));
  mtlpublish::publish(dir.path(), {});
  const std::string stamp = readFile(dir / "id.txt");
  writeFile(dir / "0", "changed");
  mtlpublish::publish(dir.path(), {});
  EXPECT_NE(readFile(dir / "id.txt"), stamp);
  writeFile(dir / "0", "0");
  mtlpublish::publish(dir.path(), {});
  EXPECT_EQ(readFile(dir / "id.txt"), stamp);
}

TEST_P(ListFormsTest, DamageInThemIsMadeGood) {
  publish();
  const std::string first = stamp();
  const std::string firstList = list();
  write(0, "changed");
  publish();
  const std::string second = stamp();
  const std::string secondList = list();
  writeFile(dir_ / "filelist.json.gz", "damaged");
  writeFile(dir_ / differenceOf(first), "damaged");
  EXPECT_FALSE(publish().isNew);
  EXPECT_EQ(mtlupdate::gunzipped(readFile(dir_ / "filelist.json.gz"), kMost), list());
  EXPECT_THAT(differences(), IsEmpty());
  write(1, "changed");
  publish();
  EXPECT_THAT(differences(), ElementsAre(differenceOf(second)));
  EXPECT_EQ(made(differenceOf(second), secondList), list());
}

TEST_P(ListFormsTest, AListThatWasChangedLeadsNowhere) {
  publish();
  writeFile(dir_ / "filelist.json", list() + " ");
  write(0, "changed");
  publish();
  EXPECT_THAT(differences(), IsEmpty());
}

TEST_P(ListFormsTest, ARollbackHasDifferencesToo) {
  options_.keep = 2;
  publish();
  const std::string first = list();
  const std::string firstStamp = stamp();
  write(0, "changed");
  publish();
  const std::string second = list();
  const std::string secondStamp = stamp();
  const RollbackResult result = rollback(dir_.path(), options_.signing, options_.differences,
                                         options_.start + std::chrono::seconds(10));
  ASSERT_THAT(result.problems, IsEmpty());
  EXPECT_EQ(list(), first);
  EXPECT_EQ(made(differenceOf(secondStamp), second), first);
  EXPECT_EQ(made(differenceOf(firstStamp), first), first);
  EXPECT_TRUE(note().hasDifferences);
}

TEST_P(ListFormsTest, AreNeitherListedNorTakenForFilesOfTheLibrary) {
  publish();
  write(0, "changed");
  publish();
  write(1, "changed");
  writeFile(dir_ / "changes/notes", "of the publisher's own");
  const PublishResult result = publish();
  EXPECT_EQ(result.files, 101U);
  EXPECT_EQ(list().find(".gz"), std::string::npos);
}

TEST_P(ListFormsTest, NamesInOtherLettersAreRefused) {
  writeFile(dir_ / "FileList.json.GZ", "mine");
  const PublishResult result = mtlpublish::publish(dir_.path(), options_);
  EXPECT_THAT(result.problems,
              ElementsAre("FileList.json.GZ: publishing writes a file of that name"));
}

TEST_P(ListFormsTest, ATrialForetellsWhatABuildCosts) {
  publish();
  write(0, "changed");
  PublishOptions trial = options_;
  trial.isTrial = true;
  const auto before = readTree(dir_ / "");
  const PublishResult foretold = mtlpublish::publish(dir_.path(), trial);
  EXPECT_EQ(readTree(dir_ / ""), before);
  const PublishResult result = publish();
  EXPECT_EQ(foretold.byKit.requests, result.byKit.requests);
  // The stamp that follows says that there are differences.
  EXPECT_NEAR(static_cast<double>(foretold.byKit.bytes), static_cast<double>(result.byKit.bytes),
              20);
}

TEST(ListFormsElsewhere, ALibrarySignedElsewhereHasDifferencesFromItsLastStamp) {
  TempDir dir;
  PublishOptions options;
  const auto key = mtlsigning::SecretKey::generate();
  options.signing.way = SigningOptions::Way::kElsewhere;
  options.signing.library = "oak";
  std::string first;
  const auto build = [&] {
    options.start += std::chrono::seconds(10);
    const PublishResult result = mtlpublish::publish(dir.path(), options);
    EXPECT_THAT(result.problems, IsEmpty());
    return result;
  };
  const auto sign = [&](const PublishResult& result) {
    writeFile(dir / "id.txt",
              mtlsigning::signatureFile(key->sign(readFile(dir / "filelist.json"),
                                                  mtlsigning::commentText(*result.release))));
  };
  for (int i = 0; i < 100; ++i)
    writeFile(dir / std::to_string(i), std::to_string(i));
  sign(build());
  first = readFile(dir / "id.txt");
  // Prepared, and prepared again before anybody has signed.
  for (const char* content : {"changed", "changed again"}) {
    writeFile(dir / "0", content);
    const PublishResult result = build();
    EXPECT_TRUE(result.release->list.hasDifferences);
    EXPECT_TRUE(fs::exists(dir / differenceOf(first)));
    if (std::string(content) == "changed again") sign(result);
  }
  EXPECT_FALSE(build().isNew);
  const auto text = mtlupdate::gunzipped(readFile(dir / differenceOf(first)), kMost);
  const auto difference = mtlupdate::parseDifference(text.value_or(""));
  ASSERT_TRUE(difference);
  EXPECT_TRUE(difference->head.to == identityOf(readFile(dir / "filelist.json")));
}

}  // namespace
}  // namespace mtlpublish
