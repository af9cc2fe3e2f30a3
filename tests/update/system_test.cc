// Tests folders, files and locks, on every system.
#include "update/system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using mtlupdate::File;
using mtlupdate::FileIdentity;
using mtlupdate::FileKind;
using mtlupdate::Folder;
using mtlupdate::Look;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class System : public testing::Test {
 protected:
  System() { EXPECT_FALSE(folder.open(dir / "copy", true)); }

  Look look(const std::string& path) {
    Look found;
    const std::error_code error = folder.look(path, found);
    EXPECT_FALSE(error) << path << ": " << error.message();
    return found;
  }

  void write(const std::string& path, const std::string& content) {
    writeFile(dir / ("copy/" + path), content);
  }
  std::string read(const std::string& path) { return readFile(dir / ("copy/" + path)); }

  /// False where the system does not let this user make links.
  bool link(const std::string& target, const std::string& path) {
    std::error_code error;
    const fs::path name = fs::u8path(dir / ("copy/" + path));
    if (fs::is_directory(fs::u8path(target))) {
      fs::create_directory_symlink(fs::u8path(target), name, error);
    } else {
      fs::create_symlink(fs::u8path(target), name, error);
    }
    return !error && fs::is_symlink(fs::symlink_status(name));
  }

  TempDir dir;
  Folder folder;
};

TEST_F(System, OpensAFolderOnlyWhereThereIsOne) {
  Folder other;
  EXPECT_TRUE(other.open(dir / "none", false));
  EXPECT_FALSE(fs::exists(dir.path() / "none"));
  writeFile(dir / "file", "");
  EXPECT_TRUE(other.open(dir / "file", false));
  EXPECT_FALSE(other.open(dir / "\xC3\xA9/b c/d", true));
  EXPECT_TRUE(fs::is_directory(fs::u8path(dir / "\xC3\xA9/b c/d")));
}

TEST_F(System, LooksAtWhatLiesAtAPath) {
  write("a/b/\xC3\xA9.tx", "12345");
  EXPECT_EQ(look("a/b/\xC3\xA9.tx").kind, FileKind::kFile);
  EXPECT_EQ(look("a/b/\xC3\xA9.tx").identity.size, 5U);
  EXPECT_EQ(look("a/b").kind, FileKind::kFolder);
  EXPECT_EQ(look("a/c").kind, FileKind::kNone);
  EXPECT_EQ(look("x/y/z").kind, FileKind::kNone);
  const Look blocked = look("a/b/\xC3\xA9.tx/c/d");
  EXPECT_EQ(blocked.kind, FileKind::kFile);
  EXPECT_EQ(blocked.blockedBy, "a/b/\xC3\xA9.tx");
}

TEST_F(System, SeesFoldersThatWereRemovedAndMadeAnew) {
  write("a/b/c", "1");
  EXPECT_EQ(look("a/b/c").kind, FileKind::kFile);
  EXPECT_FALSE(folder.removeFile("a/b/c"));
  EXPECT_FALSE(folder.removeFolder("a/b"));
  EXPECT_EQ(look("a/b/c").kind, FileKind::kNone);
  write("a/b/c", "12");
  EXPECT_EQ(look("a/b/c").identity.size, 2U);
}

TEST_F(System, LooksBelowMoreFoldersThanItKeepsOpen) {
  for (int i = 0; i < 40; ++i)
    write(std::to_string(i) + "/a/b/c", "x");
  for (int i = 0; i < 80; ++i)
    EXPECT_EQ(look(std::to_string(i * 7 % 40) + "/a/b/c").kind, FileKind::kFile) << i;
  std::string deep;
  for (int i = 0; i < 40; ++i)
    deep += "d/";
  EXPECT_FALSE(folder.makeFolders(deep + "e"));
  write(deep + "e/f", "x");
  EXPECT_FALSE(folder.replace("1/a/b/c", deep + "e/f"));
  EXPECT_FALSE(folder.replace(deep + "e/f", "1/a/b/c"));
  EXPECT_EQ(read("1/a/b/c"), "x");
}

TEST_F(System, IdentifiesAFileUntilItChanges) {
  write("a", "12345");
  const FileIdentity before = look("a").identity;
  EXPECT_EQ(look("a").identity, before);
  File file;
  FileIdentity ofFile;
  ASSERT_FALSE(folder.openToRead("a", file));
  ASSERT_FALSE(file.identity(ofFile));
  EXPECT_EQ(ofFile, before);
  fs::last_write_time(dir.path() / "copy/a",
                      fs::last_write_time(dir.path() / "copy/a") + std::chrono::seconds(1));
  EXPECT_FALSE(look("a").identity == before);
}

