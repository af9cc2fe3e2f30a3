// Tests the list file: fetching it, and selecting from it what to download.
#include "catalogue/list_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
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

TEST_F(ListFetch, StartsABatchOfItsOwn) {
  HttpGetter& getter = *downloader.httpGetter;
  getter.lastPermille = 1000;
  getter.lastMegabytes = 7;
  getter.totalBytes = 10;
  getter.receivedBytes = 10;
  getter.phaseText = "Accessing stamp";
  network.refuseRequest("/lib/filelist.json", "Out of resources");
  EXPECT_EQ(downloader.downloadListFile(stream), -1);
  EXPECT_EQ(getter.lastPermille, -1);
  EXPECT_EQ(getter.lastMegabytes, 0xFFFFFFFFU);
  EXPECT_EQ(getter.totalBytes, 0);
  EXPECT_EQ(getter.receivedBytes, 0);
  EXPECT_STREQ(getter.phaseText.text(), "Getting file list");
}

TEST_F(ListFetch, RequestsWithoutTagAndSize) {
  std::vector<std::string> told;
  callback.abortAnswer = [&](auto* request, auto*, auto*) {
    const auto* slot = reinterpret_cast<const RequestSlot*>(request);
    told.push_back(std::to_string(slot->tag) + ": " + std::to_string(slot->expectedSize));
    EXPECT_EQ(slot->stream, &stream);
    return 0;
  };
  network.respond("/lib/filelist.json", "[]\n");
  EXPECT_EQ(downloader.downloadListFile(stream), 0);
  EXPECT_THAT(told, ElementsAre("0: 0"));
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
  EXPECT_THAT(callback.transcript(),
              ElementsAre("setProgressText: Getting file list",
                          "reportError: [DownloaderImpl::downloadListFile] -1: Could not download "
                          "list file (request failed) | [HttpGetter::waitAvailable] -1: Could not "
                          "obtain client, subsystem is shutting down"));
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

TEST_F(ListFile, DecodesEscapesInAPath) {
  EXPECT_EQ(parse("[{\"path\":\"a\\/\\u00e9\\ud83d\\ude00\"}]\n"), 0);
  EXPECT_THAT(entries(),
              ElementsAre("a/\xC3\xA9\xF0\x9F\x98\x80 from a/\xC3\xA9\xF0\x9F\x98\x80, 0"));
}

TEST_F(ListFile, ReadsOverComments) {
  EXPECT_EQ(parse("/* maps */ [{\"path\":\"a\" // oak\n}]\n"), 0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0"));
}

TEST_F(ListFile, SkipsEntriesWithoutAPath) {
  EXPECT_EQ(parse("[{},{\"path\":\"\"},{\"path\":5},{\"path\":null},{\"path\":[\"a\"]},"
                  "{\"size\":3},{\"path\":true},{\"path\":{\"path\":\"a\"}},"
                  "{\"path\":\"\",\"jpegSize\":4},{\"path\":\"b\"}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("b from b, 0"));
  EXPECT_THAT(callback.calls(), IsEmpty());
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
                  "{\"path\":\"h\",\"download\":\"always \"},"
                  "{\"path\":\"i\",\"download\":\"always\\u0000\"},"
                  "{\"path\":\"j\",\"download\":\"alway\"}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0", "b from b, 0", "f from f, 0"));
}

TEST_F(ListFile, CountsAPolicyOfAnotherTypeAsAlways) {
  EXPECT_EQ(parse("[{\"path\":\"a\",\"download\":5},{\"path\":\"b\",\"download\":null},"
                  "{\"path\":\"c\",\"download\":false},{\"path\":\"d\",\"download\":{}},"
                  "{\"path\":\"e\",\"download\":[\"never\"]}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0", "b from b, 0", "c from c, 0", "d from d, 0",
                                     "e from e, 0"));
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
                  "{\"path\":\"f\",\"size\":-9223372036854775808},"
                  "{\"path\":\"g\",\"size\":9223372036854774784.0},"
                  "{\"path\":\"h\",\"size\":-9223372036854775808.0},"
                  "{\"path\":\"i\",\"size\":-12.0},{\"path\":\"j\",\"size\":0},"
                  "{\"path\":\"k\",\"size\":2147483648},"
                  "{\"path\":\"m\",\"size\":120e-1}]\n"),
            0);
  EXPECT_THAT(entries(),
              ElementsAre("a from a, 12", "b from b, 12", "c from c, 1000", "d from d, -4",
                          "e from e, 9223372036854775807", "f from f, -9223372036854775808",
                          "g from g, 9223372036854774784", "h from h, -9223372036854775808",
                          "i from i, -12", "j from j, 0", "k from k, 2147483648", "m from m, 12"));
}

