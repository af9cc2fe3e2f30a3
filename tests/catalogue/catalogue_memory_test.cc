// Tests the catalogue without memory: no name that lost a part of it is ever used, and no entry is
// lost.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "catalogue/list_file.h"
#include "fakes/fake_networking.h"
#include "fakes/recording_callback.h"
#include "fakes/silent_callback.h"
#include "http/http_getter.h"
#include "plugin/downloader.h"
#include "qutils/mem_stream.h"
#include "qutils/stream_content.h"
#include "support/counting_allocator.h"
#include "support/temp_dir.h"

using QUtils::PMemStream;
using testing::AnyOf;
using testing::Each;
using testing::Pair;
using testing::StartsWith;

namespace {

/// A downloader with all that it needs.
class Catalogue {
 public:
  Catalogue() {
    settings.remoteAddress = "http://h/the library";
    settings.proxyMode = PROXY_MODE_DISABLED;
    settings.targetDirectory = (directory / "the target").c_str();
    EXPECT_EQ(downloader.initHttpGetter(), 0);
  }
  ~Catalogue() {
    if (downloader.httpGetter != nullptr) destroyHttpGetter(downloader.httpGetter, true);
  }
  Catalogue(const Catalogue&) = delete;
  Catalogue& operator=(const Catalogue&) = delete;

  FakeNetwork network;
  SilentCallback callback;
  TempDir directory;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
};

TEST(CatalogueMemory, MakesTheWholePathOrNone) {
  for (const PathSide side : {PathSide::kLocal, PathSide::kRemote}) {
    const int failures = failEachAllocation([&](FailingAllocation& failing) {
      Catalogue catalogue;
      catalogue.settings.targetDirectory = "C:\\the target directory";
      QUtils::CharString path;
      const bool complete = completes(
          failing, [&] { path = catalogue.downloader.makeFullPath("some maps\\of oak.tx", side); });
      if (!complete) return;
      EXPECT_STREQ(path.text(), side == PathSide::kLocal
                                    ? "C:/the target directory/some maps/of oak.tx"
                                    : "/the%20library/some%20maps/of%20oak.tx");
    });
    EXPECT_GT(failures, 4);
  }
}

TEST(CatalogueMemory, RequestsTheListOfTheSubPathOrNone) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    Catalogue catalogue;
    catalogue.settings.subPath = "a beta version";
    PMemStream stream(16384);
    completes(failing, [&] { catalogue.downloader.downloadListFile(stream); });
    EXPECT_THAT(catalogue.network.requests(), Each("/a beta version/the%20library/filelist.json"));
  });
  EXPECT_GT(failures, 4);
}

TEST(CatalogueMemory, LosesNoEntryOfTheList) {
  const std::string text =
      "[{\"path\":\"maps/a long name of oak.tx\",\"jpegSize\":4},"
      "{\"path\":\"maps/a long name of ash.tx\",\"download\":\"missing\"}]\n";
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    Catalogue catalogue;
    PMemStream stream(16384);
    EXPECT_FALSE(stream.WriteString(text.c_str()));
    DownloaderImpl::ListFile list;
    int result = -1;
    completes(failing, [&] { result = catalogue.downloader.parseListFile(stream, list); });
    if (result != 0) return;
    ASSERT_EQ(list.count, 2);
    EXPECT_STREQ(list.entries[0].localName.text(), "maps/a long name of oak.tx");
    EXPECT_STREQ(list.entries[0].remoteName.text(), "maps/a long name of oak.jpeg.tx");
    EXPECT_STREQ(list.entries[1].localName.text(), "maps/a long name of ash.tx");
    EXPECT_STREQ(list.entries[1].remoteName.text(), "maps/a long name of ash.tx");
  });
  EXPECT_GT(failures, 20);
}

TEST(CatalogueMemory, SavesEveryFileUnderItsNameOrFails) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    Catalogue catalogue;
    DownloaderImpl::ListFile list;
    list.resizeList(6, true);
    for (int i = 0; i < 6; ++i) {
      const std::string name = "a name/f" + std::to_string(i);
      ListFileEntry& entry = list.entries[static_cast<std::size_t>(i)];
      entry.localName = name.c_str();
      entry.remoteName = name.c_str();
      catalogue.network.respond("/the%20library/a%20name/f" + std::to_string(i), "body");
    }
    int result = -1;
    completes(failing, [&] { result = catalogue.downloader.downloadFiles(list); });
    const auto files = readTree(catalogue.directory / "the target");
    EXPECT_THAT(files, Each(Pair(StartsWith("a name/f"), AnyOf("body", ""))));
    if (result == 0) {
      EXPECT_EQ(files.size(), 6U);
      EXPECT_THAT(files, Each(Pair(testing::_, "body")));
    }
    EXPECT_FALSE(std::filesystem::exists("a name")) << "in the current directory";
    for (const std::string& path : catalogue.network.requests())
      EXPECT_EQ(path.substr(0, 24), "/the%20library/a%20name/");
  });
  EXPECT_GT(failures, 50);
}

TEST(CatalogueMemory, CopiesNothingWithoutAChunk) {
  PMemStream source(64);
  EXPECT_FALSE(source.WriteString("content"));
  EXPECT_FALSE(source.Seek(0));
  PMemStream destination(64);
  ErrorChain error;
  std::int64_t bytesRead = 77;
  std::int64_t bytesWritten = 77;
  FailingAllocation failing(0);
  failing.arm();
  copyStream(error, destination, source, 7, bytesRead, bytesWritten, 4);
  failing.disarm();
  EXPECT_EQ(chainText(error), "[copyStream] -1: Out of memory");
  EXPECT_EQ(bytesRead, 0);
  EXPECT_EQ(bytesWritten, 0);
}

TEST(CatalogueMemory, ReadsNoListWithoutABuffer) {
  RecordingCallback callback;
  DownloaderSettings settings;
  DownloaderImpl downloader{nullptr, {}, &callback, &settings};
  PMemStream stream(16384);
  EXPECT_FALSE(stream.WriteString("[]\n"));
  DownloaderImpl::ListFile list;
  FailingAllocation failing(0);
  failing.arm();
  EXPECT_EQ(downloader.parseListFile(stream, list), -1);
  failing.disarm();
  EXPECT_THAT(callback.transcript(),
              testing::ElementsAre("reportError: [DownloaderImpl::parseListFile] -1: Reading json "
                                   "file list failed"));
}

}  // namespace
