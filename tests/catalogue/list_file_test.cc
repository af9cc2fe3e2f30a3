// The list file: fetching it, and selecting from it what to download.
#include "catalogue/list_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "catalogue/stub_stream.h"
#include "fakes/downloader_fixture.h"
#include "plugin/error_chain.h"

using Krell::Networking::ConnectionError;
using QUtils::CharString;
using QUtils::PMemStream;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

class ListFetch : public DownloaderFixture {
 protected:
  void SetUp() override { startGetter(); }
  PMemStream stream{16384};
};

TEST_F(ListFetch, FetchesTheListIntoTheStream) {
  network.respond("/lib/filelist.json", "[]\n");
  EXPECT_EQ(downloader.downloadListFile(stream), 0);
  EXPECT_EQ(contentOf(stream), "[]\n");
  EXPECT_THAT(callback.transcript(),
              ElementsAre("setProgressText: Getting file list", "endProgress"));
  EXPECT_THAT(network.log(),
              ElementsAre("waitAvailable() -> 0",
                          "request(0, \"/lib/filelist.json\", 1, not null, null, null)",
                          "waitForRequestCompletion(0, null)"));
}

TEST_F(ListFetch, PutsTheSubPathInFrontAsItStands) {
  settings.subPath = "b c/../d";
  downloader.remotePath = "/lib v2";
  EXPECT_EQ(downloader.downloadListFile(stream), -1);
  EXPECT_THAT(network.requests(), ElementsAre("/b c/../d/lib%20v2/filelist.json"));
}

TEST_F(ListFetch, CountsAnEmptySubPathAsNone) {
  settings.subPath = "";
  network.respond("/lib/filelist.json", "[]\n");
  EXPECT_EQ(downloader.downloadListFile(stream), 0);
}

TEST_F(ListFetch, ShowsNoFigures) {
  downloader.httpGetter->totalBytes = 10;
  network.respond("/lib/filelist.json", std::string(3000000, ' '));
  EXPECT_EQ(downloader.downloadListFile(stream), 0);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("setProgressText: Getting file list", "endProgress"));
}

TEST_F(ListFetch, ReportsARefusedRequest) {
  network.refuseRequest("/lib/filelist.json", "Out of resources");
  EXPECT_EQ(downloader.downloadListFile(stream), -1);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("setProgressText: Getting file list",
                  "reportError: [DownloaderImpl::downloadListFile] -1: Could not download "
                  "list file (request failed) | [HttpClient::request] -1: Out of resources"));
}

TEST_F(ListFetch, ReportsAPoolThatIsShuttingDown) {
  network.shutDownAtWait(1);
  EXPECT_EQ(downloader.downloadListFile(stream), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadListFile] -1: Could not download list file "
                          "(request failed) | [HttpGetter::waitAvailable] -1: Could not obtain "
                          "client, subsystem is shutting down"));
  EXPECT_THAT(network.requests(), IsEmpty());
}

TEST_F(ListFetch, ReportsAnUnexpectedStatus) {
  EXPECT_EQ(downloader.downloadListFile(stream), -1);
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("setProgressText: Getting file list", "endProgress",
                  "reportError: [DownloaderImpl::downloadListFile] -1: Could not download "
                  "list file | [HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)"));
}

TEST_F(ListFetch, ReportsABrokenTransfer) {
  FakeResponse broken;
  broken.pieces = {"[{\"path\":"};
  broken.error = ConnectionError{0x1006, 104};
  network.respond("/lib/filelist.json", broken);
  EXPECT_EQ(downloader.downloadListFile(stream), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::downloadListFile] -1: Could not download list file | "
                          "[HttpGetter::responseErrorCb] -1: Connection error: reason=6 "
                          "extraF=1000 underlying=104"));
}

class ListFile : public DownloaderFixture {
 protected:
  int parse(const std::string& text) {
    PMemStream stream(16384);
    fill(stream, text);
    return downloader.parseListFile(stream, list);
  }