TEST_F(ListFile, CountsEveryOtherSizeAsUnknown) {
  EXPECT_EQ(parse("[{\"path\":\"a\",\"size\":\"12\"},{\"path\":\"b\",\"size\":12.5},"
                  "{\"path\":\"c\",\"size\":9223372036854775808},{\"path\":\"d\",\"size\":1e300},"
                  "{\"path\":\"e\",\"size\":true},{\"path\":\"f\",\"size\":null},"
                  "{\"path\":\"g\",\"size\":[12]},"
                  "{\"path\":\"h\",\"size\":-1e19},{\"path\":\"i\",\"size\":0.5},"
                  "{\"path\":\"j\",\"size\":9223372036854775808.0},"
                  "{\"path\":\"k\",\"size\":-9223372036854777856.0},"
                  "{\"path\":\"l\",\"size\":18446744073709551615},"
                  "{\"path\":\"m\",\"size\":18446744073709551616},"
                  "{\"path\":\"n\",\"size\":-0.5},{\"path\":\"o\",\"size\":{\"size\":12}},"
                  "{\"path\":\"p\"}]\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("a from a, 0", "b from b, 0", "c from c, 0", "d from d, 0",
                                     "e from e, 0", "f from f, 0", "g from g, 0", "h from h, 0",
                                     "i from i, 0", "j from j, 0", "k from k, 0", "l from l, 0",
                                     "m from m, 0", "n from n, 0", "o from o, 0", "p from p, 0"));
}

// Lossy maps.

TEST_F(ListFile, TakesTheLossyVariantOfAMap) {
  EXPECT_EQ(parse("[{\"path\":\"a/b.tx\",\"size\":90000,\"jpegSize\":5000},"
                  "{\"path\":\"c.tx\",\"jpegSize\":1},{\"path\":\"d.tx\",\"jpegSize\":2.0},"
                  "{\"path\":\"e.tx\",\"jpegSize\":9223372036854775807},"
                  "{\"path\":\"f.tx.tx\",\"size\":1,\"jpegSize\":2},"
                  "{\"path\":\"g.jpeg.tx\",\"jpegSize\":3}]\n"),
            0);
  EXPECT_THAT(entries(),
              ElementsAre("a/b.tx from a/b.jpeg.tx, 5000", "c.tx from c.jpeg.tx, 1",
                          "d.tx from d.jpeg.tx, 2", "e.tx from e.jpeg.tx, 9223372036854775807",
                          "f.tx.tx from f.tx.jpeg.tx, 2", "g.jpeg.tx from g.jpeg.jpeg.tx, 3"));
}

TEST_F(ListFile, TakesTheMapItselfWithoutALossySize) {
  EXPECT_EQ(parse("[{\"path\":\"a.tx\",\"size\":9,\"jpegSize\":0},"
                  "{\"path\":\"b.tx\",\"size\":9,\"jpegSize\":-1},"
                  "{\"path\":\"c.tx\",\"size\":9,\"jpegSize\":\"5\"},"
                  "{\"path\":\"d.png\",\"size\":9,\"jpegSize\":0},"
                  "{\"path\":\"e.tx\",\"size\":9,\"jpegSize\":5.5},"
                  "{\"path\":\"f.tx\",\"size\":9,\"jpegSize\":9223372036854775808},"
                  "{\"path\":\"g.tx\",\"size\":9,\"jpegSize\":true},"
                  "{\"path\":\"h.tx\",\"size\":9,\"jpegSize\":null},"
                  "{\"path\":\"i.tx\",\"size\":9,\"jpegSize\":-9223372036854775808}]\n"),
            0);
  EXPECT_THAT(entries(),
              ElementsAre("a.tx from a.tx, 9", "b.tx from b.tx, 9", "c.tx from c.tx, 9",
                          "d.png from d.png, 9", "e.tx from e.tx, 9", "f.tx from f.tx, 9",
                          "g.tx from g.tx, 9", "h.tx from h.tx, 9", "i.tx from i.tx, 9"));
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
  for (const std::string path : {"b.TX", "b.tX", "b.tx ", "b.txx", "btx", "b.tx/c", "xtx", ".tX"}) {
    callback.clear();
    EXPECT_EQ(parse("[{\"path\":\"" + path + "\",\"jpegSize\":5000}]\n"), -1);
    EXPECT_THAT(callback.errors(),
                ElementsAre("[DownloaderImpl::ListFile::init] -1: Unexpected extension for lossy "
                            "compressed map (expected \".tx\", got \"" +
                            path + "\""));
  }
}

