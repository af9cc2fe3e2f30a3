// Tests fetching the selected files and saving them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "catalogue/stub_stream.h"
#include "fakes/downloader_fixture.h"

using Krell::Networking::ConnectionError;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

namespace {

/// What a stream in memory has of blocks.
class Blocks : public QUtils::PMemStream {
 public:
  static bool heldBy(const QUtils::PMemStream& stream) { return stream.*&Blocks::head != nullptr; }
};

class FileDownload : public DownloaderFixture {
 protected:
  void SetUp() override { startGetter(); }

  /// Adds a file to the list and to the server.
  void add(const std::string& name, const std::string& body, std::int64_t size) {
    addEntry(name, name, size);
    network.respond("/lib/" + name, body);
  }
  void add(const std::string& name, const std::string& body) {
    add(name, body, static_cast<std::int64_t>(body.size()));
  }
  void addEntry(const std::string& localName, const std::string& remoteName, std::int64_t size) {
    list.resizeList(list.count + 1, false);
    ListFileEntry& entry = list.entries[static_cast<std::size_t>(list.count - 1)];
    entry.localName = localName.c_str();
    entry.remoteName = remoteName.c_str();
    entry.size = size;
  }
  /// f0, f1, ... with the bodies "0", "1", ...
  void addNumbered(int count) {
    for (int i = 0; i < count; ++i)
      add("f" + std::to_string(i), std::to_string(i));
  }

  using BodyStream = QUtils::PMemStreamGrowStep<16384>;

  /// Notes, whenever a request is asked about, its tag and its stream.
  void watchStreams() {
    callback.abortAnswer = [&](auto* request, auto*, auto*) {
      const auto* slot = reinterpret_cast<const RequestSlot*>(request);
      streams[slot->tag] = dynamic_cast<BodyStream*>(slot->stream);
      EXPECT_NE(streams[slot->tag], nullptr) << "a stream of another kind";
      if (onRequest) onRequest(slot->tag);
      return 0;
    };
  }

  DownloaderImpl::ListFile list;
  std::map<std::uint32_t, BodyStream*> streams;
  std::function<void(std::uint32_t tag)> onRequest;
};

TEST_F(FileDownload, SavesASingleFileInTheDrain) {
  add("maps/oak.tx", "oak", 3);
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("setProgressText: Downloading files",
                          "setProgressText: Downloading files (0MB / 0MB)",
                          "setProgressRange: 1000", "setProgressValue: 0", "beginProgress",
                          "logStage: Downloading file \"maps/oak.tx\" (3 bytes)",
                          "setProgressValue: 1000", "endProgress"));
  EXPECT_THAT(network.log(),
              ElementsAre("waitAvailable() -> 0",
                          "request(0, \"/lib/maps/oak.tx\", 1, not null, null, null)",
                          "waitForRequestCompletion(0, null)"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("maps/oak.tx", "oak")));
  EXPECT_EQ(callback.calls()[5].format, "Downloading file \"%s\" (%lli bytes)");
}

