// Tests libraries that are signed: what the stamp is, which serial it has, and when it stays.
#include "mtlpublish/library_stamp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mtlpublish/publisher.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using mtlpublish::PublishOptions;
using mtlpublish::PublishResult;
using mtlsigning::Release;
using mtlsigning::SecretKey;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Way = mtlpublish::SigningOptions::Way;

constexpr std::int64_t kStart = 1767225600;  // 2026-01-01.
constexpr std::int64_t kDay = 86400;

class LibraryStamp : public testing::Test {
 protected:
  LibraryStamp() {
    writeFile(dir_ / "a", "1");
    options_.signing.way = Way::kKey;
    options_.signing.key = key_;
    options_.signing.library = "oak";
    at(kStart);
  }

  void at(std::int64_t seconds) {
    options_.start = std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
  }

  PublishResult publish() { return mtlpublish::publish(dir_.path(), options_); }

  /// Publishes, and expects a signature that is good.
  Release signedRelease() {
    const PublishResult result = publish();
    EXPECT_THAT(result.problems, IsEmpty());
    EXPECT_EQ(result.id, "");
    const auto release = releaseThere();
    EXPECT_TRUE(release == result.release);
    EXPECT_EQ(mtlsigning::commentText(release) + "\n", readFile(dir_ / ".mtlpublish-signed"));
    return release;
  }

  Release releaseThere() {
    std::string problem;
    const auto signature = mtlsigning::signatureFrom(stamp(), problem);
    EXPECT_EQ(problem, "");
    if (!signature) return {};
    const mtlsigning::PublicKey key = options_.signing.key->publicKey();
    EXPECT_TRUE(mtlsigning::isCommentSigned(*signature, key));
    EXPECT_TRUE(mtlsigning::isContentSigned(*signature, key, readFile(dir_ / "filelist.json")));
    return mtlsigning::releaseFrom(signature->comment).value_or(Release());
  }

  std::string stamp() { return readFile(dir_ / "id.txt"); }

  TempDir dir_;
  SecretKey key_ = SecretKey::generate().value();
  PublishOptions options_;
};

TEST_F(LibraryStamp, IsTheListsSignature) {
  options_.signing.subPath = "beta";
  const Release release = signedRelease();
  EXPECT_EQ(release.library, "oak");
  EXPECT_EQ(release.subPath, "beta");
  EXPECT_EQ(release.serial, static_cast<std::uint64_t>(kStart));
  EXPECT_EQ(release.published, kStart);
  EXPECT_FALSE(release.expires);
  EXPECT_EQ(release.list.size, fs::file_size(dir_.path() / "filelist.json"));
}

TEST_F(LibraryStamp, StaysWhenNothingChanges) {
  signedRelease();
  const std::string before = stamp();
  at(kStart + kDay);
  const PublishResult result = publish();
  EXPECT_FALSE(result.isNew);
  EXPECT_EQ(stamp(), before);
  options_.signing.library.clear();
  EXPECT_FALSE(publish().isNew) << "the name of the last release is kept";
  EXPECT_EQ(stamp(), before);
}

TEST_F(LibraryStamp, HasAHigherSerialWithEachChange) {
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart));
  writeFile(dir_ / "a", "2");
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + 1)) << "in the same second";
  at(kStart - kDay);
  writeFile(dir_ / "a", "3");
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + 2)) << "with another clock";
  at(kStart + kDay);
  writeFile(dir_ / "a", "4");
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + kDay));
}

TEST_F(LibraryStamp, IsNewWhenOldContentIsPublishedAgain) {
  signedRelease();
  const std::string first = stamp();
  writeFile(dir_ / "a", "2");
  signedRelease();
  writeFile(dir_ / "a", "1");
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + 2));
  EXPECT_NE(stamp(), first);
}

TEST_F(LibraryStamp, IsNewWhenAnOldOneIsPutBackWithItsFiles) {
  signedRelease();
  const std::string first = stamp();
  const std::string firstList = readFile(dir_ / "filelist.json");
  writeFile(dir_ / "a", "2");
  signedRelease();
  writeFile(dir_ / "a", "1");
  writeFile(dir_ / "filelist.json", firstList);
  writeFile(dir_ / "id.txt", first);
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + 2));
}

