// Tests the stamp: where it lies, fetching and comparing it, writing it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "catalogue/stub_stream.h"
#include "fakes/downloader_fixture.h"
#include "qutils/stream_content.h"

using Krell::Networking::ConnectionError;
using QUtils::PMemStream;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class Stamp : public DownloaderFixture {
 protected:
  void SetUp() override { startGetter(); }

  /// "Opening local stamp file ..." as logged.
  std::string openingLine(const std::string& name = "id.txt") const {
    return "logStage: Opening local stamp file \"" + directory / name + "\"";
  }

  PMemStream stamp{4096};
};

using StampPath = Stamp;
using StampCheck = Stamp;
using StampWriter = Stamp;

TEST_F(StampPath, LiesDirectlyBelowTheBases) {
  EXPECT_STREQ(downloader.stampPath(PathSide::kRemote).text(), "/lib/id.txt");
  settings.targetDirectory = "C:\\data";
  EXPECT_STREQ(downloader.stampPath(PathSide::kLocal).text(), "C:/data/id.txt");
  settings.subPath = "";
  EXPECT_STREQ(downloader.stampPath(PathSide::kRemote).text(), "/lib/id.txt");
}

TEST_F(StampPath, LiesBelowTheSubPath) {
  settings.targetDirectory = "C:\\data";
  settings.subPath = "beta";
  EXPECT_STREQ(downloader.stampPath(PathSide::kRemote).text(), "/lib/beta/id.txt");
  EXPECT_STREQ(downloader.stampPath(PathSide::kLocal).text(), "C:/data/beta/id.txt");
}

TEST_F(StampPath, TakesASubPathWithSeparatorsAround) {
  settings.subPath = "/beta/2/";
  settings.targetDirectory = "C:\\data\\";
  EXPECT_STREQ(downloader.stampPath(PathSide::kRemote).text(), "/lib/beta/2/id.txt");
  EXPECT_STREQ(downloader.stampPath(PathSide::kLocal).text(), "C:/data/beta/2/id.txt");
}

TEST_F(StampPath, EncodesTheSubPath) {
  settings.subPath = "b c";
  settings.targetDirectory = "C:\\data";
  EXPECT_STREQ(downloader.stampPath(PathSide::kRemote).text(), "/lib/b%20c/id.txt");
  EXPECT_STREQ(downloader.stampPath(PathSide::kLocal).text(), "C:/data/b c/id.txt");
}

TEST_F(StampCheck, FindsEqualStampsEqual) {
  network.respond("/lib/id.txt", "stamp 1\n");
  writeFile(directory / "id.txt", "stamp 1\n");
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 0);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logStage: Downloading remote stamp file",
                          "setProgressText: Accessing stamp", "endProgress", openingLine(),
                          "logStage: Local and remote stamp files match. Nothing to do."));
  EXPECT_THAT(network.log(), ElementsAre("waitAvailable() -> 0",
                                         "request(0, \"/lib/id.txt\", 1, not null, null, null)",
                                         "waitForRequestCompletion(0, null)"));
  EXPECT_EQ(contentOf(stamp), "stamp 1\n");
}

TEST_F(StampCheck, FindsDifferentStampsDifferent) {
  network.respond("/lib/id.txt", "stamp 2\n");
  writeFile(directory / "id.txt", "stamp 1\n");
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logStage: Downloading remote stamp file",
                          "setProgressText: Accessing stamp", "endProgress", openingLine(),
                          "logStage: Local and remote stamp files are different."));
  EXPECT_EQ(localFile("id.txt"), "stamp 1\n");
}

TEST_F(StampCheck, InterpretsNoByte) {
  const std::pair<std::string, std::string> differing[] = {
      {"stamp", "stamp\n"},
      {"stamp\n", "stamp"},
      {"stamp", " stamp"},
      {"stamp ", "stamp\t"},
      {"stamp\r\n", "stamp\n\n"},
      {"Stamp", "stamp"},
      {std::string("a\0b", 3), std::string("a\0c", 3)},
      {std::string("a\0", 2), "a"},
      {"\xEF\xBB\xBFstamp", "stamp"},
      {"\xC3\xA9", "\x65\xCC"},
      {"007", "7"}};
  for (const auto& [remote, local] : differing) {
    network.respond("/lib/id.txt", remote);
    writeFile(directory / "id.txt", local);
    PMemStream differs(4096);
    EXPECT_EQ(downloader.readRemoteIdFile(differs), 1) << remote << " and " << local;
    writeFile(directory / "id.txt", remote);
    PMemStream matches(4096);
    EXPECT_EQ(downloader.readRemoteIdFile(matches), 0) << remote;
  }
}