TEST_F(FileDownload, ShowsNoProgressWithoutATotal) {
  add("a", "body", 0);
  add("b", "body", 0);
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("setProgressText: Downloading files",
                          "logStage: Downloading file \"a\" (0 bytes)",
                          "logStage: Downloading file \"b\" (0 bytes)", "endProgress"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a", "body"), Pair("b", "body")));
}

TEST_F(FileDownload, SavesAFinishedBodyBeforeItsClientIsUsedAgain) {
  addNumbered(7);
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(callback.textsOf("logStage"),
              ElementsAre("Downloading file \"f0\" (1 bytes)", "Downloading file \"f1\" (1 bytes)",
                          "Downloading file \"f2\" (1 bytes)", "Downloading file \"f3\" (1 bytes)",
                          "Downloading file \"f4\" (1 bytes)", "Saving file \"f0\"",
                          "Downloading file \"f5\" (1 bytes)", "Saving file \"f1\"",
                          "Downloading file \"f6\" (1 bytes)"));
  EXPECT_THAT(
      network.log(),
      ElementsAre("waitAvailable() -> 0", "request(0, \"/lib/f0\", 1, not null, null, null)",
                  "waitAvailable() -> 1", "request(1, \"/lib/f1\", 1, not null, null, null)",
                  "waitAvailable() -> 2", "request(2, \"/lib/f2\", 1, not null, null, null)",
                  "waitAvailable() -> 3", "request(3, \"/lib/f3\", 1, not null, null, null)",
                  "waitAvailable() -> 4", "request(4, \"/lib/f4\", 1, not null, null, null)",
                  "waitAvailable() -> 0", "request(0, \"/lib/f5\", 1, not null, null, null)",
                  "waitAvailable() -> 1", "request(1, \"/lib/f6\", 1, not null, null, null)",
                  "waitForRequestCompletion(0, null)", "waitForRequestCompletion(1, null)",
                  "waitForRequestCompletion(2, null)", "waitForRequestCompletion(3, null)",
                  "waitForRequestCompletion(4, null)"));
  EXPECT_THAT(localTree(),
              ElementsAre(Pair("f0", "0"), Pair("f1", "1"), Pair("f2", "2"), Pair("f3", "3"),
                          Pair("f4", "4"), Pair("f5", "5"), Pair("f6", "6")));
}

TEST_F(FileDownload, FollowsTheOrderOfCompletion) {
  addNumbered(7);
  network.finishInOrder({"/lib/f3", "/lib/f5", "/lib/f0"});
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(callback.textsOf("logStage"),
              ElementsAre("Downloading file \"f0\" (1 bytes)", "Downloading file \"f1\" (1 bytes)",
                          "Downloading file \"f2\" (1 bytes)", "Downloading file \"f3\" (1 bytes)",
                          "Downloading file \"f4\" (1 bytes)", "Saving file \"f3\"",
                          "Downloading file \"f5\" (1 bytes)", "Saving file \"f5\"",
                          "Downloading file \"f6\" (1 bytes)"));
  EXPECT_THAT(localTree(),
              ElementsAre(Pair("f0", "0"), Pair("f1", "1"), Pair("f2", "2"), Pair("f3", "3"),
                          Pair("f4", "4"), Pair("f5", "5"), Pair("f6", "6")));
}

TEST_F(FileDownload, PassesTagAndSizeWithEachRequest) {
  addEntry("a", "a", 111);
  addEntry("b", "b", 222);
  network.respond("/lib/a", "1");
  network.respond("/lib/b", "2");
  std::vector<std::string> told;
  callback.abortAnswer = [&](auto* request, auto*, auto*) {
    const auto* slot = reinterpret_cast<const RequestSlot*>(request);
    told.push_back(std::to_string(slot->tag) + ": " + std::to_string(slot->expectedSize));
    return 0;
  };
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(told, ElementsAre("0: 111", "1: 222"));
}

TEST_F(FileDownload, KeepsBodiesOfReusedClientsApart) {
  add("long", std::string(100000, 'L'));
  add("f1", "1");
  add("f2", "2");
  add("f3", "3");
  add("f4", "4");
  add("short", "S");
  add("empty", "");
  network.respond("/lib/empty", FakeResponse{});
  add("f7", std::string(16384, '7'));
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_EQ(localFile("long"), std::string(100000, 'L'));
  EXPECT_EQ(localFile("short"), "S");
  EXPECT_TRUE(std::filesystem::exists(directory.path() / "empty"));
  EXPECT_EQ(localFile("empty"), "");
  EXPECT_EQ(localFile("f7"), std::string(16384, '7'));
}

TEST_F(FileDownload, GivesEachClientAStreamOfItsOwn) {
  addNumbered(7);
  watchStreams();
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  const std::set<BodyStream*> five = {streams[0], streams[1], streams[2], streams[3], streams[4]};
  EXPECT_THAT(five, testing::SizeIs(5));
  EXPECT_EQ(streams[5], streams[0]);
  EXPECT_EQ(streams[6], streams[1]);
}

TEST_F(FileDownload, EmptiesAReusedStreamButKeepsItsBlocks) {
  addNumbered(6);
  watchStreams();
  onRequest = [&](std::uint32_t tag) {
    EXPECT_EQ(streams[tag]->GetSize(), 0) << tag;
    EXPECT_EQ(Blocks::heldBy(*streams[tag]), tag == 5) << tag;
  };
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(streams, testing::SizeIs(6));
}

TEST_F(FileDownload, FreesTheBlocksOfEachStreamInTheDrain) {
  addNumbered(3);
  FakeResponse notFound;
  notFound.status = 404;
  notFound.pieces = {"no such file"};
  network.respond("/lib/f1", notFound);
  watchStreams();
  onRequest = [&](std::uint32_t tag) {
    if (tag == 0) return;
    EXPECT_EQ(streams[tag - 1]->GetSize(), 0) << tag;
    EXPECT_FALSE(Blocks::heldBy(*streams[tag - 1])) << tag;
  };
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(streams, testing::SizeIs(3));
}

TEST_F(FileDownload, SavesBodiesAroundTheSizesOfItsBuffers) {
  const std::size_t sizes[] = {0, 1, 16383, 16384, 16385, 32767, 32768, 32769, 49152, 0, 65536};
  std::map<std::string, std::string> expected;
  for (const std::size_t size : sizes) {
    const std::string name = "f" + std::to_string(10 + list.count);
    std::string body(size, 'x');
    if (size > 0) body.back() = '$';
    expected[name] = body;
    add(name, body);
  }
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_TRUE(localTree() == expected) << localTree().size() << " files";
}

TEST_F(FileDownload, FetchesALossyMapUnderItsRemoteName) {
  addEntry("maps/oak.tx", "maps/oak.jpeg.tx", 5);
  network.respond("/lib/maps/oak.jpeg.tx", "lossy");
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(callback.textsOf("logStage"),
              ElementsAre("Downloading file \"maps/oak.jpeg.tx\" (5 bytes)"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("maps/oak.tx", "lossy")));
}

TEST_F(FileDownload, SavesALossyMapUnderItsLocalName) {
  addEntry("maps/oak.tx", "maps/oak.jpeg.tx", 5);
  network.respond("/lib/maps/oak.jpeg.tx", "lossy");
  addNumbered(5);
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(callback.textsOf("logStage"), testing::Contains("Saving file \"maps/oak.tx\""));
}

TEST_F(FileDownload, EncodesTheRequestPath) {
  addEntry("a b/\xC3\xA9.png", "a b/\xC3\xA9.png", 1);
  network.respond("/lib/a%20b/%C3%A9.png", "x");
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/a%20b/%C3%A9.png"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a b/\xC3\xA9.png", "x")));
}