  /// The entries, a line each.
  std::vector<std::string> entries() const {
    std::vector<std::string> lines;
    for (std::int32_t i = 0; i < list.count; ++i) {
      const ListFileEntry& entry = list.entries[static_cast<std::size_t>(i)];
      lines.push_back(std::string(entry.localName.text()) + " from " + entry.remoteName.text() +
                      ", " + std::to_string(entry.size));
    }
    return lines;
  }

  DownloaderImpl::ListFile list;
};

TEST_F(ListFile, AcceptsAnEmptyArray) {
  EXPECT_EQ(parse("[]\n"), 0);
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(list.capacity, 0);
  EXPECT_EQ(list.entries, nullptr);
  EXPECT_THAT(callback.calls(), IsEmpty());
  EXPECT_THAT(network.log(), IsEmpty());
}

TEST_F(ListFile, DropsTheLastByteBeforeParsing) {
  EXPECT_EQ(parse("[]"), -1);
  EXPECT_THAT(
      callback.errors(),
      ElementsAre("[DownloaderImpl::parseListFile] -1: Parsing json file list failed: "
                  "* Line 1, Column 2\n  Syntax error: value, object or array expected.\n"));
  callback.clear();
  EXPECT_EQ(parse("[]x"), 0);
  EXPECT_EQ(parse(std::string("[]\0", 3)), 0);
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(ListFile, KeepsTheOrderOfTheList) {
  EXPECT_EQ(parse("[{\"path\":\"b.tx\",\"size\":2},{\"path\":\"a.tx\",\"size\":1},"
                  "{\"path\":\"c/d.tx\",\"size\":3}]\n"),
            0);
  EXPECT_THAT(entries(),
              ElementsAre("b.tx from b.tx, 2", "a.tx from a.tx, 1", "c/d.tx from c/d.tx, 3"));
}

TEST_F(ListFile, KeepsEntriesListedTwice) {
  EXPECT_EQ(parse("[{\"path\":\"a\"},{\"path\":\"a\"}]\n"), 0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0", "a from a, 0"));
}

TEST_F(ListFile, IgnoresOtherMembers) {
  EXPECT_EQ(parse("[{\"path\":\"a\",\"sha\":\"12\",\"Size\":5,\"sub\":{\"path\":\"b\"}}]\n"), 0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0"));
}

TEST_F(ListFile, KeepsThePathAsItStands) {
  EXPECT_EQ(parse("[{\"path\":\"maps\\\\.//\xC3\xA9 x.tx\"}]\n"), 0);
  EXPECT_THAT(entries(), ElementsAre("maps\\.//\xC3\xA9 x.tx from maps\\.//\xC3\xA9 x.tx, 0"));
}

TEST_F(ListFile, SkipsEntriesWithoutAPath) {
  EXPECT_EQ(parse("[{},{\"path\":\"\"},{\"path\":5},{\"path\":null},{\"path\":[\"a\"]},"
                  "{\"size\":3},{\"path\":\"b\"}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("b from b, 0"));
}

TEST_F(ListFile, EndsAPathAtAZero) {
  EXPECT_EQ(parse("[{\"path\":\"a\\u0000/../../x\"},{\"path\":\"\\u0000a\"}]\n"), 0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0"));
}

// Selection.

TEST_F(ListFile, SelectsByPolicy) {
  EXPECT_EQ(parse("[{\"path\":\"a\",\"download\":\"always\"},{\"path\":\"b\"},"
                  "{\"path\":\"c\",\"download\":\"never\"},{\"path\":\"d\",\"download\":\"\"},"
                  "{\"path\":\"e\",\"download\":\"Always\"},"
                  "{\"path\":\"f\",\"download\":\"missing\"},"
                  "{\"path\":\"g\",\"download\":\"MISSING\"},"
                  "{\"path\":\"h\",\"download\":\"always \"}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0", "b from b, 0", "f from f, 0"));
}

TEST_F(ListFile, CountsAPolicyOfAnotherTypeAsAlways) {
  EXPECT_EQ(parse("[{\"path\":\"a\",\"download\":5},{\"path\":\"b\",\"download\":null},"
                  "{\"path\":\"c\",\"download\":false},{\"path\":\"d\",\"download\":{}}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0", "b from b, 0", "c from c, 0", "d from d, 0"));
}

TEST_F(ListFile, FetchesMissingFilesOnlyWhenTheyAreMissing) {
  const std::string text = "[{\"path\":\"maps/oak.tx\",\"download\":\"missing\"}]\n";
  writeFile(directory / "maps/oak.tx", "here");
  EXPECT_EQ(parse(text), 0);
  EXPECT_THAT(entries(), IsEmpty());
  std::filesystem::remove(directory.path() / "maps" / "oak.tx");
  EXPECT_EQ(parse(text), 0);
  EXPECT_THAT(entries(), ElementsAre("maps/oak.tx from maps/oak.tx, 0"));
}

TEST_F(ListFile, FetchesAPresentFileAlways) {
  writeFile(directory / "a", "here");
  EXPECT_EQ(parse("[{\"path\":\"a\",\"download\":\"always\"},{\"path\":\"a\"}]\n"), 0);
  EXPECT_EQ(list.count, 2);
}

TEST_F(ListFile, CountsADirectoryAsPresent) {
  std::filesystem::create_directory(directory.path() / "maps");
  EXPECT_EQ(parse("[{\"path\":\"maps\",\"download\":\"missing\"}]\n"), 0);
  EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(ListFile, LooksForAMissingMapUnderItsLocalName) {
  writeFile(directory / "a.tx", "here");
  writeFile(directory / "b.jpeg.tx", "here");
  EXPECT_EQ(parse("[{\"path\":\"a.tx\",\"download\":\"missing\",\"jpegSize\":5},"
                  "{\"path\":\"b.tx\",\"download\":\"missing\",\"jpegSize\":5}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("b.tx from b.jpeg.tx, 5"));
}

// Sizes.

TEST_F(ListFile, TakesSizesThatAreIntegers) {
  EXPECT_EQ(parse("[{\"path\":\"a\",\"size\":12},{\"path\":\"b\",\"size\":12.0},"
                  "{\"path\":\"c\",\"size\":1e3},{\"path\":\"d\",\"size\":-4},"
                  "{\"path\":\"e\",\"size\":9223372036854775807},"
                  "{\"path\":\"f\",\"size\":-9223372036854775808}]\n"),
            0);
  EXPECT_THAT(entries(),
              ElementsAre("a from a, 12", "b from b, 12", "c from c, 1000", "d from d, -4",
                          "e from e, 9223372036854775807", "f from f, -9223372036854775808"));
}

TEST_F(ListFile, CountsEveryOtherSizeAsUnknown) {
  EXPECT_EQ(parse("[{\"path\":\"a\",\"size\":\"12\"},{\"path\":\"b\",\"size\":12.5},"
                  "{\"path\":\"c\",\"size\":9223372036854775808},{\"path\":\"d\",\"size\":1e300},"
                  "{\"path\":\"e\",\"size\":true},{\"path\":\"f\",\"size\":null},"
                  "{\"path\":\"g\",\"size\":[12]},"
                  "{\"path\":\"h\",\"size\":-1e19}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0", "b from b, 0", "c from c, 0", "d from d, 0",
                                     "e from e, 0", "f from f, 0", "g from g, 0", "h from h, 0"));
}

// Lossy maps.

TEST_F(ListFile, TakesTheLossyVariantOfAMap) {
  EXPECT_EQ(parse("[{\"path\":\"a/b.tx\",\"size\":90000,\"jpegSize\":5000}]\n"), 0);
  EXPECT_THAT(entries(), ElementsAre("a/b.tx from a/b.jpeg.tx, 5000"));
}

TEST_F(ListFile, TakesTheMapItselfWithoutALossySize) {
  EXPECT_EQ(parse("[{\"path\":\"a.tx\",\"size\":9,\"jpegSize\":0},"
                  "{\"path\":\"b.tx\",\"size\":9,\"jpegSize\":-1},"
                  "{\"path\":\"c.tx\",\"size\":9,\"jpegSize\":\"5\"},"
                  "{\"path\":\"d.png\",\"size\":9,\"jpegSize\":0}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("a.tx from a.tx, 9", "b.tx from b.tx, 9", "c.tx from c.tx, 9",
                                     "d.png from d.png, 9"));
}

TEST_F(ListFile, RefusesALossySizeForOtherFiles) {
  EXPECT_EQ(parse("[{\"path\":\"first\"},{\"path\":\"a/b.png\",\"jpegSize\":5000},"
                  "{\"path\":\"last\"}]\n"),
            -1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("reportError: [DownloaderImpl::ListFile::init] -1: Unexpected extension "
                          "for lossy compressed map (expected \".tx\", got \"a/b.png\""));
  EXPECT_THAT(entries(), ElementsAre("first from first, 0", "a/b.png from a/b.png, 5000"));
}

TEST_F(ListFile, ComparesTheMapExtensionExactly) {
  EXPECT_EQ(parse("[{\"path\":\"b.TX\",\"jpegSize\":5000}]\n"), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::ListFile::init] -1: Unexpected extension for lossy "
                          "compressed map (expected \".tx\", got \"b.TX\""));
}

TEST_F(ListFile, RefusesALossySizeForAPathShorterThanTheExtension) {
  EXPECT_EQ(parse("[{\"path\":\"tx\",\"jpegSize\":1}]\n"), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::ListFile::init] -1: Unexpected extension for lossy "
                          "compressed map (expected \".tx\", got \"tx\""));
}

TEST_F(ListFile, KnowsNoLossyVariantOfAnExtensionAlone) {
  EXPECT_EQ(parse("[{\"path\":\".tx\",\"jpegSize\":1}]\n"), 0);
  EXPECT_THAT(entries(), ElementsAre(".tx from .jpeg.tx, 1"));
}

TEST(ListFileEntryInit, FillsTheEntryAndClearsTheError) {
  ListFileEntry entry;
  entry.localName = "left over";
  ErrorChain error = makeError("Test", 5, "left over");
  DownloaderImpl::ListFile::init(entry, error, "a.tx", 9, 0);
  EXPECT_FALSE(error);
  EXPECT_STREQ(entry.localName.text(), "a.tx");
  EXPECT_STREQ(entry.remoteName.text(), "a.tx");
  EXPECT_EQ(entry.size, 9);
}

TEST(ListFileEntryInit, SharesThePath) {
  ListFileEntry entry;
  ErrorChain error;
  const CharString path("a.png");
  DownloaderImpl::ListFile::init(entry, error, path, 9, 0);
  EXPECT_EQ(entry.localName.buffer(), path.buffer());
  EXPECT_EQ(entry.remoteName.buffer(), path.buffer());
}

TEST(ListFileEntryInit, LeavesThePathAloneForALossyMap) {
  ListFileEntry entry;
  ErrorChain error;
  const CharString path("maps/oak.tx");
  DownloaderImpl::ListFile::init(entry, error, path, 9, 4);
  EXPECT_FALSE(error);
  EXPECT_STREQ(path.text(), "maps/oak.tx");
  EXPECT_STREQ(entry.localName.text(), "maps/oak.tx");
  EXPECT_STREQ(entry.remoteName.text(), "maps/oak.jpeg.tx");
  EXPECT_EQ(entry.size, 4);
}

// Paths that must not leave the target directory.

TEST_F(ListFile, RefusesPathsThatLeaveTheTargetDirectory) {
  const std::pair<const char*, const char*> lists[] = {
      {"[{\"path\":\"../../x\"}]\n",
       "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: \"../../x\""},
      {"[{\"path\":\"a/../../x\"}]\n",
       "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: \"a/../../x\""},
      {"[{\"path\":\"..\\\\..\\\\x\"}]\n",
       "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: \"..\\..\\x\""},
      {"[{\"path\":\"..\"}]\n",
       "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: \"..\""},
      {"[{\"path\":\".\"}]\n",
       "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: \".\""},
      {"[{\"path\":\"/\"}]\n",
       "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: \"/\""},
      {"[{\"path\":\"a/..\"}]\n",
       "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: \"a/..\""},
      {"[{\"path\":\"../x\",\"download\":\"missing\"}]\n",
       "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: \"../x\""},
      {"[{\"path\":\"good\"},{\"path\":\"/../x.tx\",\"jpegSize\":4}]\n",
       "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: \"/../x.tx\""}};
  for (const auto& [text, expected] : lists) {
    callback.clear();
    EXPECT_EQ(parse(text), -1) << text;
    EXPECT_THAT(callback.errors(), ElementsAre(expected));
  }
}

TEST_F(ListFile, AcceptsRootedPathsAsBelowTheTargetDirectory) {
  EXPECT_EQ(parse("[{\"path\":\"/etc/x\"},{\"path\":\"\\\\\\\\server\\\\share\\\\x\"}]\n"), 0);
  EXPECT_THAT(entries(), ElementsAre("/etc/x from /etc/x, 0",
                                     "\\\\server\\share\\x from \\\\server\\share\\x, 0"));
}

// The JSON text.

TEST_F(ListFile, TakesTheMembersOfAnObjectInTheOrderOfTheirKeys) {
  EXPECT_EQ(parse("{\"z\":{\"path\":\"a\"},\"b\":{\"path\":\"c\"}}\n"), 0);
  EXPECT_THAT(entries(), ElementsAre("c from c, 0", "a from a, 0"));
}

TEST_F(ListFile, FindsNoEntriesInAScalar) {
  for (const char* text : {"null\n", "5\n", "true\n", "\"text\"\n", "1.5\n"}) {
    EXPECT_EQ(parse(text), 0) << text;
    EXPECT_EQ(list.count, 0) << text;
  }
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(ListFile, EndsAtTheFirstElementThatIsNoObject) {
  for (const char* text :
       {"[{\"path\":\"a\"},5,{\"path\":\"b\"}]\n", "[{\"path\":\"a\"},[]]\n",
        "[{\"path\":\"a\"},\"b\"]\n", "[{\"path\":\"a\"},null,{\"path\":\"b\"}]\n"}) {
    callback.clear();
    list = DownloaderImpl::ListFile();
    EXPECT_EQ(parse(text), -1) << text;
    EXPECT_THAT(callback.transcript(),
                ElementsAre("reportError: [DownloaderImpl::parseListFile] -1: Parsing json file "
                            "list failed (object expceted)"));
    EXPECT_THAT(entries(), ElementsAre("a from a, 0"));
  }
}

TEST_F(ListFile, EndsAtAMemberThatIsNoObject) {
  EXPECT_EQ(parse("{\"files\":[{\"path\":\"a\"}]}\n"), -1);
  EXPECT_THAT(callback.errors(), ElementsAre("[DownloaderImpl::parseListFile] -1: Parsing json "
                                             "file list failed (object expceted)"));
}

TEST_F(ListFile, ReportsASyntaxErrorWithItsPlace) {
  EXPECT_EQ(parse("[{\"path\":\n\"a\" \"b\"}]\n"), -1);
  ASSERT_THAT(callback.errors(), SizeIs(1));
  EXPECT_THAT(callback.errors()[0],
              StartsWith("[DownloaderImpl::parseListFile] -1: Parsing json file list failed: "
                         "* Line 2, Column 5\n"));
  EXPECT_EQ(callback.chains()[0].head->next, nullptr);
  EXPECT_EQ(list.count, 0);
}

TEST_F(ListFile, RefusesATruncatedList) {
  const std::string text = "[{\"path\":\"a\",\"size\":12},{\"path\":\"b\",\"size\":7}]\n";
  for (std::size_t length = 2; length < text.size(); ++length) {
    callback.clear();
    list = DownloaderImpl::ListFile();
    EXPECT_EQ(parse(text.substr(0, length)), -1) << length;
    EXPECT_EQ(list.count, 0);
    EXPECT_THAT(callback.errors(), SizeIs(1));
  }
}

TEST_F(ListFile, RefusesAListOfOneByte) {
  EXPECT_EQ(parse("\n"), -1);
  ASSERT_THAT(callback.errors(), SizeIs(1));
  EXPECT_THAT(callback.errors()[0],
              StartsWith("[DownloaderImpl::parseListFile] -1: Parsing json file list failed: * "));
}

TEST_F(ListFile, CutsALongErrorMessage) {
  EXPECT_EQ(parse("[" + std::string(600, '1') + "e]\n"), -1);
  ASSERT_THAT(callback.chains(), SizeIs(1));
  const std::string message = callback.chains()[0].head->message;
  EXPECT_THAT(message, StartsWith("Parsing json file list failed: * Line 1, Column 2\n"));
  EXPECT_THAT(message, EndsWith("1111111111"));
  EXPECT_EQ(message.size(), 510U);
}

TEST_F(ListFile, SurvivesPercentSignsInAnErrorMessage) {
  EXPECT_EQ(parse("[\"%s%n%d\" \"%s\"]\n"), -1);
  EXPECT_THAT(callback.errors(), SizeIs(1));
}

TEST_F(ListFile, RefusesAListNestedTooDeep) {
  EXPECT_EQ(parse(std::string(100000, '[') + std::string(100000, ']') + "\n"), -1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("reportError: [DownloaderImpl::parseListFile] -1: Exception parsing json "
                          "file list: Exceeded stackLimit in readValue()."));
}

TEST_F(ListFile, SurvivesArbitraryBytes) {
  std::string text = "[{\"path\":\"";
  for (int byte = 1; byte < 256; ++byte) {
    if (byte != '"' && byte != '\\') text += static_cast<char>(byte);
  }
  EXPECT_EQ(parse(text + "\"}]\n"), 0);
  EXPECT_EQ(list.count, 1);
}

// The stream.

TEST_F(ListFile, ReadsTheStreamFromItsBeginning) {
  StubStream stream;
  fill(stream, "[{\"path\":\"a\"}]\n");
  stream.Seek(3);
  EXPECT_EQ(downloader.parseListFile(stream, list), 0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0"));
}

TEST_F(ListFile, ForgivesAFailedSeek) {
  StubStream stream;
  fill(stream, "[{\"path\":\"a\"}]\n");
  stream.Seek(0);
  stream.seekable = false;
  EXPECT_EQ(downloader.parseListFile(stream, list), 0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0"));
}

TEST_F(ListFile, WarnsOfAnEmptyList) {
  EXPECT_EQ(parse(""), -1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logWarning: Incorrect size of json file list (0 bytes)"));
  EXPECT_EQ(callback.calls()[0].format, "Incorrect size of json file list (%lli bytes)");
}

TEST_F(ListFile, WarnsOfAListAboveOneGigabyte) {
  StubStream stream;
  stream.claimedSize = 1073741825;
  EXPECT_EQ(downloader.parseListFile(stream, list), -1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logWarning: Incorrect size of json file list (1073741825 bytes)"));
  EXPECT_THAT(stream.readSizes, IsEmpty());
}

TEST_F(ListFile, WarnsOfASizeThatIsNone) {
  StubStream stream;
  stream.claimedSize = -1;
  EXPECT_EQ(downloader.parseListFile(stream, list), -1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logWarning: Incorrect size of json file list (-1 bytes)"));
}

TEST_F(ListFile, AcceptsAListOfOneGigabyte) {
  StubStream stream;
  stream.claimedSize = 1073741824;
  stream.goodReads = 0;
  EXPECT_EQ(downloader.parseListFile(stream, list), -1);
  EXPECT_EQ(callback.count("logWarning"), 0U);
  EXPECT_THAT(callback.errors(), ElementsAre(StartsWith("[DownloaderImpl::parseListFile] -1: "
                                                        "Reading json file list failed")));
}

TEST_F(ListFile, ReportsAStreamThatCannotBeRead) {
  StubStream stream;
  fill(stream, "[]\n");
  stream.goodReads = 0;
  EXPECT_EQ(downloader.parseListFile(stream, list), -1);
  ASSERT_THAT(callback.transcript(), SizeIs(1));
  EXPECT_THAT(callback.errors(), ElementsAre(StartsWith("[DownloaderImpl::parseListFile] -1: "
                                                        "Reading json file list failed | ")));
  EXPECT_THAT(callback.errors(), ElementsAre(EndsWith("[StubStream::Read] 23: unreadable")));
}

TEST_F(ListFile, ReportsAStreamThatEndsEarly) {
  StubStream stream;
  fill(stream, "[]\n");
  stream.claimedSize = 10;
  EXPECT_EQ(downloader.parseListFile(stream, list), -1);
  EXPECT_THAT(callback.errors(), ElementsAre(StartsWith("[DownloaderImpl::parseListFile] -1: "
                                                        "Reading json file list failed | ")));
}

// Growth.

TEST_F(ListFile, GrowsInStepsOfAHundred) {
  std::string text = "[{\"path\":\"0\"}";
  for (int i = 1; i < 250; ++i)
    text += ",{\"path\":\"" + std::to_string(i) + "\",\"size\":" + std::to_string(i) + "}";
  EXPECT_EQ(parse(text + "]\n"), 0);
  EXPECT_EQ(list.count, 250);
  EXPECT_EQ(list.capacity, 300);
  for (std::size_t i = 0; i < 250; ++i) {
    EXPECT_EQ(list.entries[i].localName.text(), std::to_string(i));
    EXPECT_EQ(list.entries[i].size, static_cast<std::int64_t>(i));
  }
}

TEST(ResizeList, GrowsBeyondAFullStep) {
  DownloaderImpl::ListFile list;
  list.resizeList(1, false);
  EXPECT_EQ(list.capacity, 100);
  list.resizeList(100, false);
  EXPECT_EQ(list.capacity, 100);
  list.resizeList(101, false);
  EXPECT_EQ(list.capacity, 200);
  list.resizeList(201, false);
  EXPECT_EQ(list.capacity, 300);
  EXPECT_EQ(list.count, 201);
}

TEST(ResizeList, AddsAWholeStepToARoundCount) {
  DownloaderImpl::ListFile list;
  list.resizeList(100, false);
  EXPECT_EQ(list.capacity, 200);
}

TEST(ResizeList, OnlyCountsWithinTheCapacity) {
  DownloaderImpl::ListFile list;
  list.resizeList(5, false);
  const ListFileEntry* const before = list.entries.get();
  list.resizeList(3, false);
  EXPECT_EQ(list.count, 3);
  list.resizeList(60, true);
  EXPECT_EQ(list.count, 60);
  EXPECT_EQ(list.capacity, 100);
  EXPECT_EQ(list.entries.get(), before);
}

TEST(ResizeList, GrowsToTheCountWhenExact) {
  DownloaderImpl::ListFile list;
  list.resizeList(7, true);
  EXPECT_EQ(list.capacity, 7);
}

TEST(ResizeList, DoublesWithoutAStep) {
  DownloaderImpl::ListFile list;
  list.growStep = 0;
  list.resizeList(3, false);
  EXPECT_EQ(list.capacity, 3);
  list.resizeList(4, false);
  EXPECT_EQ(list.capacity, 6);
  list.resizeList(13, false);
  EXPECT_EQ(list.capacity, 24);
}

TEST(ResizeList, KeepsTheEntries) {
  DownloaderImpl::ListFile list;
  list.growStep = 1;
  list.resizeList(1, true);
  list.entries[0].localName = "a";
  list.entries[0].remoteName = "b";
  list.entries[0].size = 5;
  list.resizeList(2, true);
  EXPECT_STREQ(list.entries[0].localName.text(), "a");
  EXPECT_STREQ(list.entries[0].remoteName.text(), "b");
  EXPECT_EQ(list.entries[0].size, 5);
  EXPECT_TRUE(list.entries[1].localName.empty());
  EXPECT_EQ(list.entries[1].size, 0);
}

}  // namespace