TEST_F(StampCheck, ComparesStampsOfEveryLengthToTheLastByte) {
  for (const std::size_t size :
       {1U, 4095U, 4096U, 4097U, 16383U, 16384U, 16385U, 32767U, 32768U, 32769U, 50000U}) {
    std::string content(size, 's');
    writeFile(directory / "id.txt", content);
    network.respond("/lib/id.txt", content);
    PMemStream same(4096);
    EXPECT_EQ(downloader.readRemoteIdFile(same), 0) << size;
    content.back() = 't';
    network.respond("/lib/id.txt", content);
    PMemStream different(4096);
    EXPECT_EQ(downloader.readRemoteIdFile(different), 1) << size;
    content.back() = 's';
    content += 's';
    network.respond("/lib/id.txt", content);
    PMemStream longer(4096);
    EXPECT_EQ(downloader.readRemoteIdFile(longer), 1) << size;
  }
}

TEST_F(StampCheck, TakesAnUnreadableStampForADifferentOne) {
  network.respond("/lib/id.txt", "stamp");
  writeFile(directory / "id.txt", "stamp");
  StubStream unreadable;
  unreadable.goodReads = 0;
  EXPECT_EQ(downloader.readRemoteIdFile(unreadable), 1);
  EXPECT_EQ(callback.transcript().back(), "logStage: Local and remote stamp files are different.");
  EXPECT_THAT(callback.errors(), IsEmpty());
}

TEST_F(StampCheck, PassesItsFormatsUnfilled) {
  network.respond("/lib/id.txt", "stamp");
  std::vector<std::string> formats;
  for (const char* local : {"stamp", "other"}) {
    writeFile(directory / "id.txt", local);
    PMemStream received(4096);
    downloader.readRemoteIdFile(received);
  }
  for (const CallbackCall& call : callback.calls()) {
    if (call.operation == "logStage") formats.push_back(call.format);
  }
  EXPECT_THAT(formats,
              ElementsAre("Downloading remote stamp file", "Opening local stamp file \"%s\"",
                          "Local and remote stamp files match. Nothing to do.",
                          "Downloading remote stamp file", "Opening local stamp file \"%s\"",
                          "Local and remote stamp files are different."));
}

TEST_F(StampCheck, RequestsWithoutATagOrASizeInABatchOfItsOwn) {
  HttpGetter& getter = *downloader.httpGetter;
  getter.totalBytes = 10;
  getter.receivedBytes = 20;
  getter.lastPermille = 30;
  getter.lastMegabytes = 40;
  network.respond("/lib/id.txt", "stamp");
  callback.abortAnswer = [&](auto* request, auto*, auto*) {
    const auto* slot = reinterpret_cast<const RequestSlot*>(request);
    EXPECT_EQ(slot->tag, 0U);
    EXPECT_EQ(slot->expectedSize, 0);
    EXPECT_EQ(slot->stream, &stamp);
    EXPECT_EQ(getter.totalBytes, 0);
    EXPECT_EQ(getter.receivedBytes.load(), 0);
    EXPECT_EQ(getter.lastPermille, -1);
    EXPECT_EQ(getter.lastMegabytes, 4294967295U);
    EXPECT_STREQ(getter.phaseText.text(), "Accessing stamp");
    return 0;
  };
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 1);
  EXPECT_EQ(getter.receivedBytes.load(), 5);
}

TEST_F(StampCheck, NeedsASynchronisationWithoutALocalStamp) {
  network.respond("/lib/id.txt", "stamp 1");
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 1);
  const auto transcript = callback.transcript();
  ASSERT_EQ(transcript.size(), 5U);
  EXPECT_EQ(transcript[3], openingLine());
  EXPECT_THAT(transcript[4], StartsWith("logStage: Opening local stamp file failed: "
                                        "[PFileStream::Open] 2: (2) "));
  EXPECT_EQ(callback.calls().back().format, "Opening local stamp file failed: %s");
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "id.txt"));
}