TEST_F(FileDownload, ReplacesFilesInPlace) {
  writeFile(directory / "a", "a much longer file than the new one");
  add("a", "new");
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(localTree(), ElementsAre(Pair("a", "new")));
}

TEST_F(FileDownload, SavesRootedPathsBelowTheTarget) {
  addEntry("/etc/x", "/etc/x", 1);
  addEntry("\\\\server\\share\\y", "\\\\server\\share\\y", 1);
  network.respond("/lib/etc/x", "X");
  network.respond("/lib/server/share/y", "Y");
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(localTree(), ElementsAre(Pair("etc/x", "X"), Pair("server/share/y", "Y")));
}

TEST_F(FileDownload, DoesNotCompareTheListedSize) {
  add("a", "body", 99999);
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_EQ(localFile("a"), "body");
}

// Progress.

TEST_F(FileDownload, ShowsMegabytesOfTheTotal) {
  add("a", std::string(2500000, 'a'));
  add("b", std::string(7500000, 'b'));
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(callback.textsOf("setProgressText"),
              ElementsAre("Downloading files", "Downloading files (0MB / 10MB)",
                          "Downloading files (2MB / 10MB)", "Downloading files (10MB / 10MB)"));
  EXPECT_THAT(callback.textsOf("setProgressValue"), ElementsAre("0", "250", "1000"));
}

