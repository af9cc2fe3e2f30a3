// Tests staged contents: complete, partial and damaged ones, and those of interrupted runs.
#include "update/staging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "digest_of.h"
#include "support/temp_dir.h"

namespace {

using mtlupdate::Digest;
using mtlupdate::Entry;
using mtlupdate::Failure;
using mtlupdate::FileIdentity;
using mtlupdate::Folder;
using mtlupdate::Outcome;
using mtlupdate::StagedFile;
using mtlupdate::Staging;
using Found = Staging::Found;
using testing::IsEmpty;

Entry entryOf(std::string_view path, std::string_view content) {
  Entry entry;
  entry.path = path;
  entry.remotePath = path;
  entry.size = content.size();
  entry.sha256 = digestOf(content);
  return entry;
}

class StagingTest : public testing::Test {
 protected:
  StagingTest() { EXPECT_FALSE(folder.open(dir / "copy", true)); }

  static void append(StagedFile& file, std::string_view bytes) {
    ASSERT_FALSE(file.append(bytes));
    file.digest(bytes);
  }

  void stage(const Entry& of, std::string_view bytes, bool anew = false) {
    StagedFile file;
    ASSERT_FALSE(staging.open(of, anew, file));
    append(file, bytes);
  }

  Found find(const Entry& of) {
    Found found;
    const Outcome failure = staging.find(of, {}, found);
    EXPECT_FALSE(failure) << failure->text;
    return found;
  }

  std::string nameOf(const Entry& of) {
    return dir / ("copy/" + mtlupdate::stagedPath(of, "stamp"));
  }

