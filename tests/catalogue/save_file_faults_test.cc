// Tests saving files to a disk that fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "fakes/downloader_fixture.h"
#include "support/failing_files.h"

using QUtils::PMemStream;
using testing::ElementsAre;
using testing::Pair;
using testing::StartsWith;

namespace {

class FileOnAFailingDisk : public DownloaderFixture {
 protected:
  void SetUp() override { startGetter(); }
  void TearDown() override { FailingFiles::reset(); }

  /// The error of saving "content" as "a".
  std::string save() {
    PMemStream body(16384);
    fill(body, "content");
    ErrorChain error;
    downloader.saveFile(error, "a", body);
    FailingFiles::reset();
    return chainText(error);
  }

  /// Fetches f0, f1, ... with the body "content".
  int download(int count) {
    DownloaderImpl::ListFile list;
    list.resizeList(count, true);
    for (int i = 0; i < count; ++i) {
      const std::string name = "f" + std::to_string(i);
      ListFileEntry& entry = list.entries[static_cast<std::size_t>(i)];
      entry.localName = name.c_str();
      entry.remoteName = name.c_str();
      network.respond("/lib/" + name, "content");
    }
    const int result = downloader.downloadFiles(list);
    FailingFiles::reset();
    return result;
  }
};

TEST_F(FileOnAFailingDisk, StaysAsFarAsItWasWritten) {
  writeFile(directory / "a", "old");
  FailingFiles::writes = true;
  EXPECT_THAT(save(), StartsWith("[DownloaderImpl::saveFile] -1: Error saving stream for \"a\" | "
                                 "[PFileStream::Write] 112: (112) "));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a", "")));
}

TEST_F(FileOnAFailingDisk, FailsWhenItCannotBeClosed) {
  FailingFiles::closes = true;
  EXPECT_THAT(save(), StartsWith("[DownloaderImpl::saveFile] -1: Error saving stream for \"a\" | "
                                 "[PFileStream::Close] 1117: (1117) "));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a", "content")));
}

TEST_F(FileOnAFailingDisk, FailsWithTheFirstErrorOfTwo) {
  FailingFiles::writes = true;
  FailingFiles::closes = true;
  const std::string text = save();
  EXPECT_THAT(text, StartsWith("[DownloaderImpl::saveFile] -1: Error saving stream for \"a\" | "
                               "[PFileStream::Write] 112: (112) "));
  EXPECT_EQ(text.find("Close"), std::string::npos);
}

TEST_F(FileOnAFailingDisk, EndsTheDownloadInTheDrain) {
  FailingFiles::writes = true;
  EXPECT_EQ(download(2), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre(StartsWith("[DownloaderImpl::saveFile] -1: Error saving stream for "
                                     "\"f0\" | [PFileStream::Write] 112: (112) ")));
  EXPECT_THAT(localTree(), ElementsAre(Pair("f0", "")));
}

TEST_F(FileOnAFailingDisk, EndsTheDownloadWhileClientsAreReused) {
  FailingFiles::closes = true;
  EXPECT_EQ(download(6), -1);
  EXPECT_THAT(
      callback.errors(),
      ElementsAre(StartsWith("[DownloaderImpl::downloadFiles] -1: Requesting download for \"f5\" "
                             "file failed | [DownloaderImpl::saveFile] -1: Error saving stream for "
                             "\"f0\" | [PFileStream::Close] 1117: (1117) ")));
  EXPECT_THAT(localTree(), ElementsAre(Pair("f0", "content")));
}

}  // namespace