TEST_F(FileDownload, StartsABatchOfItsOwn) {
  add("a", "A", 3);
  add("b", "B", 4);
  HttpGetter& getter = *downloader.httpGetter;
  getter.lastPermille = 1000;
  getter.receivedBytes = 10;
  network.shutDownAtWait(1);
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_EQ(getter.lastPermille, -1);
  EXPECT_EQ(getter.lastMegabytes, 0U);
  EXPECT_EQ(getter.totalBytes, 7);
  EXPECT_EQ(getter.receivedBytes, 0);
  EXPECT_STREQ(getter.phaseText.text(), "Downloading files");
}

TEST_F(FileDownload, ShowsProgressForATotalOfOneByte) {
  add("a", "A", 1);
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(callback.textsOf("setProgressRange"), ElementsAre("1000"));
  EXPECT_EQ(callback.count("beginProgress"), 1U);
}

TEST_F(FileDownload, SurvivesATotalThatDoesNotFit) {
  add("a", "A", std::numeric_limits<std::int64_t>::max());
  add("b", "B", std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_EQ(downloader.httpGetter->totalBytes, std::numeric_limits<std::int64_t>::max());
  EXPECT_THAT(callback.textsOf("setProgressRange"), ElementsAre("1000"));
  EXPECT_THAT(callback.textsOf("logStage"),
              ElementsAre("Downloading file \"a\" (9223372036854775807 bytes)",
                          "Downloading file \"b\" (9223372036854775807 bytes)"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a", "A"), Pair("b", "B")));
}

TEST_F(FileDownload, SurvivesNegativeSizes) {
  add("a", "A", -5);
  add("b", "B", std::numeric_limits<std::int64_t>::min());
  add("c", "C", std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_THAT(callback.textsOf("setProgressRange"), IsEmpty());
  EXPECT_EQ(callback.count("beginProgress"), 0U);
  EXPECT_THAT(callback.textsOf("setProgressText"), ElementsAre("Downloading files"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a", "A"), Pair("b", "B"), Pair("c", "C")));
}

// Failures.

TEST_F(FileDownload, StopsAtAFailedDownloadWhileClientsAreReused) {
  addNumbered(10);
  FakeResponse notFound;
  notFound.status = 404;
  network.respond("/lib/f2", notFound);
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/f0", "/lib/f1", "/lib/f2", "/lib/f3", "/lib/f4",
                                              "/lib/f5", "/lib/f6"));
  EXPECT_THAT(network.log().back(), "waitForRequestCompletion(4, null)");
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadFiles] -1: Downloading \"f2\" file failed | "
                          "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("f0", "0"), Pair("f1", "1")));
  const auto transcript = callback.transcript();
  ASSERT_GE(transcript.size(), 2U);
  EXPECT_THAT(transcript[transcript.size() - 2], StartsWith("reportError: "));
  EXPECT_EQ(transcript.back(), "endProgress");
}

TEST_F(FileDownload, DropsAllThatRunsWhenADownloadFails) {
  addNumbered(10);
  FakeResponse broken;
  broken.status = 0;
  broken.error = ConnectionError{0x1002, 111};
  network.respond("/lib/f2", broken);
  network.finishInOrder({"/lib/f2"});
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(
      network.log(),
      ElementsAre("waitAvailable() -> 0", "request(0, \"/lib/f0\", 1, not null, null, null)",
                  "waitAvailable() -> 1", "request(1, \"/lib/f1\", 1, not null, null, null)",
                  "waitAvailable() -> 2", "request(2, \"/lib/f2\", 1, not null, null, null)",
                  "waitAvailable() -> 3", "request(3, \"/lib/f3\", 1, not null, null, null)",
                  "waitAvailable() -> 4", "request(4, \"/lib/f4\", 1, not null, null, null)",
                  "waitAvailable() -> 2", "waitForRequestCompletion(0, null)",
                  "waitForRequestCompletion(1, null)", "waitForRequestCompletion(3, null)",
                  "waitForRequestCompletion(4, null)"));
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadFiles] -1: Downloading \"f2\" file failed | "
                          "[HttpGetter::responseErrorCb] -1: Connection error: reason=2 "
                          "extraF=1000 underlying=111"));
  EXPECT_THAT(localTree(), IsEmpty());
}