  TempDir dir;
  Folder folder;
  Staging staging{folder, "stamp"};
  const Entry entry = entryOf("a/b", "content");
};

TEST_F(StagingTest, NamesContentsByTheirDigests) {
  EXPECT_EQ(mtlupdate::stagedPath(entry, "1"),
            ".mtllib/stage/" + mtlupdate::hexText(digestOf("content")));
  EXPECT_EQ(mtlupdate::stagedPath(entry, "1"), mtlupdate::stagedPath(entry, "2"));
  Entry without = entry;
  without.sha256.reset();
  EXPECT_NE(mtlupdate::stagedPath(without, "1"), mtlupdate::stagedPath(without, "2"));
  Entry other = without;
  other.remotePath = "a/c";
  EXPECT_NE(mtlupdate::stagedPath(without, "1"), mtlupdate::stagedPath(other, "1"));
}

TEST_F(StagingTest, DigestsWhatIsAppendedInThisRunAndEarlierOnes) {
  stage(entry, "con");
  EXPECT_EQ(find(entry).state, Found::State::kPart);
  EXPECT_EQ(find(entry).size, 3U);
  StagedFile file;
  ASSERT_FALSE(staging.open(entry, false, file));
  EXPECT_EQ(file.size(), 3U);
  append(file, "te");
  append(file, "nt");
  std::optional<Digest> digest;
  FileIdentity identity;
  ASSERT_FALSE(file.finish(digest, identity));
  EXPECT_EQ(digest, entry.sha256);
  const Found found = find(entry);
  EXPECT_EQ(found.state, Found::State::kWhole);
  EXPECT_EQ(found.digest, entry.sha256);
  EXPECT_EQ(found.identity, identity);
}

TEST_F(StagingTest, GoesOnWithWhatHasNoDigest) {
  Entry without = entry;
  without.sha256.reset();
  StagedFile file;
  ASSERT_FALSE(staging.open(without, true, file));
  ASSERT_FALSE(file.append("con"));
  file = StagedFile();
  ASSERT_FALSE(staging.open(without, false, file));
  EXPECT_EQ(file.size(), 3U);
  ASSERT_FALSE(file.append("tent"));
  std::optional<Digest> digest = entry.sha256;
  FileIdentity identity;
  ASSERT_FALSE(file.finish(digest, identity));
  EXPECT_EQ(digest, std::nullopt);
  EXPECT_EQ(identity.size, 7U);
  EXPECT_EQ(readFile(nameOf(without)), "content");
}

TEST_F(StagingTest, BeginsAnewWhenAsked) {
  stage(entry, "wrong");
  stage(entry, "con", true);
  EXPECT_EQ(readFile(nameOf(entry)), "con");
  StagedFile file;
  ASSERT_FALSE(staging.open(entry, false, file));
  append(file, "sense");
  ASSERT_FALSE(file.restart());
  EXPECT_EQ(file.size(), 0U);
  append(file, "content");
  std::optional<Digest> digest;
  FileIdentity identity;
  ASSERT_FALSE(file.finish(digest, identity));
  EXPECT_EQ(digest, entry.sha256);
  EXPECT_EQ(readFile(nameOf(entry)), "content");
}

TEST_F(StagingTest, FindsNothingWhereNothingIs) {
  EXPECT_EQ(find(entry).state, Found::State::kNothing);
}

TEST_F(StagingTest, RemovesWhatCannotBecomeTheContent) {
  for (const char* bytes : {"konsent", "content and more", ""}) {
    writeFile(nameOf(entry), bytes);
    EXPECT_EQ(find(entry).state, Found::State::kNothing) << bytes;
    EXPECT_FALSE(std::filesystem::exists(nameOf(entry))) << bytes;
  }
}

TEST_F(StagingTest, TakesAContentOfUnknownSizeForWholeByItsDigestAlone) {
  Entry unknown = entry;
  unknown.size.reset();
  stage(unknown, "conten");
  EXPECT_EQ(find(unknown).state, Found::State::kPart);
  stage(unknown, "t");
  EXPECT_EQ(find(unknown).state, Found::State::kWhole);
}

TEST_F(StagingTest, TakesNothingForWholeThatHasNoDigest) {
  Entry without = entry;
  without.sha256.reset();
  stage(without, "conten");
  EXPECT_EQ(find(without).state, Found::State::kPart);
  stage(without, "t");
  EXPECT_EQ(find(without).state, Found::State::kNothing);
}

TEST_F(StagingTest, KeepsTheValidatorOfAPartBesideIt) {
  stage(entry, "con");
  EXPECT_EQ(staging.validator(entry), "");
  ASSERT_FALSE(staging.keepValidator(entry, "\"a long one\""));
  ASSERT_FALSE(staging.keepValidator(entry, "\"v1\""));
  EXPECT_EQ(staging.validator(entry), "\"v1\"");
  ASSERT_FALSE(staging.keepOnly({mtlupdate::stagedPath(entry, "stamp")}));
  EXPECT_EQ(staging.validator(entry), "\"v1\"");
  ASSERT_FALSE(staging.discard(entry));
  EXPECT_THAT(readTree(dir / "copy"), IsEmpty());
}

TEST_F(StagingTest, CopiesAContentThatIsThere) {
  writeFile(dir / "copy/old/place", "content");
  Found found;
  ASSERT_FALSE(staging.copy(entry, "old/place", {}, found));
  EXPECT_EQ(found.state, Found::State::kWhole);
  EXPECT_EQ(readFile(nameOf(entry)), "content");
  EXPECT_EQ(readFile(dir / "copy/old/place"), "content");
}

TEST_F(StagingTest, CopiesNothingThatIsAnotherContent) {
  for (const char* content : {"contend", "contents", "c"}) {
    writeFile(dir / "copy/old/place", content);
    Found found;
    const Outcome failure = staging.copy(entry, "old/place", {}, found);
    ASSERT_TRUE(failure) << content;
    EXPECT_EQ(failure->kind, Failure::Kind::kContent);
    EXPECT_EQ(find(entry).state, Found::State::kNothing);
    EXPECT_EQ(found.state, Found::State::kNothing);
  }
}

TEST_F(StagingTest, StopsWhenItIsTold) {
  stage(entry, "content");
  Found found;
  const auto no = [](std::uint64_t) { return false; };
  Outcome failure = staging.find(entry, no, found);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kCancelled);
  writeFile(dir / "copy/old/place", "content");
  failure = staging.copy(entry, "old/place", no, found);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kCancelled);
}

TEST_F(StagingTest, LeavesNothingThatIsNotNeeded) {
  const Entry other = entryOf("c", "other");
  stage(entry, "con");
  stage(other, "other");
  EXPECT_TRUE(mtlupdate::hasStagedContents(folder));
  ASSERT_FALSE(staging.keepOnly({mtlupdate::stagedPath(other, "stamp")}));
  EXPECT_EQ(find(entry).state, Found::State::kNothing);
  EXPECT_EQ(find(other).state, Found::State::kWhole);
  ASSERT_FALSE(staging.keepOnly({}));
  EXPECT_FALSE(mtlupdate::hasStagedContents(folder));
  EXPECT_FALSE(std::filesystem::exists(dir / "copy/.mtllib/stage"));
  EXPECT_FALSE(staging.keepOnly({})) << "also where no stage is";
}

TEST_F(StagingTest, SaysWhichFileTheDiskRefuses) {
  writeFile(dir / "copy/.mtllib/stage", "a file in the place of the folder");
  StagedFile file;
  const Outcome failure = staging.open(entry, false, file);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kDisk);
  EXPECT_EQ(failure->about, mtlupdate::stagedPath(entry, "stamp"));
}

}  // namespace