TEST_F(System, KeepsTheIdentityOfAFileThatIsPutInAPlace) {
  ASSERT_FALSE(folder.makeFolders(".mtllib/stage"));
  File file;
  ASSERT_FALSE(folder.openToAppend(".mtllib/stage/x", file));
  ASSERT_FALSE(file.write("new"));
  FileIdentity staged;
  ASSERT_FALSE(file.identity(staged));
  ASSERT_FALSE(file.close());
  ASSERT_FALSE(folder.replace(".mtllib/stage/x", "a"));
  EXPECT_EQ(look("a").identity, staged);
}

TEST_F(System, MakesAFileOnlyWhereThereIsNothing) {
  File file;
  ASSERT_FALSE(folder.makeFile("a", file));
  ASSERT_FALSE(file.write("new"));
  ASSERT_FALSE(file.close());
  EXPECT_EQ(read("a"), "new");
  EXPECT_EQ(folder.makeFile("a", file), std::errc::file_exists);
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(folder.makeFile("no folder/a", file), std::errc::no_such_file_or_directory);
  EXPECT_EQ(read("a"), "new");
}

TEST_F(System, KnowsWhetherTheFolderOfAFileIsThere) {
  writeFile(dir / "copy/a/b", "1");
  EXPECT_FALSE(look("a/b").lacksFolder);
  EXPECT_FALSE(look("a/c").lacksFolder);
  EXPECT_FALSE(look("c").lacksFolder);
  EXPECT_TRUE(look("c/d").lacksFolder);
  EXPECT_TRUE(look("a/c/d/e").lacksFolder);
  EXPECT_FALSE(look("a/b/c").lacksFolder);
}

TEST_F(System, AppendsCutsAndReads) {
  File file;
  ASSERT_FALSE(folder.openToAppend("a", file));
  ASSERT_FALSE(file.write("123"));
  ASSERT_FALSE(file.close());
  EXPECT_FALSE(file.isOpen());
  ASSERT_FALSE(folder.openToAppend("a", file));
  ASSERT_FALSE(file.write("45"));
  ASSERT_FALSE(file.cutAt(4));
  ASSERT_FALSE(file.write("6"));
  ASSERT_FALSE(file.close());
  EXPECT_EQ(read("a"), "12346");
  ASSERT_FALSE(folder.openToRead("a", file));
  std::string bytes(10, ' ');
  std::size_t count = 0;
  ASSERT_FALSE(file.read(bytes.data(), 3, count));
  EXPECT_EQ(bytes.substr(0, count), "123");
  ASSERT_FALSE(file.read(bytes.data(), 10, count));
  EXPECT_EQ(bytes.substr(0, count), "46");
  ASSERT_FALSE(file.read(bytes.data(), 10, count));
  EXPECT_EQ(count, 0U);
}

TEST_F(System, OpensNothingButFiles) {
  ASSERT_FALSE(folder.makeFolders("a"));
  File file;
  EXPECT_TRUE(folder.openToRead("a", file));
  EXPECT_TRUE(folder.openToAppend("a", file));
  EXPECT_EQ(folder.openToRead("b", file), std::errc::no_such_file_or_directory);
  EXPECT_FALSE(file.isOpen());
}

TEST_F(System, ReplacesAFileInOneStep) {
  write("stage/x", "new");
  write("a/b", "old");
  ASSERT_FALSE(folder.replace("stage/x", "a/b"));
  EXPECT_EQ(read("a/b"), "new");
  EXPECT_EQ(look("stage/x").kind, FileKind::kNone);
  write("stage/y", "new");
  ASSERT_FALSE(folder.makeFolders("d"));
  EXPECT_TRUE(folder.replace("stage/y", "d")) << "a folder";
  EXPECT_TRUE(folder.replace("stage/y", "e/f")) << "without a folder for it";
  EXPECT_EQ(read("stage/y"), "new");
}