TEST_F(FileDownload, NamesTheRemoteNameOfAFailedDownload) {
  addEntry("maps/oak.tx", "maps/oak.jpeg.tx", 5);
  addNumbered(5);
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadFiles] -1: Downloading \"maps/oak.jpeg.tx\" "
                          "file failed | [HttpDldDone::expectStatus] -1: Unexpected HTTP status "
                          "(404)"));
}

TEST_F(FileDownload, ReportsAFailedStatusInTheDrainAsItIs) {
  addEntry("a", "a", 5);
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("setProgressText: Downloading files",
                          "setProgressText: Downloading files (0MB / 0MB)",
                          "setProgressRange: 1000", "setProgressValue: 0", "beginProgress",
                          "logStage: Downloading file \"a\" (5 bytes)",
                          "reportError: [HttpDldDone::expectStatus] -1: Unexpected HTTP status "
                          "(404)",
                          "endProgress"));
  EXPECT_THAT(localTree(), IsEmpty());
}

TEST_F(FileDownload, ReportsABrokenTransferInTheDrainAsItIs) {
  addNumbered(3);
  FakeResponse broken;
  broken.pieces = {"1"};
  broken.error = ConnectionError{7, 18};
  network.respond("/lib/f1", broken);
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[HttpGetter::responseErrorCb] -1: Connection error: reason=7 extraF=0 "
                          "underlying=18"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("f0", "0")));
}

TEST_F(FileDownload, ReportsOnlyTheFirstFailure) {
  addEntry("a", "a", 1);
  addEntry("b", "b", 1);
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)"));
}

TEST_F(FileDownload, StopsAtARefusedRequest) {
  addNumbered(4);
  network.refuseRequest("/lib/f2", "Out of resources");
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/f0", "/lib/f1"));
  EXPECT_THAT(callback.textsOf("logStage"),
              ElementsAre("Downloading file \"f0\" (1 bytes)", "Downloading file \"f1\" (1 bytes)",
                          "Downloading file \"f2\" (1 bytes)"));
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadFiles] -1: Requesting download for \"f2\" file "
                          "failed | [HttpClient::request] -1: Out of resources"));
  EXPECT_THAT(localTree(), IsEmpty());
}

TEST_F(FileDownload, SavesBeforeARefusedRequestStopsIt) {
  addNumbered(7);
  network.refuseRequest("/lib/f5", "Out of resources");
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadFiles] -1: Requesting download for \"f5\" file "
                          "failed | [HttpClient::request] -1: Out of resources"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("f0", "0")));
}

TEST_F(FileDownload, NamesTheRemoteNameOfARefusedRequest) {
  addEntry("maps/oak.tx", "maps/oak.jpeg.tx", 5);
  network.refuseRequest("/lib/maps/oak.jpeg.tx", "Out of resources");
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadFiles] -1: Requesting download for "
                          "\"maps/oak.jpeg.tx\" file failed | [HttpClient::request] -1: Out of "
                          "resources"));
}

TEST_F(FileDownload, StopsWhenThePoolIsShuttingDown) {
  addNumbered(4);
  network.shutDownAtWait(3);
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/f0", "/lib/f1"));
  EXPECT_THAT(callback.errors(),
              ElementsAre("[HttpGetter::waitAvailable] -1: Could not obtain client, subsystem is "
                          "shutting down"));
  EXPECT_THAT(localTree(), IsEmpty());
  EXPECT_EQ(callback.count("endProgress"), 1U);
}

