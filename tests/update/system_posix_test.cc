// Tests what only POSIX systems allow: readers keep what they have open, and processes fork.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sys/wait.h>
#include <csignal>
#include <string>
#include <system_error>

#include "support/temp_dir.h"
#include "update/lock.h"
#include "update/system.h"

namespace {

using mtlupdate::Failure;
using mtlupdate::File;
using mtlupdate::FileKind;
using mtlupdate::Folder;
using mtlupdate::Lock;
using mtlupdate::Look;

TEST(SystemPosix, LeavesReadersWhatTheyHaveOpenOrMapped) {
  const TempDir dir;
  Folder folder;
  ASSERT_FALSE(folder.open(dir / "copy", true));
  writeFile(dir / "copy/a", std::string(10'000, 'o'));
  writeFile(dir / "copy/new", "n");
  const int reader = open((dir / "copy/a").c_str(), O_RDONLY);
  void* const map = mmap(nullptr, 10'000, PROT_READ, MAP_PRIVATE, reader, 0);
  ASSERT_NE(map, MAP_FAILED);
  ASSERT_FALSE(folder.replace("new", "a"));
  EXPECT_EQ(std::string(static_cast<const char*>(map), 10'000), std::string(10'000, 'o'));
  char last = 0;
  EXPECT_EQ(pread(reader, &last, 1, 9'999), 1);
  EXPECT_EQ(last, 'o');
  munmap(map, 10'000);
  close(reader);
  EXPECT_EQ(readFile(dir / "copy/a"), "n");
}

TEST(SystemPosix, LeavesASnapshotOfHardLinksItsContent) {
  const TempDir dir;
  Folder folder;
  ASSERT_FALSE(folder.open(dir / "copy", true));
  writeFile(dir / "copy/a", "old");
  writeFile(dir / "copy/new", "new");
  std::filesystem::create_hard_link(dir.path() / "copy/a", dir.path() / "snapshot");
  ASSERT_FALSE(folder.replace("new", "a"));
  EXPECT_EQ(readFile(dir / "snapshot"), "old");
  EXPECT_EQ(readFile(dir / "copy/a"), "new");
}

TEST(SystemPosix, LocksAHardLinkedCopyOfAFolderByItself) {
  const TempDir dir;
  Folder folder;
  Folder snapshot;
  ASSERT_FALSE(folder.open(dir / "copy", true));
  ASSERT_FALSE(snapshot.open(dir / "snapshot", true));
  {
    Lock before;
    ASSERT_FALSE(before.take(folder));
  }
  ASSERT_FALSE(snapshot.makeFolders(".mtllib"));
  std::filesystem::create_hard_link(dir.path() / "copy/.mtllib/lock",
                                    dir.path() / "snapshot/.mtllib/lock");
  Lock ofSnapshot;
  ASSERT_FALSE(ofSnapshot.take(snapshot));
  Lock lock;
  EXPECT_FALSE(lock.take(folder));
  Lock second;
  EXPECT_TRUE(second.take(folder));
  EXPECT_TRUE(second.take(snapshot));
}

TEST(SystemPosix, AppendsToNoFileThatHasAnotherName) {
  const TempDir dir;
  Folder folder;
  ASSERT_FALSE(folder.open(dir / "copy", true));
  writeFile(dir / "copy/a", "content");
  ASSERT_FALSE(folder.link("a", "b"));
  EXPECT_EQ(readFile(dir / "copy/b"), "content");
  EXPECT_EQ(folder.link("a", "b"), std::errc::file_exists);
  File file;
  EXPECT_EQ(folder.openToAppend("a", file), std::errc::too_many_links);
  EXPECT_FALSE(file.isOpen());
  ASSERT_FALSE(folder.removeFile("b"));
  EXPECT_FALSE(folder.openToAppend("a", file));
}

TEST(SystemPosix, DoesNotWaitForAPipeInThePlaceOfAFile) {
  const TempDir dir;
  Folder folder;
  ASSERT_FALSE(folder.open(dir / "copy", true));
  ASSERT_EQ(mkfifo((dir / "copy/pipe").c_str(), 0600), 0);
  File file;
  EXPECT_TRUE(folder.openToRead("pipe", file));
  EXPECT_TRUE(folder.openToAppend("pipe", file));
  Look found;
  ASSERT_FALSE(folder.look("pipe", found));
  EXPECT_EQ(found.kind, FileKind::kOther);
}

TEST(SystemPosix, AWriteBeyondTheLimitOnFileSizesIsAnErrorAndSendsNoSignal) {
  const TempDir dir;
  Folder folder;
  ASSERT_FALSE(folder.open(dir / "copy", true));
  File file;
  ASSERT_FALSE(folder.openToAppend("a", file));
  static volatile std::sig_atomic_t received;
  received = 0;
  std::signal(SIGXFSZ, [](int) { received = received + 1; });
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{4096, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const std::error_code error = file.write(std::string(8192, 'x'));
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(error, std::errc::file_too_large);
  EXPECT_EQ(received, 0);
}

TEST(LockPosix, NamesTheProcessThatHasItAndIsFreeWhenThatWasKilled) {
  const TempDir dir;
  Folder folder;
  ASSERT_FALSE(folder.open(dir / "copy", true));
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    Folder own;
    Lock lock;
    const bool isTaken = !own.open(dir / "copy", false) && !lock.take(own);
    const bool isSaid = write(ends[1], isTaken ? "y" : "n", 1) == 1;
    if (isSaid) pause();
    _exit(1);
  }
  char answer = 0;
  ASSERT_EQ(read(ends[0], &answer, 1), 1);
  ASSERT_EQ(answer, 'y');
  Lock lock;
  const mtlupdate::Outcome outcome = lock.take(folder);
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->kind, Failure::Kind::kBusy);
  EXPECT_EQ(outcome->text, "another run is using this folder: process " + std::to_string(child));
  int asked = 0;
  EXPECT_FALSE(lock.take(folder, [&](std::int64_t holder) {
    EXPECT_EQ(holder, child);
    if (++asked == 2) {
      kill(child, SIGKILL);
      EXPECT_EQ(waitpid(child, nullptr, 0), child);
    }
    return asked < 1000;
  }));
  EXPECT_EQ(asked, 2);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
