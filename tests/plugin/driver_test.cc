// Tests whole synchronisations: the order of their phases and how they end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "fakes/downloader_fixture.h"

using Krell::Networking::ConnectionError;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

namespace {

class Driver : public DownloaderFixture {
 protected:
  /// A server with two files.
  void publish() {
    network.respond("/lib/id.txt", "stamp 2");
    network.respond("/lib/filelist.json",
                    "[{\"path\":\"a.tx\",\"size\":4},{\"path\":\"maps/b.tx\",\"size\":6}]\n");
    network.respond("/lib/a.tx", "aaaa");
    network.respond("/lib/maps/b.tx", "bbbbbb");
  }

  std::string targetLine() const {
    return "logInfo: Target directory: \"" + directory.path().generic_u8string() + "\"";
  }
  std::string openingLine() const {
    return "logStage: Opening local stamp file \"" + directory / "id.txt" + "\"";
  }
};

TEST_F(Driver, TellsEachPhaseInOrder) {
  publish();
  writeFile(directory / "id.txt", "stamp 1");
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre(
          "logInfo: Remote address: \"http://h/lib\"", targetLine(),
          "logStage: Creating download directory",
          "logInfo: HTTP proxy disabled. Using direct connection.",
          "logStage: Downloading remote stamp file", "setProgressText: Accessing stamp",
          "endProgress", openingLine(), "logStage: Local and remote stamp files are different.",
          "setProgressText: Getting file list", "endProgress", "setProgressText: Downloading files",
          "setProgressText: Downloading files (0MB / 0MB)", "setProgressRange: 1000",
          "setProgressValue: 0", "beginProgress", "logStage: Downloading file \"a.tx\" (4 bytes)",
          "logStage: Downloading file \"maps/b.tx\" (6 bytes)", "setProgressValue: 400",
          "setProgressValue: 1000", "endProgress"));
  EXPECT_THAT(
      network.log(),
      ElementsAre("initialize(5)", "setMode(2)", "setServer(\"h\", 80, null)",
                  "setProxyServer(null, 80)", "setCallbacks(64, not null)",
                  "setHeaders(\"User-Agent: mtldownloader\", 0)", "waitAvailable() -> 0",
                  "request(0, \"/lib/id.txt\", 1, not null, null, null)",
                  "waitForRequestCompletion(0, null)", "waitAvailable() -> 0",
                  "request(0, \"/lib/filelist.json\", 1, not null, null, null)",
                  "waitForRequestCompletion(0, null)", "waitAvailable() -> 0",
                  "request(0, \"/lib/a.tx\", 1, not null, null, null)", "waitAvailable() -> 1",
                  "request(1, \"/lib/maps/b.tx\", 1, not null, null, null)",
                  "waitForRequestCompletion(0, null)", "waitForRequestCompletion(1, null)"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a.tx", "aaaa"), Pair("id.txt", "stamp 2"),
                                       Pair("maps/b.tx", "bbbbbb")));
}

TEST_F(Driver, PassesItsFormatsUnfilled) {
  publish();
  EXPECT_EQ(downloader.download(), 0);
  const auto calls = callback.calls();
  EXPECT_EQ(calls.at(0).format, "Remote address: \"%s\"");
  EXPECT_EQ(calls.at(1).format, "Target directory: \"%s\"");
  EXPECT_EQ(calls.at(2).format, "Creating download directory");
  EXPECT_EQ(calls.at(3).format, "HTTP proxy disabled. Using direct connection.");
  EXPECT_EQ(calls.at(4).format, "Downloading remote stamp file");
}

TEST_F(Driver, StopsWhenTheStampsMatch) {
  publish();
  writeFile(directory / "id.txt", "stamp 2");
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: Remote address: \"http://h/lib\"", targetLine(),
                          "logStage: Creating download directory",
                          "logInfo: HTTP proxy disabled. Using direct connection.",
                          "logStage: Downloading remote stamp file",
                          "setProgressText: Accessing stamp", "endProgress", openingLine(),
                          "logStage: Local and remote stamp files match. Nothing to do."));
  EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("id.txt", "stamp 2")));
}

TEST_F(Driver, DownloadsEverythingWithoutALocalStamp) {
  publish();
  settings.targetDirectory = (directory / "new/deep/target").c_str();
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_THAT(localTree(), ElementsAre(Pair("new/deep/target/a.tx", "aaaa"),
                                       Pair("new/deep/target/id.txt", "stamp 2"),
                                       Pair("new/deep/target/maps/b.tx", "bbbbbb")));
  EXPECT_THAT(callback.errors(), IsEmpty());
  EXPECT_EQ(callback.count("logWarning"), 0U);
}