TEST_F(FileDownload, StopsAtAFailedSaveWhileClientsAreReused) {
  addNumbered(7);
  std::filesystem::create_directory(directory.path() / "f0");
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(network.requests(),
              ElementsAre("/lib/f0", "/lib/f1", "/lib/f2", "/lib/f3", "/lib/f4"));
  EXPECT_THAT(callback.textsOf("logStage"),
              ElementsAre("Downloading file \"f0\" (1 bytes)", "Downloading file \"f1\" (1 bytes)",
                          "Downloading file \"f2\" (1 bytes)", "Downloading file \"f3\" (1 bytes)",
                          "Downloading file \"f4\" (1 bytes)", "Saving file \"f0\"",
                          "Downloading file \"f5\" (1 bytes)"));
  EXPECT_THAT(
      callback.errors(),
      ElementsAre(StartsWith("[DownloaderImpl::downloadFiles] -1: Requesting download for "
                             "\"f5\" file failed | [DownloaderImpl::saveFile] -1: Could not "
                             "create file \"f0\" | [PFileStream::Create] 5: (5) ")));
  EXPECT_THAT(localTree(), IsEmpty());
}

TEST_F(FileDownload, ReportsAFailedSaveInTheDrainAsItIs) {
  addNumbered(3);
  std::filesystem::create_directory(directory.path() / "f1");
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(
      callback.errors(),
      ElementsAre(StartsWith("[DownloaderImpl::saveFile] -1: Could not create file \"f1\" | "
                             "[PFileStream::Create] 5: (5) ")));
  EXPECT_THAT(localTree(), ElementsAre(Pair("f0", "0")));
}

TEST_F(FileDownload, StopsWhenTheHostAborts) {
  addNumbered(7);
  int asked = 0;
  callback.abortAnswer = [&](auto*, auto*, auto*) { return ++asked > 1 ? 9 : 0; };
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadFiles] -1: Downloading \"f1\" file failed | "
                          "[HttpGetter::responseProgressCb] -1: Download aborted (9)"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("f0", "0")));
}

TEST_F(FileDownload, WorksAgainAfterAFailure) {
  addNumbered(7);
  FakeResponse notFound;
  notFound.status = 404;
  network.respond("/lib/f2", notFound);
  EXPECT_EQ(downloader.downloadFiles(list), -1);
  network.respond("/lib/f2", "2");
  EXPECT_EQ(downloader.downloadFiles(list), 0);
  EXPECT_EQ(localTree().size(), 7U);
}

// Saving.

class SaveFile : public DownloaderFixture {
 protected:
  void save(const char* localName) { downloader.saveFile(error, localName, body); }

  StubStream body;
  ErrorChain error;
};

TEST_F(SaveFile, MakesTheDirectoriesOnTheWay) {
  fill(body, "content");
  save("a/b\\c.tx");
  EXPECT_FALSE(error);
  EXPECT_THAT(localTree(), ElementsAre(Pair("a/b/c.tx", "content")));
}

TEST_F(SaveFile, WritesIntoTheFileThatIsThere) {
  writeFile(directory / "a", "a much longer file than the new one");
  std::filesystem::create_hard_link(directory.path() / "a", directory.path() / "b");
  fill(body, "new");
  save("a");
  EXPECT_FALSE(error);
  EXPECT_THAT(localTree(), ElementsAre(Pair("a", "new"), Pair("b", "new")));
}

TEST_F(SaveFile, SavesTheBodyFromItsBeginning) {
  fill(body, "content");
  body.Seek(3);
  save("a");
  EXPECT_EQ(localFile("a"), "content");
}

TEST_F(SaveFile, CopiesInChunksOf32768Bytes) {
  fill(body, std::string(70000, 'x'));
  save("a");
  EXPECT_FALSE(error);
  EXPECT_THAT(body.readSizes, ElementsAre(32768, 32768, 4464));
  EXPECT_EQ(localFile("a"), std::string(70000, 'x'));
}

TEST_F(SaveFile, SavesAnEmptyBody) {
  save("a");
  EXPECT_FALSE(error);
  EXPECT_THAT(localTree(), ElementsAre(Pair("a", "")));
}