TEST_F(LibraryStamp, IsNewWithAnotherKeyNameOrSubPath) {
  signedRelease();
  options_.signing.key = SecretKey::generate();
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + 1));
  options_.signing.library = "elm";
  EXPECT_EQ(signedRelease().library, "elm");
  options_.signing.subPath = "beta";
  EXPECT_EQ(signedRelease().subPath, "beta");
  options_.signing.subPath.reset();
  EXPECT_FALSE(publish().isNew) << "the sub-path of the last release is kept";
  options_.signing.subPath = "";
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + 4));
}

TEST_F(LibraryStamp, IsNewWhenTheOldOneWasChanged) {
  signedRelease();
  std::string changed = stamp();
  changed[changed.find("oak")] = 'O';
  writeFile(dir_ / "id.txt", changed);
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + 1));
}

TEST_F(LibraryStamp, StaysWhenTheListIsRestored) {
  signedRelease();
  const std::string before = stamp();
  writeFile(dir_ / "filelist.json", "[]\n");
  const PublishResult result = publish();
  EXPECT_TRUE(result.isListRestored);
  EXPECT_EQ(stamp(), before);
  EXPECT_EQ(releaseThere().serial, static_cast<std::uint64_t>(kStart));
}

TEST_F(LibraryStamp, IsMadeAnewWhenHalfOfItsLifeIsOver) {
  options_.signing.life = std::chrono::seconds(10 * kDay);
  EXPECT_EQ(signedRelease().expires, kStart + 10 * kDay);
  at(kStart + 5 * kDay);
  EXPECT_FALSE(publish().isNew);
  at(kStart + 5 * kDay + 1);
  EXPECT_EQ(signedRelease().expires, kStart + 15 * kDay + 1);
  options_.signing.life = std::chrono::seconds(2 * kDay);
  EXPECT_EQ(signedRelease().expires, kStart + 7 * kDay + 1) << "a shorter life was asked for";
  options_.signing.life.reset();
  EXPECT_FALSE(signedRelease().expires);
}

TEST_F(LibraryStamp, GivesNoSerialTwiceWhenTheStampWasNotWritten) {
  signedRelease();
  const std::string old = stamp();
  writeFile(dir_ / "a", "2");
  signedRelease();
  writeFile(dir_ / "id.txt", old);
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + 2));
}

TEST_F(LibraryStamp, GoesOnFromTheStampAlone) {
  at(kStart + kDay);
  signedRelease();
  fs::remove(dir_.path() / ".mtlpublish-signed");
  at(kStart);
  options_.signing.library.clear();
  writeFile(dir_ / "a", "2");
  const Release release = signedRelease();
  EXPECT_EQ(release.library, "oak");
  EXPECT_EQ(release.serial, static_cast<std::uint64_t>(kStart + kDay + 1));
}

// A job that starts from nothing may fetch the last stamp from a server that is not to be trusted.
TEST_F(LibraryStamp, TakesNoSerialFromAStampThatItsKeyDidNotSign) {
  Release release = signedRelease();
  release.serial = mtlsigning::kLargestSerial;
  const std::string list = readFile(dir_ / "filelist.json");
  const std::string comment = mtlsigning::commentText(release);
  mtlsigning::Signature changed = key_.sign(list, "library: oak");
  changed.comment = comment;
  for (const auto& signature : {changed, SecretKey::generate().value().sign(list, comment)}) {
    writeFile(dir_ / "id.txt", mtlsigning::signatureFile(signature));
    fs::remove(dir_.path() / ".mtlpublish-signed");
    EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart));
  }
}

TEST_F(LibraryStamp, WarnsOfAClockBehindTheLastRelease) {
  signedRelease();
  at(kStart - 1);
  EXPECT_THAT(publish().warnings,
              ElementsAre("the clock says 2025-12-31T23:59:59Z, but the last release is of "
                          "2026-01-01T00:00:00Z"));
}

TEST_F(LibraryStamp, NeedsAName) {
  options_.signing.library.clear();
  EXPECT_THAT(publish().problems,
              ElementsAre("the library needs a name to be signed: give --name NAME"));
  EXPECT_EQ(stamp(), "");
}

