// Tests the stamp on a disk that fails: what is reported to the host and what is not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fakes/downloader_fixture.h"
#include "support/failing_files.h"

using QUtils::PMemStream;
using testing::IsEmpty;

namespace {

class StampOnAFailingDisk : public DownloaderFixture {
 protected:
  void SetUp() override { startGetter(); }
  void TearDown() override { FailingFiles::reset(); }

  int writeStamp() {
    PMemStream stamp(4096);
    fill(stamp, "stamp 2");
    return downloader.writeLocalStamp(stamp);
  }

  /// Fetches a stamp that is the same as the local one.
  int check() {
    network.respond("/lib/id.txt", "stamp");
    PMemStream stamp(4096);
    return downloader.readRemoteIdFile(stamp);
  }
};

TEST_F(StampOnAFailingDisk, FailsSilentlyWhenItCannotBeWritten) {
  writeFile(directory / "id.txt", "stamp 1");
  FailingFiles::writes = true;
  EXPECT_EQ(writeStamp(), -1);
  FailingFiles::reset();
  EXPECT_THAT(callback.calls(), IsEmpty());
  EXPECT_EQ(localFile("id.txt"), "") << "the next run starts over";
}

TEST_F(StampOnAFailingDisk, FailsSilentlyWhenItsFileCannotBeClosed) {
  FailingFiles::closes = true;
  EXPECT_EQ(writeStamp(), -1);
  FailingFiles::reset();
  EXPECT_THAT(callback.calls(), IsEmpty());
  EXPECT_EQ(localFile("id.txt"), "stamp 2");
}

TEST_F(StampOnAFailingDisk, IsDifferentWhenItCannotBeRead) {
  writeFile(directory / "id.txt", "stamp");
  FailingFiles::reads = true;
  const int result = check();
  FailingFiles::reset();
  EXPECT_EQ(result, 1);
  EXPECT_EQ(callback.transcript().back(), "logStage: Local and remote stamp files are different.");
  EXPECT_THAT(callback.errors(), IsEmpty());
}

TEST_F(StampOnAFailingDisk, IsComparedAllTheSameWhenItsFileCannotBeClosed) {
  writeFile(directory / "id.txt", "stamp");
  FailingFiles::closes = true;
  const int result = check();
  FailingFiles::reset();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(callback.transcript().back(),
            "logStage: Local and remote stamp files match. Nothing to do.");
  EXPECT_THAT(callback.errors(), IsEmpty());
}

TEST_F(StampOnAFailingDisk, IsTheEndOfARunThatFails) {
  network.respond("/lib/id.txt", "stamp 2");
  network.respond("/lib/filelist.json", "[]\n");
  FailingFiles::writes = true;
  const int result = downloader.download();
  FailingFiles::reset();
  EXPECT_EQ(result, -1);
  EXPECT_THAT(callback.errors(), IsEmpty());
  EXPECT_EQ(callback.count("logWarning"), 0U);
  EXPECT_EQ(callback.transcript().back(), "endProgress") << "of the list";
}

}  // namespace