TEST_F(SaveFile, NamesTheListedPathWhenADirectoryCannotBeMade) {
  writeFile(directory / "a", "a file in the way");
  fill(body, "content");
  save("a/b.tx");
  EXPECT_THAT(chainText(error),
              AllOf(StartsWith("[DownloaderImpl::saveFile] -1: Could not create directory path to "
                               "\"a/b.tx\" | [createPathImpl] 183: "),
                    EndsWith("\\a\\ already exists, but is not a valid directory")));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a", "a file in the way")));
}

TEST_F(SaveFile, NamesTheListedPathWhenTheFileCannotBeMade) {
  std::filesystem::create_directories(directory.path() / "a" / "b.tx");
  fill(body, "content");
  save("a/b.tx");
  EXPECT_THAT(chainText(error),
              StartsWith("[DownloaderImpl::saveFile] -1: Could not create file \"a/b.tx\" | "
                         "[PFileStream::Create] 5: (5) "));
}

TEST_F(SaveFile, RefusesAPathOf260Bytes) {
  const std::string longest(259 - (directory / "").size(), 'x');
  fill(body, "content");
  save(longest.c_str());
  EXPECT_FALSE(error) << chainText(error);
  EXPECT_EQ(localFile(longest), "content");
  for (const std::size_t more : {1, 763, 764, 765}) {
    const std::string name = longest + std::string(more, 'y');
    save(name.c_str());
    EXPECT_EQ(std::string(error.head->message),
              ("Could not create directory path to \"" + name + "\"").substr(0, 510));
    EXPECT_STREQ(error.head->tag, "DownloaderImpl::saveFile");
    EXPECT_THAT(chainText(error), EndsWith(" | [createPathImpl] -1: Path length exceeds MAX_PATH"));
  }
  EXPECT_THAT(localTree(), ElementsAre(Pair(longest, "content")));
}

TEST_F(SaveFile, RefusesAPathAboveARelativeTarget) {
  settings.targetDirectory = "lib";
  fill(body, "content");
  save("../../x");
  EXPECT_EQ(chainText(error),
            "[DownloaderImpl::saveFile] -1: Could not create directory path to \"../../x\" | "
            "[createPathImpl] -1: Empty string argument");
}

TEST_F(SaveFile, ReportsABodyThatYieldsFewerBytes) {
  fill(body, "1234");
  body.claimedSize = 10;
  save("a");
  EXPECT_EQ(chainText(error),
            "[DownloaderImpl::saveFile] -1: Error saving stream for \"a\" | "
            "[DownloaderImpl::saveFile] -1: IO size mismatch: size=10, bytes read=4, bytes "
            "written=4");
  EXPECT_EQ(localFile("a"), "1234");
}

TEST_F(SaveFile, TrustsTheSizeThatTheBodyClaims) {
  fill(body, "1234");
  body.claimedSize = 2;
  save("a");
  EXPECT_FALSE(error);
  EXPECT_EQ(localFile("a"), "12");
}

TEST_F(SaveFile, ReportsABodyWithoutASize) {
  fill(body, "1234");
  body.claimedSize = -1;
  save("a");
  EXPECT_EQ(chainText(error),
            "[DownloaderImpl::saveFile] -1: Error saving stream for \"a\" | "
            "[DownloaderImpl::saveFile] -1: IO size mismatch: size=-1, bytes read=0, bytes "
            "written=0");
  EXPECT_EQ(localFile("a"), "");
}

TEST_F(SaveFile, ReportsABodyThatCannotBeRewound) {
  fill(body, "1234");
  body.seekable = false;
  save("a");
  EXPECT_EQ(chainText(error),
            "[DownloaderImpl::saveFile] -1: Error saving stream for \"a\" | [StubStream::Seek] "
            "131: not seekable");
  EXPECT_EQ(localFile("a"), "");
}

TEST_F(SaveFile, ReportsABodyThatCannotBeRead) {
  fill(body, std::string(40000, 'x'));
  body.goodReads = 1;
  save("a");
  EXPECT_EQ(chainText(error),
            "[DownloaderImpl::saveFile] -1: Error saving stream for \"a\" | [StubStream::Read] 23: "
            "unreadable");
  EXPECT_EQ(localFile("a"), std::string(32768, 'x'));
}

}  // namespace