TEST_F(StampCheck, NeedsASynchronisationWithoutATargetDirectory) {
  network.respond("/lib/id.txt", "stamp 1");
  settings.targetDirectory = (directory / "none").c_str();
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 1);
  EXPECT_THAT(callback.transcript().back(), StartsWith("logStage: Opening local stamp file failed: "
                                                       "[PFileStream::Open] 3: (3) "));
}

TEST_F(StampCheck, NeedsASynchronisationWhenADirectoryIsInTheWay) {
  network.respond("/lib/id.txt", "stamp 1");
  std::filesystem::create_directory(directory.path() / "id.txt");
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 1);
  EXPECT_THAT(callback.transcript().back(), StartsWith("logStage: Opening local stamp file failed: "
                                                       "[PFileStream::Open] 5: (5) "));
}

TEST_F(StampCheck, CountsAnEmptyLocalStampAsDifferent) {
  network.respond("/lib/id.txt", "stamp 1");
  writeFile(directory / "id.txt", "");
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 1);
  EXPECT_THAT(callback.transcript().back(),
              "logStage: Local and remote stamp files are different.");
}

TEST_F(StampCheck, ReportsAnEmptyRemoteStamp) {
  network.respond("/lib/id.txt", FakeResponse{});
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), -1);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("logStage: Downloading remote stamp file", "setProgressText: Accessing stamp",
                  "endProgress",
                  "reportError: [DownloaderImpl::readRemoteIdFile] -1: Remote stamp file is "
                  "empty"));
}

TEST_F(StampCheck, TakesABlankStampForAStamp) {
  network.respond("/lib/id.txt", "\n");
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 1);
  EXPECT_THAT(callback.errors(), IsEmpty());
}

TEST_F(StampCheck, ReportsAnUnexpectedStatus) {
  FakeResponse notFound;
  notFound.status = 404;
  notFound.pieces = {"<html>not found</html>"};
  network.respond("/lib/id.txt", notFound);
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), -1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logStage: Downloading remote stamp file",
                          "setProgressText: Accessing stamp", "endProgress",
                          "reportError: [DownloaderImpl::readRemoteIdFile] -1: Could not download "
                          "remote stamp file | [HttpDldDone::expectStatus] -1: Unexpected HTTP "
                          "status (404)"));
}

TEST_F(StampCheck, AcceptsOnlyStatus200) {
  const std::pair<std::uint32_t, const char*> statuses[] = {{204, "Unexpected HTTP status (204)"},
                                                            {206, "Unexpected HTTP status (206)"},
                                                            {302, "Unexpected HTTP status (302)"},
                                                            {304, "Unexpected HTTP status (304)"},
                                                            {500, "Unexpected HTTP status (500)"}};
  for (const auto& [status, text] : statuses) {
    FakeResponse response;
    response.status = status;
    response.pieces = {"stamp"};
    network.respond("/lib/id.txt", response);
    callback.clear();
    PMemStream received(4096);
    EXPECT_EQ(downloader.readRemoteIdFile(received), -1) << status;
    EXPECT_THAT(callback.errors(), ElementsAre(EndsWith(text)));
  }
}

TEST_F(StampCheck, ReportsABrokenTransfer) {
  FakeResponse broken;
  broken.pieces = {"sta"};
  broken.error = ConnectionError{7, 18};
  network.respond("/lib/id.txt", broken);
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp "
                          "file | [HttpGetter::responseErrorCb] -1: Connection error: reason=7 "
                          "extraF=0 underlying=18"));
  EXPECT_EQ(callback.count("endProgress"), 1U);
}

TEST_F(StampCheck, ReportsAnAbort) {
  network.respond("/lib/id.txt", "stamp");
  callback.abortAnswer = [](auto*, auto*, auto*) { return 3; };
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp "
                          "file | [HttpGetter::responseProgressCb] -1: Download aborted (3)"));
}

TEST_F(StampCheck, ReportsARefusedRequest) {
  network.refuseRequest("/lib/id.txt", "Out of resources");
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), -1);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("logStage: Downloading remote stamp file", "setProgressText: Accessing stamp",
                  "reportError: [DownloaderImpl::readRemoteIdFile] -1: Could not download "
                  "remote stamp file (request failed). | [HttpClient::request] -1: Out of "
                  "resources"));
}

TEST_F(StampCheck, ReportsAPoolThatIsShuttingDown) {
  network.shutDownAtWait(1);
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp "
                          "file (request failed). | [HttpGetter::waitAvailable] -1: Could not "
                          "obtain client, subsystem is shutting down"));
  EXPECT_THAT(network.requests(), IsEmpty());
}

