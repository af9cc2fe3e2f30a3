// Tests creating paths: which levels are made, which failures are forgiven.
#include "qutils/file_system.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "plugin/error_chain.h"
#include "qutils/text_of.h"
#include "support/system_text.h"
#include "support/temp_dir.h"

namespace {

using QUtils::createParentPath;
using QUtils::createPath;
using QUtils::createPathImpl;
using QUtils::isDirectory;
using QUtils::pathExists;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

std::string withBackslashes(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

// A file system in which every directory can be made, but for those that are said to
// fail.
class FakeDirectories final : public QUtils::DirectoryCalls {
 public:
  DWORD attributes(const char* path) override {
    asked.emplace_back(path);
    const auto found = existing.find(path);
    return found != existing.end() ? found->second : INVALID_FILE_ATTRIBUTES;
  }
  DWORD create(const char* path) override {
    tried.emplace_back(path);
    const auto found = failing.find(path);
    if (found != failing.end()) return found->second;
    existing[path] = FILE_ATTRIBUTE_DIRECTORY;
    return ERROR_SUCCESS;
  }

  std::map<std::string, DWORD> existing = {{"C:\\", FILE_ATTRIBUTE_DIRECTORY},
                                           {"C:", FILE_ATTRIBUTE_DIRECTORY}};
  std::map<std::string, DWORD> failing;
  std::vector<std::string> asked;
  std::vector<std::string> tried;
};

class CreatePath : public testing::Test {
 protected:
  std::vector<std::string> levels(const char* path, bool createLast) {
    system_.tried.clear();
    EXPECT_EQ(textOf(createPathImpl(path, createLast, system_)), "No error");
    return system_.tried;
  }

  FakeDirectories system_;
};

std::string accessDenied() {
  return "(5) " + systemText(5, "Access is denied.\r\n");
}

TEST_F(CreatePath, MakesEveryLevelBehindTheDrive) {
  EXPECT_THAT(levels("C:\\a\\b", true), ElementsAre("C:\\a\\", "C:\\a\\b"));
}

TEST_F(CreatePath, LeavesTheLastComponentToTheFileItNames) {
  EXPECT_THAT(levels("C:\\a\\b", false), ElementsAre("C:\\a\\"));
}

TEST_F(CreatePath, TakesForwardSlashesAndATrailingOneForALevel) {
  EXPECT_THAT(levels("C:/a/b/", true), ElementsAre("C:\\a\\", "C:\\a\\b\\"));
}

TEST_F(CreatePath, MakesTheLevelOfATrailingSeparatorInAnyCase) {
  EXPECT_THAT(levels("C:/a/b/", false), ElementsAre("C:\\a\\", "C:\\a\\b\\"));
}

TEST_F(CreatePath, DoesNotMakeWhatExists) {
  system_.existing["C:\\a\\"] = FILE_ATTRIBUTE_DIRECTORY;
  system_.existing["C:\\a\\b"] = FILE_ATTRIBUTE_DIRECTORY;
  EXPECT_THAT(levels("C:\\a\\b", true), IsEmpty());
}

TEST_F(CreatePath, MakesRelativePaths) {
  EXPECT_THAT(levels("a\\b\\c", true), ElementsAre("a\\", "a\\b\\", "a\\b\\c"));
}

TEST_F(CreatePath, MakesAPathOfOneCharacter) {
  EXPECT_THAT(levels("a", true), ElementsAre("a"));
  EXPECT_THAT(levels("a", false), IsEmpty());
}

TEST_F(CreatePath, SkipsTheSeparatorsOfAnAbsolutePath) {
  EXPECT_THAT(levels("/a/b", true), ElementsAre("\\a\\", "\\a\\b"));
}

TEST_F(CreatePath, StartsAPathWithoutARootAtItsFirstCharacter) {
  system_.existing.clear();
  EXPECT_THAT(levels("C:", true), ElementsAre("C:"));
  EXPECT_THAT(levels("C:a\\b", true), ElementsAre("C:a\\", "C:a\\b"));
  EXPECT_THAT(levels("a\\", false), ElementsAre("a\\"));
}

TEST_F(CreatePath, TakesAnyCharacterBeforeAColonForADrive) {
  EXPECT_THAT(levels("1:\\a", true), ElementsAre("1:\\a"));
}

TEST_F(CreatePath, APathOfSeparatorsIsTheLevelOfItsLastOne) {
  EXPECT_THAT(levels("\\", false), ElementsAre("\\"));
  EXPECT_THAT(levels("//", false), ElementsAre("\\\\"));
  EXPECT_THAT(levels("C:\\\\", false), ElementsAre("C:\\\\"));
}

TEST_F(CreatePath, EndsALevelAtEverySeparatorOfARunBehindTheRoot) {
  EXPECT_THAT(levels("C:\\\\a\\\\b", true),
              ElementsAre("C:\\\\a\\", "C:\\\\a\\\\", "C:\\\\a\\\\b"));
}

TEST_F(CreatePath, OfADriveOnlyMakesNothingWhenItExists) {
  EXPECT_THAT(levels("C:\\", true), IsEmpty());
}

TEST_F(CreatePath, NeverMakesTheServerOfAShare) {
  EXPECT_THAT(levels("\\\\server\\share\\dir", true),
              ElementsAre("\\\\server\\share\\", "\\\\server\\share\\dir"));
}

TEST_F(CreatePath, TakesForwardSlashesForAShareToo) {
  EXPECT_THAT(levels("//server/share/dir", false), ElementsAre("\\\\server\\share\\"));
}

TEST_F(CreatePath, SkipsARunOfSeparatorsBehindTheServer) {
  EXPECT_THAT(levels("\\\\server\\\\share\\", false), ElementsAre("\\\\server\\\\share\\"));
  EXPECT_THAT(levels("\\\\\\a\\b", true), ElementsAre("\\\\\\a\\", "\\\\\\a\\b"));
}

// The start stays at the last character at most.
TEST_F(CreatePath, OfAServerAloneIsTheLevelThatItEndsIn) {
  EXPECT_THAT(levels("\\\\server", true), ElementsAre("\\\\server"));
  EXPECT_THAT(levels("\\\\other", false), IsEmpty());
  EXPECT_THAT(levels("\\\\other\\", false), ElementsAre("\\\\other\\"));
}

TEST_F(CreatePath, ForgivesAShareThatCannotBeMadeButUsed) {
  system_.failing["\\\\server\\share\\"] = ERROR_ACCESS_DENIED;
  EXPECT_THAT(levels("\\\\server\\share\\dir", true),
              ElementsAre("\\\\server\\share\\", "\\\\server\\share\\dir"));
}

TEST_F(CreatePath, ForgivesFailuresAboveALevelThatExists) {
  system_.failing["C:\\a\\"] = ERROR_ACCESS_DENIED;
  system_.existing["C:\\a\\b\\"] = FILE_ATTRIBUTE_DIRECTORY;
  EXPECT_THAT(levels("C:\\a\\b\\c", true), ElementsAre("C:\\a\\", "C:\\a\\b\\c"));
}

TEST_F(CreatePath, DoesNotLookAboveALastLevelThatExists) {
  system_.existing["C:\\a\\b"] = FILE_ATTRIBUTE_DIRECTORY;
  EXPECT_THAT(levels("C:\\a\\b", true), IsEmpty());
  EXPECT_THAT(system_.asked, ElementsAre("C:\\a\\b"));
}

TEST_F(CreatePath, ForgivesALevelThatSomebodyElseMade) {
  system_.failing["C:\\a\\"] = ERROR_ALREADY_EXISTS;
  system_.failing["C:\\a\\b"] = ERROR_ALREADY_EXISTS;
  EXPECT_THAT(levels("C:\\a\\b", true), ElementsAre("C:\\a\\", "C:\\a\\b"));
}

TEST_F(CreatePath, ForgivesFailuresAboveALevelThatSomebodyElseMade) {
  system_.failing["C:\\a\\"] = ERROR_ACCESS_DENIED;
  system_.failing["C:\\a\\b"] = ERROR_ALREADY_EXISTS;
  EXPECT_THAT(levels("C:\\a\\b", true), ElementsAre("C:\\a\\", "C:\\a\\b"));
}

TEST_F(CreatePath, ForgivesFailuresAboveALevelThatFailsWithoutACode) {
  system_.failing["C:\\a\\"] = ERROR_ACCESS_DENIED;
  system_.failing["C:\\a\\b"] = 0;
  EXPECT_THAT(levels("C:\\a\\b", true), ElementsAre("C:\\a\\", "C:\\a\\b"));
}

TEST_F(CreatePath, ReportsTheFirstFailureOfTheRunThatReachedTheEnd) {
  system_.failing["C:\\a\\b\\"] = ERROR_ACCESS_DENIED;
  system_.failing["C:\\a\\b\\c"] = ERROR_PATH_NOT_FOUND;
  EXPECT_EQ(textOf(createPathImpl("C:\\a\\b\\c", true, system_)),
            "[createPathImpl] 5: C:\\a\\b\\ " + accessDenied());
}

TEST_F(CreatePath, ReportsTheFailureOfAParentWithForwardSlashesReplaced) {
  system_.failing["\\\\server\\share\\"] = ERROR_ACCESS_DENIED;
  EXPECT_EQ(textOf(createPathImpl("//server/share/file", false, system_)),
            "[createPathImpl] 5: \\\\server\\share\\ " + accessDenied());
}

TEST_F(CreatePath, ForgetsAForgivenFailure) {
  system_.failing["C:\\a\\"] = ERROR_FILE_NOT_FOUND;
  system_.failing["C:\\a\\b\\c"] = ERROR_ACCESS_DENIED;
  EXPECT_EQ(textOf(createPathImpl("C:\\a\\b\\c", true, system_)),
            "[createPathImpl] 5: C:\\a\\b\\c " + accessDenied());
}

TEST_F(CreatePath, FailsWhereAComponentIsAFile) {
  system_.existing["C:\\a"] = FILE_ATTRIBUTE_NORMAL;
  EXPECT_EQ(textOf(createPathImpl("C:\\a\\b", true, system_)),
            "[createPathImpl] 183: C:\\a\\ already exists, but is not a valid directory");
  EXPECT_THAT(system_.tried, IsEmpty());
}

TEST_F(CreatePath, FailsWhereAComponentOfOneCharacterIsAFile) {
  system_.existing["a"] = FILE_ATTRIBUTE_NORMAL;
  EXPECT_EQ(textOf(createPathImpl("a\\b", true, system_)),
            "[createPathImpl] 183: a\\ already exists, but is not a valid directory");
}

TEST_F(CreatePath, FailsWhereTheLastComponentIsAFile) {
  system_.existing["C:\\a\\"] = FILE_ATTRIBUTE_DIRECTORY;
  system_.existing["C:\\a\\b"] = FILE_ATTRIBUTE_NORMAL;
  EXPECT_EQ(textOf(createPathImpl("C:\\a\\b", true, system_)),
            "[createPathImpl] 183: C:\\a\\b already exists, but is not a valid directory");
}

TEST_F(CreatePath, AFileBehindAForgivableFailureIsReportedAtOnce) {
  system_.failing["C:\\a\\"] = ERROR_ACCESS_DENIED;
  system_.existing["C:\\a\\b"] = FILE_ATTRIBUTE_NORMAL;
  EXPECT_EQ(textOf(createPathImpl("C:\\a\\b\\c", true, system_)),
            "[createPathImpl] 183: C:\\a\\b\\ already exists, but is not a valid directory");
  EXPECT_THAT(system_.tried, ElementsAre("C:\\a\\"));
}

TEST_F(CreatePath, AFileThatIsNotOnTheWayDoesNotMatter) {
  system_.existing["C:\\a\\file"] = FILE_ATTRIBUTE_NORMAL;
  EXPECT_THAT(levels("C:\\a\\file", false), ElementsAre("C:\\a\\"));
}

TEST_F(CreatePath, AsksForADriveRootWithItsSeparator) {
  system_.existing.erase("C:\\");
  EXPECT_THAT(levels("C:\\", true), ElementsAre("C:\\"));
}

TEST_F(CreatePath, OfNothingFails) {
  EXPECT_EQ(textOf(createPathImpl("", true, system_)),
            "[createPathImpl] -1: Empty string argument");
  EXPECT_EQ(textOf(createPathImpl(nullptr, true, system_)),
            "[createPathImpl] -1: Empty string argument");
}

TEST_F(CreatePath, Accepts259Bytes) {
  const std::string path = "C:\\" + std::string(256, 'a');
  EXPECT_THAT(levels(path.c_str(), true), ElementsAre(path));
}

TEST_F(CreatePath, Refuses260Bytes) {
  const std::string path = "C:\\" + std::string(257, 'a');
  EXPECT_EQ(textOf(createPathImpl(path.c_str(), true, system_)),
            "[createPathImpl] -1: Path length exceeds MAX_PATH");
  EXPECT_THAT(system_.tried, IsEmpty());
}

TEST_F(CreatePath, RefusesPathsLongerThanItsBuffer) {
  for (const std::size_t length : {1022U, 1023U, 1024U, 1025U, 100000U}) {
    EXPECT_EQ(textOf(createPathImpl(std::string(length, 'a').c_str(), true, system_)),
              "[createPathImpl] -1: Path length exceeds MAX_PATH")
        << length;
  }
  EXPECT_THAT(system_.tried, IsEmpty());
}

TEST_F(CreatePath, CountsBytesAndNotCharacters) {
  std::string path = "C:\\";
  for (int i = 0; i < 128; ++i)
    path += "\xC3\xA4";
  EXPECT_THAT(levels(path.c_str(), true), ElementsAre(path));
  path += "b";
  EXPECT_EQ(textOf(createPathImpl(path.c_str(), true, system_)),
            "[createPathImpl] -1: Path length exceeds MAX_PATH");
}

TEST(CreatePathOnDisk, MakesEveryLevel) {
  TempDir directory;
  EXPECT_FALSE(createPath((directory / "a/b/c").c_str()));
  EXPECT_TRUE(fs::is_directory(directory.path() / "a" / "b" / "c"));
}

TEST(CreatePathOnDisk, SucceedsWhenEverythingExists) {
  TempDir directory;
  EXPECT_FALSE(createPath((directory / "a/b").c_str()));
  EXPECT_FALSE(createPath((directory / "a/b").c_str()));
}

TEST(CreatePathOnDisk, TakesBackslashes) {
  TempDir directory;
  EXPECT_FALSE(createPath(withBackslashes(directory / "a/b").c_str()));
  EXPECT_TRUE(fs::is_directory(directory.path() / "a" / "b"));
}

TEST(CreatePathOnDisk, OfAParentLeavesTheFileOut) {
  TempDir directory;
  EXPECT_FALSE(createParentPath((directory / "a/b/file").c_str()));
  EXPECT_TRUE(fs::is_directory(directory.path() / "a" / "b"));
  EXPECT_FALSE(fs::exists(directory.path() / "a" / "b" / "file"));
}

TEST(CreatePathOnDisk, OfAParentMakesTheLevelOfATrailingSeparator) {
  TempDir directory;
  EXPECT_FALSE(createParentPath((directory / "a/b/").c_str()));
  EXPECT_TRUE(fs::is_directory(directory.path() / "a" / "b"));
}

TEST(CreatePathOnDisk, TakesUtf8Names) {
  TempDir directory;
  const std::string path = directory / "\xC3\xA4/\xE2\x82\xAC";
  EXPECT_FALSE(createPath(path.c_str()));
  EXPECT_TRUE(fs::is_directory(fs::u8path(path)));
  EXPECT_TRUE(pathExists(path.c_str()));
  EXPECT_TRUE(isDirectory(path.c_str()));
}

TEST(CreatePathOnDisk, TakesRunsOfSeparators) {
  TempDir directory;
  EXPECT_FALSE(createPath((directory.path().u8string() + "//a///b//").c_str()));
  EXPECT_TRUE(fs::is_directory(directory.path() / "a" / "b"));
}

TEST(CreatePathOnDisk, OfNothingFails) {
  EXPECT_EQ(textOf(createPath("")), "[createPathImpl] -1: Empty string argument");
  EXPECT_EQ(textOf(createParentPath(nullptr)), "[createPathImpl] -1: Empty string argument");
}

TEST(CreatePathOnDisk, LeavesTheLevelsMadeBeforeAFailure) {
  TempDir directory;
  writeFile(directory / "a/file", "abc");
  EXPECT_EQ(errorCode(createPath((directory / "a/d/../file/b").c_str()), 0), 183);
  EXPECT_TRUE(fs::is_directory(directory.path() / "a" / "d"));
}

TEST(CreatePathOnDisk, FailsWhereAComponentIsAFile) {
  TempDir directory;
  writeFile(directory / "file", "abc");
  EXPECT_EQ(textOf(createPath((directory / "file/b").c_str())),
            "[createPathImpl] 183: " + withBackslashes(directory / "file") +
                "\\ already exists, but is not a valid directory");
}

TEST(CreatePathOnDisk, FailsWhereTheLastComponentIsAFile) {
  TempDir directory;
  writeFile(directory / "file", "abc");
  EXPECT_EQ(textOf(createPath((directory / "file").c_str())),
            "[createPathImpl] 183: " + withBackslashes(directory / "file") +
                " already exists, but is not a valid directory");
}

TEST(CreatePathOnDisk, DoesNotMakeAServer) {
  const ErrorChain error = createPath("\\\\mtllib-no-such-server\\share\\dir");
  ASSERT_TRUE(error);
  EXPECT_STREQ(error.head->tag, "createPathImpl");
  EXPECT_THAT(error.head->message, testing::StartsWith("\\\\mtllib-no-such-server\\share\\ ("));
}

TEST(PathExists, KnowsFilesAndDirectories) {
  TempDir directory;
  writeFile(directory / "file", "abc");
  EXPECT_TRUE(pathExists((directory / "file").c_str()));
  EXPECT_TRUE(pathExists(directory.path().u8string().c_str()));
}

TEST(PathExists, IsFalseForWhatIsMissing) {
  TempDir directory;
  EXPECT_FALSE(pathExists((directory / "file").c_str()));
  EXPECT_FALSE(pathExists((directory / "missing/file").c_str()));
  EXPECT_FALSE(pathExists(""));
  EXPECT_FALSE(pathExists(nullptr));
}

TEST(IsDirectory, TellsDirectoriesFromFiles) {
  TempDir directory;
  writeFile(directory / "file", "abc");
  EXPECT_TRUE(isDirectory(directory.path().u8string().c_str()));
  EXPECT_FALSE(isDirectory((directory / "file").c_str()));
}

TEST(IsDirectory, IsFalseForWhatIsMissing) {
  TempDir directory;
  EXPECT_FALSE(isDirectory((directory / "missing").c_str()));
}

TEST(IsDirectory, IsFalseForNull) {
  EXPECT_FALSE(isDirectory(nullptr));
}

}  // namespace