TEST_F(Driver, DoesNothingTheSecondTime) {
  publish();
  EXPECT_EQ(downloader.download(), 0);
  network.clearLog();
  callback.clear();
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt"));
  EXPECT_EQ(callback.transcript().back(),
            "logStage: Local and remote stamp files match. Nothing to do.");
}

TEST_F(Driver, WritesTheStampForAListWithoutEntries) {
  publish();
  network.respond("/lib/filelist.json", "[]\n");
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt", "/lib/filelist.json"));
  EXPECT_EQ(callback.transcript().back(), "endProgress");
  EXPECT_EQ(callback.count("endProgress"), 2U);
  EXPECT_THAT(localTree(), ElementsAre(Pair("id.txt", "stamp 2")));
}

TEST_F(Driver, WritesTheStampWhenNothingIsSelected) {
  publish();
  network.respond("/lib/filelist.json", "[{\"path\":\"a.tx\",\"download\":\"never\"}]\n");
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_THAT(localTree(), ElementsAre(Pair("id.txt", "stamp 2")));
}

TEST_F(Driver, KeepsTheOldStampWhenAFileFails) {
  publish();
  writeFile(directory / "id.txt", "stamp 1");
  FakeResponse broken;
  broken.pieces = {"bbb"};
  broken.error = ConnectionError{7, 18};
  network.respond("/lib/maps/b.tx", broken);
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[HttpGetter::responseErrorCb] -1: Connection error: reason=7 extraF=0 "
                          "underlying=18"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a.tx", "aaaa"), Pair("id.txt", "stamp 1")));
}

TEST_F(Driver, StartsOverAfterAFailure) {
  publish();
  FakeResponse gone;
  gone.status = 503;
  network.respond("/lib/maps/b.tx", gone);
  EXPECT_EQ(downloader.download(), -1);
  network.clearLog();
  network.respond("/lib/maps/b.tx", "bbbbbb");
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_THAT(network.requests(),
              ElementsAre("/lib/id.txt", "/lib/filelist.json", "/lib/a.tx", "/lib/maps/b.tx"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("a.tx", "aaaa"), Pair("id.txt", "stamp 2"),
                                       Pair("maps/b.tx", "bbbbbb")));
}

TEST_F(Driver, KeepsTheOldStampWhenTheListCannotBeFetched) {
  publish();
  writeFile(directory / "id.txt", "stamp 1");
  FakeResponse gone;
  gone.status = 410;
  network.respond("/lib/filelist.json", gone);
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadListFile] -1: Could not download list file | "
                          "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (410)"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("id.txt", "stamp 1")));
}

TEST_F(Driver, KeepsTheOldStampWhenTheListCannotBeParsed) {
  publish();
  writeFile(directory / "id.txt", "stamp 1");
  network.respond("/lib/filelist.json", "[{\"path\":\"a.tx\"},7]\n");
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt", "/lib/filelist.json"));
  EXPECT_THAT(callback.errors(), ElementsAre("[DownloaderImpl::parseListFile] -1: Parsing json "
                                             "file list failed (object expceted)"));
  EXPECT_THAT(localTree(), ElementsAre(Pair("id.txt", "stamp 1")));
}

TEST_F(Driver, WarnsOfAnEmptyList) {
  publish();
  network.respond("/lib/filelist.json", FakeResponse{});
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(callback.errors(), IsEmpty());
  EXPECT_EQ(callback.transcript().back(), "logWarning: Incorrect size of json file list (0 bytes)");
}

TEST_F(Driver, RequestsNothingWhenAListedPathLeavesTheTarget) {
  publish();
  for (const char* list :
       {"[{\"path\":\"a.tx\"},{\"path\":\"../../x\"}]\n", "[{\"path\":\"a/../../x\"}]\n",
        "[{\"path\":\"..\\\\..\\\\x\"}]\n", "[{\"path\":\"..\"}]\n", "[{\"path\":\".\"}]\n",
        "[{\"path\":\"a/..\"}]\n"}) {
    network.respond("/lib/filelist.json", list);
    network.clearLog();
    callback.clear();
    EXPECT_EQ(downloader.download(), -1) << list;
    EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt", "/lib/filelist.json"));
    EXPECT_THAT(callback.errors(),
                ElementsAre(StartsWith("[DownloaderImpl::parseListFile] -1: Path leaves the target "
                                       "directory: \"")));
    EXPECT_THAT(localTree(), IsEmpty());
  }
}