TEST_F(ListFile, RefusesALossySizeForAPathShorterThanTheExtension) {
  for (const std::string path : {"tx", "x", "t"}) {
    callback.clear();
    EXPECT_EQ(parse("[{\"path\":\"" + path + "\",\"jpegSize\":1}]\n"), -1);
    EXPECT_THAT(callback.errors(),
                ElementsAre("[DownloaderImpl::ListFile::init] -1: Unexpected extension for lossy "
                            "compressed map (expected \".tx\", got \"" +
                            path + "\""));
  }
}

TEST_F(ListFile, RefusesALossySizeOnlyForASelectedFile) {
  EXPECT_EQ(parse("[{\"path\":\"a.png\",\"download\":\"never\",\"jpegSize\":5}]\n"), 0);
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(ListFile, ReadsNoFormatsInAPath) {
  EXPECT_EQ(parse("[{\"path\":\"%s%n%d\",\"jpegSize\":1}]\n"), -1);
  EXPECT_EQ(parse("[{\"path\":\"../%s%n%d\"}]\n"), -1);
  EXPECT_THAT(
      callback.errors(),
      ElementsAre("[DownloaderImpl::ListFile::init] -1: Unexpected extension for lossy compressed "
                  "map (expected \".tx\", got \"%s%n%d\"",
                  "[DownloaderImpl::parseListFile] -1: Path leaves the target directory: "
                  "\"../%s%n%d\""));
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

TEST_F(ListFile, SkipsAPathThatLeavesTheTargetDirectoryWhenItIsNotSelected) {
  EXPECT_EQ(parse("[{\"path\":\"../x\",\"download\":\"never\"}]\n"), 0);
  EXPECT_EQ(list.count, 0);
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(ListFile, AcceptsRootedPathsAsBelowTheTargetDirectory) {
  EXPECT_EQ(parse("[{\"path\":\"/etc/x\"},{\"path\":\"\\\\\\\\server\\\\share\\\\x\"}]\n"), 0);
  EXPECT_THAT(entries(), ElementsAre("/etc/x from /etc/x, 0",
                                     "\\\\server\\share\\x from \\\\server\\share\\x, 0"));
}

// The JSON text.

TEST_F(ListFile, TakesTheMembersOfAnObjectInTheOrderOfTheirKeys) {
  EXPECT_EQ(parse("{}\n"), 0);
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(parse("{\"z\":{\"path\":\"1\"},\"b\":{\"path\":\"2\"},\"ba\":{\"path\":\"3\"},"
                  "\"B\":{\"path\":\"4\"},\"\":{\"path\":\"5\"}}\n"),
            0);
  EXPECT_THAT(entries(), ElementsAre("5 from 5, 0", "4 from 4, 0", "2 from 2, 0", "3 from 3, 0",
                                     "1 from 1, 0"));
}

TEST_F(ListFile, FindsNoEntriesInAScalar) {
  for (const char* text : {"null\n", "5\n", "true\n", "\"text\"\n", "1.5\n", "-1\n", "\"\" "}) {
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

// A record keeps 510 characters, 31 of them for the words in front: what the parser says
// is cut there, so that it makes no difference whether it was cut to 512 before.
TEST_F(ListFile, CutsALongErrorMessage) {
  for (const std::size_t length : {478, 479, 480, 511, 512, 513, 2000}) {
    callback.clear();
    const std::string number = std::string(length - 42, '1') + "e";
    EXPECT_EQ(parse("[" + number + "]\n"), -1);
    const std::string said = "* Line 1, Column 2\n  '" + number + "' is not a number.\n";
    ASSERT_EQ(said.size(), length);
    ASSERT_THAT(callback.chains(), SizeIs(1));
    EXPECT_EQ(callback.chains()[0].head->message,
              "Parsing json file list failed: " + said.substr(0, 479));
  }
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
    // On Windows a colon would name a drive or a stream.
    if (byte != '"' && byte != '\\' && byte != ':') text += static_cast<char>(byte);
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
  const std::pair<std::int64_t, const char*> sizes[] = {
      {1073741825, "logWarning: Incorrect size of json file list (1073741825 bytes)"},
      {4294967297, "logWarning: Incorrect size of json file list (4294967297 bytes)"},
      {INT64_MAX, "logWarning: Incorrect size of json file list (9223372036854775807 bytes)"}};
  for (const auto& [size, expected] : sizes) {
    callback.clear();
    StubStream stream;
    stream.claimedSize = size;
    EXPECT_EQ(downloader.parseListFile(stream, list), -1);
    EXPECT_THAT(callback.transcript(), ElementsAre(expected));
    EXPECT_THAT(stream.readSizes, IsEmpty());
  }
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
  EXPECT_THAT(callback.transcript(),
              ElementsAre("reportError: [DownloaderImpl::parseListFile] -1: Reading json file list "
                          "failed | [StubStream::Read] 23: unreadable"));
  EXPECT_THAT(stream.readSizes, ElementsAre(1073741824));
}

TEST_F(ListFile, ReportsAStreamThatEndsEarly) {
  StubStream stream;
  fill(stream, "[]\n");
  stream.claimedSize = 10;
  EXPECT_EQ(downloader.parseListFile(stream, list), -1);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("reportError: [DownloaderImpl::parseListFile] -1: Reading json file list "
                          "failed | [PStream::ReadBuffer] -1: Expected 10 bytes, got 3"));
}

TEST_F(ListFile, ReadsOnlyAsManyBytesAsTheStreamClaims) {
  StubStream stream;
  fill(stream, "[]\n, and more");
  stream.claimedSize = 3;
  EXPECT_EQ(downloader.parseListFile(stream, list), 0);
  EXPECT_THAT(stream.readSizes, ElementsAre(3));
}

TEST_F(ListFile, ReadsListsAroundTheSizesOfItsBuffers) {
  for (const std::size_t size : {99, 100, 101, 200, 16383, 16384, 16385}) {
    list = DownloaderImpl::ListFile();
    const std::string head = "[{\"path\":\"a\"}";
    EXPECT_EQ(parse(head + std::string(size - head.size() - 2, ' ') + "]\n"), 0) << size;
    EXPECT_THAT(entries(), ElementsAre("a from a, 0")) << size;
  }
}

// Growth.

TEST_F(ListFile, GrowsInStepsOfAHundred) {
  const std::pair<std::int32_t, std::int32_t> capacities[] = {
      {1, 100}, {99, 100}, {100, 100}, {101, 200}, {200, 200}, {201, 300}, {250, 300}};
  for (const auto& [count, capacity] : capacities) {
    list = DownloaderImpl::ListFile();
    std::string text = "[{\"path\":\"0\"}";
    for (int i = 1; i < count; ++i)
      text += ",{\"path\":\"" + std::to_string(i) + "\",\"size\":" + std::to_string(i) + "}";
    EXPECT_EQ(parse(text + "]\n"), 0);
    ASSERT_EQ(list.count, count);
    EXPECT_EQ(list.capacity, capacity);
    for (std::int32_t i = 0; i < count; ++i) {
      const ListFileEntry& entry = list.entries[static_cast<std::size_t>(i)];
      EXPECT_EQ(entry.localName.text(), std::to_string(i));
      EXPECT_EQ(entry.size, i);
    }
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
  list.resizeList(200, false);
  EXPECT_EQ(list.capacity, 200);
  list.resizeList(201, false);
  EXPECT_EQ(list.capacity, 300);
  EXPECT_EQ(list.count, 201);
}

TEST(ResizeList, AddsAWholeStepToARoundCount) {
  DownloaderImpl::ListFile list;
  list.resizeList(100, false);
  EXPECT_EQ(list.capacity, 200);
  list.growStep = 1;
  list.resizeList(300, false);
  EXPECT_EQ(list.capacity, 301);
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
  list.resizeList(8, true);
  EXPECT_EQ(list.capacity, 8);
  list.growStep = 0;
  list.resizeList(9, true);
  EXPECT_EQ(list.capacity, 9);
  EXPECT_EQ(list.count, 9);
}

TEST(ResizeList, DoublesWithoutAStep) {
  for (const std::int32_t step : {0, -1, -100}) {
    DownloaderImpl::ListFile list;
    list.growStep = step;
    list.resizeList(3, false);
    EXPECT_EQ(list.capacity, 3);
    list.resizeList(4, false);
    EXPECT_EQ(list.capacity, 6);
    list.resizeList(13, false);
    EXPECT_EQ(list.capacity, 24);
    list.resizeList(48, false);
    EXPECT_EQ(list.capacity, 48);
    EXPECT_EQ(list.count, 48);
  }
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