TEST_F(StampCheck, ShowsNoFiguresWhateverTheBatchBeforeExpected) {
  downloader.httpGetter->totalBytes = 10;
  network.respond("/lib/id.txt", std::string(2000000, 's'));
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 1);
  EXPECT_EQ(callback.count("setProgressValue"), 0U);
  EXPECT_THAT(callback.textsOf("setProgressText"), ElementsAre("Accessing stamp"));
}

TEST_F(StampCheck, UsesTheSubPathOnBothSides) {
  settings.subPath = "beta";
  network.respond("/lib/beta/id.txt", "stamp");
  writeFile(directory / "beta/id.txt", "stamp");
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 0);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/beta/id.txt"));
  EXPECT_EQ(callback.transcript().at(3), openingLine("beta/id.txt"));
}

TEST_F(StampCheck, LetsGoOfTheLocalStamp) {
  network.respond("/lib/id.txt", "stamp");
  writeFile(directory / "id.txt", "stamp");
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 0);
  EXPECT_TRUE(std::filesystem::remove(directory.path() / "id.txt"));
}

TEST_F(StampCheck, MakesOneRecordOfItsOwn) {
  network.respond("/lib/id.txt", FakeResponse{});
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), -1);
  ASSERT_EQ(callback.chains().size(), 1U);
  const ErrorChain chain = callback.chains()[0];
  EXPECT_STREQ(chain.head->tag, "DownloaderImpl::readRemoteIdFile");
  EXPECT_EQ(chain.head->code, -1);
  EXPECT_EQ(chain.head->next, nullptr);
  network.respond("/lib/id.txt", "stamp");
  callback.clear();
  EXPECT_EQ(downloader.readRemoteIdFile(stamp), 1) << "the getter can be used again";
}

// The comparison itself, at the boundaries of its chunks.

void expectReads(std::size_t size, const std::vector<std::int64_t>& countsOfReads) {
  std::string content(size, 's');
  StubStream a;
  StubStream b;
  fill(a, content);
  fill(b, content);
  ErrorChain error;
  EXPECT_EQ(compareStreams(error, a, b), 0) << size;
  EXPECT_EQ(a.readSizes, countsOfReads) << size;
  EXPECT_EQ(b.readSizes, countsOfReads) << size;
  EXPECT_EQ(a.seeks, 1);
  EXPECT_EQ(b.seeks, 1);
}

TEST(StampComparison, ReadsUntilBothEnd) {
  expectReads(0, {16384});
  expectReads(1, {16384, 16384});
  expectReads(16383, {16384, 16384});
  expectReads(16384, {16384, 16384});
  expectReads(16385, {16384, 16384, 16384});
  expectReads(32767, {16384, 16384, 16384});
  expectReads(32768, {16384, 16384, 16384});
  expectReads(32769, {16384, 16384, 16384, 16384});
}

TEST(StampComparison, ReadsNoFurtherThanTheFirstDifference) {
  std::string content(40000, 's');
  StubStream a;
  StubStream b;
  fill(a, content);
  content[16383] = 't';
  fill(b, content);
  ErrorChain error;
  EXPECT_EQ(compareStreams(error, a, b), -1);
  EXPECT_FALSE(error);
  EXPECT_EQ(a.readSizes.size(), 1U);
  EXPECT_EQ(b.readSizes.size(), 1U);
}

TEST(StampComparison, RewindsTheFirstStreamFirst) {
  StubStream a;
  StubStream b;
  fill(a, "same");
  fill(b, "same");
  a.seekable = false;
  ErrorChain error;
  EXPECT_EQ(compareStreams(error, a, b), -1);
  EXPECT_EQ(chainText(error), "[StubStream::Seek] 131: not seekable");
  EXPECT_EQ(b.seeks, 0);
}

TEST(StampComparison, FailsWhenTheSecondStreamCannotBeRead) {
  StubStream a;
  StubStream b;
  fill(a, "same");
  fill(b, "same");
  b.goodReads = 1;
  ErrorChain error;
  EXPECT_EQ(compareStreams(error, a, b), -1);
  EXPECT_EQ(chainText(error), "[StubStream::Read] 23: unreadable");
}