TEST_F(Driver, StopsWhenTheStampCannotBeFetched) {
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt"));
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp "
                          "file | [HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)"));
}

TEST_F(Driver, FailsWhenTheStampCannotBeWritten) {
  publish();
  std::filesystem::create_directory(directory.path() / "id.txt");
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(callback.transcript().back(),
              StartsWith("logWarning: Creating local stamp file failed: [PFileStream::Create] 5: "
                         "(5) "));
  EXPECT_THAT(callback.errors(), IsEmpty());
  EXPECT_THAT(localTree(), ElementsAre(Pair("a.tx", "aaaa"), Pair("maps/b.tx", "bbbbbb")));
}

TEST_F(Driver, FailsWithASubPathThatNoFileMakes) {
  settings.subPath = "beta";
  network.respond("/lib/beta/id.txt", "stamp 2");
  network.respond("/beta/lib/filelist.json", "[]\n");
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/beta/id.txt", "/beta/lib/filelist.json"));
  EXPECT_THAT(callback.transcript().back(),
              StartsWith("logWarning: Creating local stamp file failed: [PFileStream::Create] 3: "
                         "(3) "));
}

TEST_F(Driver, KeepsTheStampInTheSubPath) {
  settings.subPath = "beta";
  network.respond("/lib/beta/id.txt", "stamp 2");
  network.respond("/beta/lib/filelist.json", "[{\"path\":\"beta/a.tx\",\"size\":1}]\n");
  network.respond("/lib/beta/a.tx", "a");
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_THAT(localTree(), ElementsAre(Pair("beta/a.tx", "a"), Pair("beta/id.txt", "stamp 2")));
}

TEST_F(Driver, ReportsATargetThatCannotBeMade) {
  writeFile(directory / "file", "in the way");
  settings.targetDirectory = (directory / "file/target").c_str();
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(network.log(), IsEmpty());
  EXPECT_EQ(downloader.httpGetter, nullptr);
  ASSERT_EQ(callback.transcript().size(), 4U);
  EXPECT_EQ(callback.transcript()[2], "logStage: Creating download directory");
  ASSERT_EQ(callback.chains().size(), 1U);
  const ErrorRecord* const head = callback.chains()[0].head;
  EXPECT_EQ(head->refCount, 1U) << "held by the host alone";
  EXPECT_THAT(callback.transcript()[3],
              AllOf(StartsWith("reportError: [DownloaderImpl::download] -1: Create download "
                               "directory failed | [createPathImpl] 183: "),
                    EndsWith("\\file\\ already exists, but is not a valid directory")));
}

TEST_F(Driver, ShowsAnAbsentTargetAsEmpty) {
  settings.targetDirectory.release();
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("logInfo: Remote address: \"http://h/lib\"", "logInfo: Target directory: \"\"",
                  "logStage: Creating download directory",
                  "reportError: [DownloaderImpl::download] -1: Create download directory "
                  "failed | [createPathImpl] -1: Empty string argument"));
}

TEST_F(Driver, ShowsAnAbsentAddressAsEmpty) {
  settings.remoteAddress.release();
  network.failSetup("setServer", "No host");
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_EQ(callback.transcript().front(), "logInfo: Remote address: \"\"");
}

TEST_F(Driver, RequestsNothingWhenTheSetupFails) {
  network.failSetup("setServer", "Invalid server");
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(network.requests(), IsEmpty());
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("logInfo: Remote address: \"http://h/lib\"", targetLine(),
                  "logStage: Creating download directory",
                  "logInfo: HTTP proxy disabled. Using direct connection.",
                  "reportError: [DownloaderImpl::initHttpGetter] -1: Could not use download "
                  "URL \"http://h/lib\" | [HttpClientPool::setServer] -1: Invalid server"));
}

TEST_F(Driver, ReusesTheGetterAndReadsTheTargetAnew) {
  publish();
  EXPECT_EQ(downloader.download(), 0);
  network.clearLog();
  callback.clear();
  settings.remoteAddress = "https://elsewhere/other";
  settings.proxyMode = PROXY_MODE_EXPLICIT;
  settings.proxyAddress = "proxy.lan";
  settings.targetDirectory = (directory / "second").c_str();
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_EQ(network.log().front(), "waitAvailable() -> 0");
  EXPECT_THAT(network.requests(),
              ElementsAre("/lib/id.txt", "/lib/filelist.json", "/lib/a.tx", "/lib/maps/b.tx"));
  EXPECT_EQ(callback.transcript()[0], "logInfo: Remote address: \"https://elsewhere/other\"");
  EXPECT_EQ(callback.count("logInfo"), 2U);
  EXPECT_EQ(localFile("second/id.txt"), "stamp 2");
  EXPECT_EQ(localFile("second/maps/b.tx"), "bbbbbb");
}

