// Tests finding the differences between a copy and its list.
#include "update/verify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/no_access.h"
#include "support/temp_dir.h"

namespace mtlupdate {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using DifferenceKind = Difference::Kind;

class VerifyTest : public testing::Test {
 protected:
  VerifyTest() { EXPECT_FALSE(folder_.open(dir_ / "copy", true)); }

  void write(const std::string& path, const std::string& content) {
    const std::filesystem::path file = std::filesystem::u8path(dir_ / ("copy/" + path));
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }

  void list(std::string_view path, std::string_view content, bool hasDigest = true,
            mtlrules::DownloadPolicy policy = mtlrules::DownloadPolicy::kAlways) {
    Entry entry;
    entry.path = path;
    entry.remotePath = path;
    entry.size = content.size();
    Sha256 sha256;
    sha256.update(content);
    if (hasDigest) entry.sha256 = sha256.finish();
    entry.policy = policy;
    listing_.add(entry);
  }

  std::vector<std::string> differences(std::string_view subPath = "") {
    result_ = {};
    const Outcome failure = verifyCopy(
        folder_, listing_, subPath, [] { return true; }, result_);
    EXPECT_FALSE(failure) << failure->text;
    std::vector<std::string> texts;
    for (const Difference& difference : result_.differences) {
      constexpr const char* kNames[] = {"size of ", "damaged ", "unreadable ",
                                        "missing ", "extra ",   "changed "};
      texts.push_back(kNames[static_cast<int>(difference.kind)] + difference.path);
    }
    return texts;
  }

  TempDir dir_;
  Folder folder_;
  Listing listing_;
  VerifyResult result_;
};

TEST_F(VerifyTest, ACopyThatIsAsListedHasNoDifferences) {
  list("a", "content");
  list("b/c", "other", false);
  write("a", "content");
  write("b/c", "OTHER");
  write("id.txt", "stamp");
  write(".mtllib/state", "state");
  EXPECT_THAT(differences(), IsEmpty());
  EXPECT_EQ(result_.filesRead, 1U);
  EXPECT_EQ(result_.bytesRead, 7U);
}

TEST_F(VerifyTest, FindsDamagedMissingAndExtraFiles) {
  list("content", "content");
  list("size", "content");
  list("sizeAlone", "content", false);
  list("gone", "content");
  list("below/gone", "content");
  list("mine", "content", true, mtlrules::DownloadPolicy::kMissing);
  write("content", "CONTENT");
  write("size", "contents");
  write("sizeAlone", "contents");
  write("mine", "of my own");
  write("extra", "x");
  write("far/below/extra", "x");
  EXPECT_THAT(differences(), ElementsAre("damaged content", "size of size", "size of sizeAlone",
                                         "missing gone", "missing below/gone", "changed mine",
                                         "extra extra", "extra far/below/extra"));
}

TEST_F(VerifyTest, EntriesThatUpdatesPassOverMakeNoDifference) {
  list("a", "first");
  list("a", "second");
  list("b", "a file");
  list("b/c", "a file below it");
  write("a", "second");
  write("b/c", "a file below it");
  EXPECT_THAT(differences(), IsEmpty());
  write("a", "first!");
  EXPECT_THAT(differences(), ElementsAre("damaged a"));
}

// One bad file, or folder, does not hide the others.
TEST_F(VerifyTest, GoesOnBehindWhatCannotBeRead) {
  for (const char* path : {"a", "b", "closed/c"}) {
    list(path, "content");
    write(path, "content");
  }
  write("b", "CONTENT");
  const auto below = [&](const char* path) { return std::filesystem::u8path(dir_ / path); };
  const NoAccess closed({below("copy/a"), below("copy/closed")});
  EXPECT_THAT(differences(),
              ElementsAre("unreadable a", "damaged b", "unreadable closed/c", "unreadable closed"));
  for (const Difference& difference : result_.differences)
    EXPECT_EQ(difference.reason.empty(), difference.kind != Difference::Kind::kUnreadable);
}

TEST_F(VerifyTest, TheFoldersOfAStampMayHoldOtherFiles) {
  list("a/b/c", "content");
  write("a/b/c", "content");
  write("a/b/id.txt", "stamp");
  write("a/b/extra", "x");
  EXPECT_THAT(differences("a/b"), ElementsAre("extra a/b/extra"));
}

TEST_F(VerifyTest, EndsWhenItIsAskedTo) {
  list("a", "content");
  const Outcome failure = verifyCopy(
      folder_, listing_, "", [] { return false; }, result_);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kCancelled);
}

}  // namespace
}  // namespace mtlupdate