TEST_F(LibraryStamp, IsNotReplacedByAnIdUnlessAskedFor) {
  signedRelease();
  const std::string before = stamp();
  options_.signing = {};
  EXPECT_THAT(publish().problems, ElementsAre(StartsWith("the library was signed before, ")));
  fs::remove(dir_.path() / ".mtlpublish-signed");
  EXPECT_THAT(publish().problems, ElementsAre(StartsWith("the library was signed before, ")));
  EXPECT_EQ(stamp(), before);
  options_.signing.way = Way::kNone;
  const PublishResult result = publish();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_THAT(stamp(), StartsWith(result.id + "\n"));
}

TEST_F(LibraryStamp, HasAHigherSerialAfterABuildWithout) {
  at(kStart + kDay);
  signedRelease();
  options_.signing.way = Way::kNone;
  publish();
  options_.signing.way = Way::kKey;
  at(kStart);
  EXPECT_EQ(signedRelease().serial, static_cast<std::uint64_t>(kStart + kDay + 1));
}

TEST_F(LibraryStamp, IsNotMadeFromADamagedRecord) {
  signedRelease();
  const std::string record = readFile(dir_ / ".mtlpublish-signed");
  for (const std::string& damaged : {record.substr(0, 30), "x" + record, std::string("\n")}) {
    writeFile(dir_ / ".mtlpublish-signed", damaged);
    EXPECT_THAT(publish().problems, ElementsAre(".mtlpublish-signed: does not say what was signed "
                                                "last; remove it, and give --name"));
  }
}

TEST_F(LibraryStamp, HasNoSerialAboveTheHighest) {
  Release release = signedRelease();
  release.serial = mtlsigning::kLargestSerial;
  writeFile(dir_ / ".mtlpublish-signed", mtlsigning::commentText(release) + "\n");
  EXPECT_THAT(publish().problems,
              ElementsAre(".mtlpublish-signed: there is no serial above the last one"));
}

TEST_F(LibraryStamp, IsPreparedForThoseWhoSignElsewhere) {
  options_.signing.way = Way::kElsewhere;
  options_.signing.key.reset();
  PublishResult result = publish();
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_TRUE(result.isNew);
  EXPECT_EQ(stamp(), "");
  const Release first = result.release.value();
  EXPECT_EQ(first.serial, static_cast<std::uint64_t>(kStart));
  at(kStart + kDay);
  result = publish();
  EXPECT_FALSE(result.isNew);
  EXPECT_TRUE(result.release == first) << "the comment stays as long as nothing changes";

  options_.signing.key = key_;
  const std::string made = mtlsigning::signatureFile(
      key_.sign(readFile(dir_ / "filelist.json"), mtlsigning::commentText(first)));
  writeFile(dir_ / "id.txt", made);
  options_.signing.way = Way::kKey;
  EXPECT_FALSE(publish().isNew) << "wherever it was signed";
  EXPECT_EQ(stamp(), made);

  options_.signing.way = Way::kElsewhere;
  writeFile(dir_ / "a", "2");
  result = publish();
  EXPECT_EQ(result.release->serial, static_cast<std::uint64_t>(kStart + kDay));
  EXPECT_EQ(stamp(), made);
  writeFile(dir_ / "filelist.json", "[]\n");
  EXPECT_EQ(publish().release->serial, static_cast<std::uint64_t>(kStart + kDay + 1));
}

TEST_F(LibraryStamp, IsNotMadeForAFolderThatCannotBePublished) {
  signedRelease();
  const std::string before = stamp();
  writeFile(dir_ / "MTLLIB~1", "");
  const PublishResult result = publish();
  EXPECT_THAT(result.problems, testing::Not(IsEmpty()));
  EXPECT_EQ(stamp(), before);
  EXPECT_EQ(releaseThere().serial, static_cast<std::uint64_t>(kStart));
}

TEST_F(LibraryStamp, RecordIsNeitherListedNorTakenForAFile) {
  signedRelease();
  EXPECT_THAT(readFile(dir_ / "filelist.json"), testing::Not(HasSubstr("mtlpublish")));
  fs::remove(dir_.path() / ".mtlpublish-signed");
  writeFile(dir_ / ".mtlpublish-signed/x", "");
  EXPECT_THAT(
      publish().problems,
      ElementsAre(".mtlpublish-signed: a folder where publishing writes a file of that name"));
}

}  // namespace