TEST_F(Driver, GivesANewDownloaderTheNewSettings) {
  publish();
  EXPECT_EQ(downloader.download(), 0);
  network.clearLog();
  settings.remoteAddress = "https://elsewhere:8443/other";
  settings.proxyMode = PROXY_MODE_EXPLICIT;
  settings.proxyAddress = "proxy.lan:3128";
  network.respond("/other/id.txt", "stamp 2");
  DownloaderImpl second{nullptr, {}, &callback, &settings};
  EXPECT_EQ(second.download(), 0);
  destroyHttpGetter(second.httpGetter, true);
  EXPECT_THAT(network.log(), testing::IsSupersetOf({"setServer(\"elsewhere\", 8443, null)",
                                                    "setProxyServer(\"proxy.lan\", 3128)"}));
  EXPECT_THAT(network.requests(), ElementsAre("/other/id.txt"));
}

TEST_F(Driver, SetsUpAgainAfterAFailedSetup) {
  publish();
  settings.remoteAddress = "ftp://h/lib";
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_EQ(downloader.httpGetter, nullptr);
  settings.remoteAddress = "http://h/lib";
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_EQ(localFile("id.txt"), "stamp 2");
}

TEST_F(Driver, GoesOnWhenTheTargetCanBeMadeTheNextTime) {
  publish();
  writeFile(directory / "file", "in the way");
  settings.targetDirectory = (directory / "file/target").c_str();
  EXPECT_EQ(downloader.download(), -1);
  settings.targetDirectory = (directory / "other").c_str();
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_EQ(localFile("other/id.txt"), "stamp 2");
}

TEST_F(Driver, WritesTheStampThatItCompared) {
  publish();
  callback.abortAnswer = [&](auto*, auto*, auto*) {
    // Published again during the run: the next one must see a difference.
    network.respond("/lib/id.txt", "stamp 3");
    return 0;
  };
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_EQ(localFile("id.txt"), "stamp 2");
  network.clearLog();
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_EQ(network.requests().size(), 4U);
  EXPECT_EQ(localFile("id.txt"), "stamp 3");
}

TEST_F(Driver, KeepsTheOldStampWhileFilesAreFetched) {
  publish();
  writeFile(directory / "id.txt", "stamp 1");
  std::vector<std::string> stamps;
  callback.abortAnswer = [&](auto*, auto*, auto*) {
    stamps.push_back(localFile("id.txt"));
    return 0;
  };
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_THAT(stamps, testing::Each("stamp 1"));
  EXPECT_EQ(stamps.size(), 4U);
  EXPECT_EQ(localFile("id.txt"), "stamp 2");
}

TEST_F(Driver, ReadsTheSubPathAnew) {
  publish();
  EXPECT_EQ(downloader.download(), 0);
  network.clearLog();
  settings.subPath = "beta";
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/beta/id.txt"));
}

TEST_F(Driver, EndsWhenTheHostAborts) {
  publish();
  int asked = 0;
  callback.abortAnswer = [&](auto*, auto*, auto*) { return ++asked == 3 ? 4 : 0; };
  EXPECT_EQ(downloader.download(), -1);
  EXPECT_THAT(callback.errors(), ElementsAre("[HttpGetter::responseProgressCb] -1: Download "
                                             "aborted (4)"));
  EXPECT_THAT(localTree(), IsEmpty());
}

TEST_F(Driver, DoesNotReadPercentSignsAsFormats) {
  settings.remoteAddress = "http://h/%s%n";
  network.respond("/%25s%25n/id.txt", "stamp 2");
  network.respond("/%25s%25n/filelist.json", "[{\"path\":\"%s%n.tx\"}]\n");
  network.respond("/%25s%25n/%25s%25n.tx", "a");
  EXPECT_EQ(downloader.download(), 0);
  EXPECT_EQ(callback.transcript()[0], "logInfo: Remote address: \"http://h/%s%n\"");
  EXPECT_EQ(localFile("%s%n.tx"), "a");
}

}  // namespace