TEST(StampComparison, GoesByTheBytesReadWhenTheSizesLie) {
  StubStream a;
  StubStream b;
  fill(a, "same");
  fill(b, "same but longer");
  a.claimedSize = 15;
  ErrorChain error;
  EXPECT_EQ(compareStreams(error, a, b), -1);
  EXPECT_FALSE(error);
}

// Writing.

TEST_F(StampWriter, WritesStampsOfEveryLength) {
  const std::pair<std::size_t, std::vector<std::int64_t>> sizes[] = {{1, {1}},
                                                                     {4096, {4096}},
                                                                     {16383, {16383}},
                                                                     {16384, {16384}},
                                                                     {16385, {16385}},
                                                                     {32767, {32767}},
                                                                     {32768, {32768}},
                                                                     {32769, {32768, 1}},
                                                                     {40000, {32768, 7232}},
                                                                     {65536, {32768, 32768}}};
  for (const auto& [size, countsOfReads] : sizes) {
    const std::string content = std::string(size - 1, 's') + "e";
    StubStream source;
    fill(source, content);
    EXPECT_EQ(downloader.writeLocalStamp(source), 0) << size;
    EXPECT_EQ(localFile("id.txt"), content) << size;
    EXPECT_EQ(source.readSizes, countsOfReads) << size;
  }
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(StampWriter, WritesWhatThereIsOfAStreamThatEndsEarly) {
  StubStream source;
  fill(source, "stamp");
  source.claimedSize = 10;
  EXPECT_EQ(downloader.writeLocalStamp(source), 0);
  EXPECT_EQ(localFile("id.txt"), "stamp");
}

TEST_F(StampWriter, LetsGoOfTheFile) {
  fill(stamp, "stamp");
  EXPECT_EQ(downloader.writeLocalStamp(stamp), 0);
  EXPECT_TRUE(std::filesystem::remove(directory.path() / "id.txt"));
}

TEST_F(StampWriter, WritesTheStampsBytes) {
  const std::string content = std::string("stamp\0\r\n \xFF", 10) + std::string(70000, 'x');
  fill(stamp, content);
  EXPECT_EQ(downloader.writeLocalStamp(stamp), 0);
  EXPECT_EQ(localFile("id.txt"), content);
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(StampWriter, ReplacesALongerStamp) {
  writeFile(directory / "id.txt", "a much longer stamp than the new one");
  fill(stamp, "stamp 2");
  EXPECT_EQ(downloader.writeLocalStamp(stamp), 0);
  EXPECT_EQ(localFile("id.txt"), "stamp 2");
}

TEST_F(StampWriter, WritesBelowTheSubPath) {
  settings.subPath = "beta";
  std::filesystem::create_directory(directory.path() / "beta");
  fill(stamp, "stamp");
  EXPECT_EQ(downloader.writeLocalStamp(stamp), 0);
  EXPECT_EQ(localFile("beta/id.txt"), "stamp");
}

TEST_F(StampWriter, MakesNoDirectory) {
  settings.subPath = "beta";
  fill(stamp, "stamp");
  EXPECT_EQ(downloader.writeLocalStamp(stamp), -1);
  ASSERT_EQ(callback.transcript().size(), 1U);
  EXPECT_THAT(callback.transcript()[0], StartsWith("logWarning: Creating local stamp file failed: "
                                                   "[PFileStream::Create] 3: (3) "));
  EXPECT_EQ(callback.calls()[0].format, "Creating local stamp file failed: %s");
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "beta"));
}

TEST_F(StampWriter, WarnsWhenADirectoryIsInTheWay) {
  std::filesystem::create_directory(directory.path() / "id.txt");
  fill(stamp, "stamp");
  EXPECT_EQ(downloader.writeLocalStamp(stamp), -1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre(StartsWith("logWarning: Creating local stamp file failed: "
                                     "[PFileStream::Create] 5: (5) ")));
}

TEST_F(StampWriter, KeepsAFailedCopyToItself) {
  StubStream broken;
  fill(broken, "stamp");
  broken.goodReads = 0;
  EXPECT_EQ(downloader.writeLocalStamp(broken), -1);
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(StampWriter, ForgivesAFailedSeek) {
  StubStream source;
  fill(source, "stamp");
  source.Seek(0);
  source.seekable = false;
  EXPECT_EQ(downloader.writeLocalStamp(source), 0);
  EXPECT_EQ(localFile("id.txt"), "stamp");
}

}  // namespace