TEST_F(System, RemovesFilesAndEmptyFolders) {
  write("a/b/c", "");
  EXPECT_FALSE(folder.removeFile("a/b/none"));
  EXPECT_FALSE(folder.removeFile("none/b"));
  EXPECT_FALSE(folder.removeFolder("a/b"));
  EXPECT_EQ(look("a/b/c").kind, FileKind::kFile) << "it is not empty";
  EXPECT_FALSE(folder.removeFile("a/b/c"));
  EXPECT_FALSE(folder.removeFolder("a/b"));
  EXPECT_EQ(look("a/b").kind, FileKind::kNone);
  EXPECT_EQ(look("a").kind, FileKind::kFolder);
}

TEST_F(System, GivesTheNamesInAFolder) {
  write("a/b", "");
  write("a/\xC3\xA9", "");
  write("a/c/d", "");
  std::vector<std::string> names;
  EXPECT_FALSE(folder.names("a", names));
  EXPECT_THAT(names, UnorderedElementsAre("b", "\xC3\xA9", "c"));
  EXPECT_FALSE(folder.names("", names));
  EXPECT_THAT(names, UnorderedElementsAre("a"));
  ASSERT_FALSE(folder.makeFolders("empty"));
  EXPECT_FALSE(folder.names("empty", names));
  EXPECT_THAT(names, IsEmpty());
  EXPECT_EQ(folder.names("none", names), std::errc::no_such_file_or_directory);
}

TEST_F(System, FollowsNoLinkThatLeadsOut) {
  writeFile(dir / "outside/a", "theirs");
  if (!link(dir / "outside", "out") || !link(dir / "outside/a", "a")) {
    GTEST_SKIP() << "this user or system makes no links";
  }
  write("stage/x", "ours");
  const Look blocked = look("out/a");
  EXPECT_EQ(blocked.kind, FileKind::kLink);
  EXPECT_EQ(blocked.blockedBy, "out");
  EXPECT_EQ(look("a").kind, FileKind::kLink);
  EXPECT_EQ(look("a").blockedBy, "");
  File file;
  for (const char* path : {"out/a", "a", "out/new"}) {
    EXPECT_TRUE(folder.openToRead(path, file)) << path;
    EXPECT_TRUE(folder.openToAppend(path, file)) << path;
  }
  EXPECT_TRUE(folder.replace("stage/x", "out/a"));
  EXPECT_TRUE(folder.replace("out/a", "taken"));
  EXPECT_TRUE(folder.makeFolders("out/b"));
  EXPECT_TRUE(folder.removeFile("out/a"));
  EXPECT_TRUE(folder.removeFolder("out/b"));
  std::vector<std::string> names;
  EXPECT_TRUE(folder.names("out", names));
  EXPECT_FALSE(folder.removeFile("a")) << "the link itself";
  EXPECT_EQ(readTree(dir / "outside"), (std::map<std::string, std::string>{{"a", "theirs"}}));
}

TEST_F(System, TakesNoPathThatClimbs) {
  writeFile(dir / "theirs", "theirs");
  write("a/b", "ours");
  File file;
  for (const char* path : {"../theirs", "a/../../theirs", "a/./b", "a//b", "..", ""}) {
    Look found;
    EXPECT_TRUE(folder.look(path, found)) << path;
    EXPECT_TRUE(folder.openToRead(path, file)) << path;
    EXPECT_TRUE(folder.removeFile(path)) << path;
    EXPECT_TRUE(folder.replace("a/b", path)) << path;
  }
  EXPECT_EQ(readFile(dir / "theirs"), "theirs");
  EXPECT_EQ(read("a/b"), "ours");
}

TEST_F(System, LocksUntilTheFileIsClosed) {
  File first;
  File second;
  std::int64_t holder = 0;
  ASSERT_FALSE(folder.lock("lock", first, holder));
  EXPECT_EQ(folder.lock("lock", second, holder), std::errc::resource_unavailable_try_again);
  EXPECT_GT(holder, 0);
  EXPECT_FALSE(second.isOpen());
  ASSERT_FALSE(first.close());
  EXPECT_FALSE(folder.lock("lock", second, holder));
}

TEST_F(System, FlushesAndKnowsTheRoom) {
  write("a", "1");
  EXPECT_FALSE(folder.flush(1, [](std::size_t) { return std::string("a"); }));
  ASSERT_TRUE(folder.freeRoom());
  EXPECT_GT(*folder.freeRoom(), 0U);
}

TEST_F(System, ClonesWholeFilesOrLeavesNone) {
  write("a", "content");
  if (folder.clone("a", "b")) {
    EXPECT_EQ(look("b").kind, FileKind::kNone);
  } else {
    EXPECT_EQ(read("b"), "content");
  }
}

}  // namespace
