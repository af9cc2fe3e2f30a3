// Tests runs that succeed, as seen by the host, the server and the disk.
#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "system_fixture.h"

namespace {

using Files = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

using Synchronisation = SystemTest;

TEST_F(Synchronisation, TheFirstRunFetchesEverythingAndWritesTheStamp) {
  publish("v1\n", R"([{"path":"a.txt","size":5},{"path":"maps/b.tx","size":6}])");
  server_.serve("/lib/a.txt", "first");
  server_.serve("/lib/maps/b.tx", "second");
  answer("/lib/a.txt", "GET /lib/maps/b.tx ");
  answer("/lib/maps/b.tx", "setProgressValue(455)");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: nothing
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 2: (2) The system cannot find the file specified.\r\n")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      setProgressText("Downloading files (0MB / 0MB)")
      setProgressRange(1000)
      setProgressValue(0)
      beginProgress()
      logStage("Downloading file \"%s\" (%lli bytes)", "a.txt", 5)
      GET /lib/a.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "maps/b.tx", 6)
      GET /lib/maps/b.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(455)
      setProgressValue(1000)
      endProgress()
      returned 0
      on disk: target/a.txt "first"
      on disk: target/id.txt "v1\n"
      on disk: target/maps/b.tx "second"
  )--");
}

TEST_F(Synchronisation, MatchingStampsEndTheRunAfterOneRequest) {
  writeFile(target("id.txt"), "v1\n");
  const auto before = std::filesystem::last_write_time(target("id.txt"));
  publish("v1\n", R"([{"path":"a.tx"}])");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: target/id.txt "v1\n"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Local and remote stamp files match. Nothing to do.")
      returned 0
      on disk: target/id.txt "v1\n"
  )--");
  EXPECT_EQ(std::filesystem::last_write_time(target("id.txt")), before);
}

TEST_F(Synchronisation, AStampThatDiffersInOneByteStartsARun) {
  writeFile(target("id.txt"), "v1");
  writeFile(target("a.tx"), "a longer content than the new one");
  publish("v1\n", R"([{"path":"a.tx","size":5}])");
  server_.serve("/lib/a.tx", "short");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: target/a.tx "a longer content than the new one"
      on disk: target/id.txt "v1"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Local and remote stamp files are different.")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      setProgressText("Downloading files (0MB / 0MB)")
      setProgressRange(1000)
      setProgressValue(0)
      beginProgress()
      logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 5)
      GET /lib/a.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(1000)
      endProgress()
      returned 0
      on disk: target/a.tx "short"
      on disk: target/id.txt "v1\n"
  )--");
}

TEST_F(Synchronisation, ASubPathStandsBehindForTheStampAndInFrontForTheList) {
  settings_.subPath = "beta";
  server_.serve("/lib/beta/id.txt", "v1");
  server_.serve("/beta/lib/filelist.json", R"([{"path":"a.tx"},{"path":"beta/b.tx"}])"
                                           "\n");
  server_.serve("/lib/a.tx", "a");
  server_.serve("/lib/beta/b.tx", "b");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: nothing
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/beta/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/beta/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 3: (3) The system cannot find the path specified.\r\n")
      setProgressText("Getting file list")
      GET /beta/lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 0)
      GET /lib/a.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "beta/b.tx", 0)
      GET /lib/beta/b.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      returned 0
      on disk: target/a.tx "a"
      on disk: target/beta/b.tx "b"
      on disk: target/beta/id.txt "v1"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/beta/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/beta/id.txt")
      logStage("Local and remote stamp files match. Nothing to do.")
      returned 0
      on disk: target/a.tx "a"
      on disk: target/beta/b.tx "b"
      on disk: target/beta/id.txt "v1"
  )--");
}

TEST_F(Synchronisation, AnEmptyListStillWritesTheStamp) {
  publish("v2", "[]");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: nothing
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 2: (2) The system cannot find the file specified.\r\n")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      returned 0
      on disk: target/id.txt "v2"
  )--");
}

TEST_F(Synchronisation, OneEntryIsSavedWithoutAWordAndMayBeLargerThanListed) {
  publish("v1", R"([{"path":"a.tx","size":5}])");
  server_.serve("/lib/a.tx", "ten bytes!");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: nothing
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 2: (2) The system cannot find the file specified.\r\n")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      setProgressText("Downloading files (0MB / 0MB)")
      setProgressRange(1000)
      setProgressValue(0)
      beginProgress()
      logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 5)
      GET /lib/a.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(2000)
      endProgress()
      returned 0
      on disk: target/a.tx "ten bytes!"
      on disk: target/id.txt "v1"
  )--");
}

TEST_F(Synchronisation, SevenFilesCompleteInAnOrderOfTheirOwn) {
  publishFiles(7);
  // The clients of f2 and f4 are needed again; the others' bodies wait for the end.
  answer("/lib/f2", "GET /lib/f4 ");
  answer("/lib/f4", "GET /lib/f5 ");
  answer("/lib/f6", "GET /lib/f6 ");
  answer("/lib/f5", "setProgressValue(429)");
  answer("/lib/f3", "setProgressValue(571)");
  answer("/lib/f1", "setProgressValue(714)");
  answer("/lib/f0", "setProgressValue(857)");
  transcript_.after(R"(logStage("Saving file \"%s\"", "f4"))", [this] { describeDisk(); });
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: nothing
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 2: (2) The system cannot find the file specified.\r\n")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      setProgressText("Downloading files (0MB / 0MB)")
      setProgressRange(1000)
      setProgressValue(0)
      beginProgress()
      logStage("Downloading file \"%s\" (%lli bytes)", "f0", 10)
      GET /lib/f0 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f1", 10)
      GET /lib/f1 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f2", 10)
      GET /lib/f2 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f3", 10)
      GET /lib/f3 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f4", 10)
      GET /lib/f4 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(143)
      logStage("Saving file \"%s\"", "f2")
      logStage("Downloading file \"%s\" (%lli bytes)", "f5", 10)
      GET /lib/f5 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(286)
      logStage("Saving file \"%s\"", "f4")
      on disk: target/f2 "content f2"
      logStage("Downloading file \"%s\" (%lli bytes)", "f6", 10)
      GET /lib/f6 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(429)
      setProgressValue(571)
      setProgressValue(714)
      setProgressValue(857)
      setProgressValue(1000)
      endProgress()
      returned 0
      on disk: target/f0 "content f0"
      on disk: target/f1 "content f1"
      on disk: target/f2 "content f2"
      on disk: target/f3 "content f3"
      on disk: target/f4 "content f4"
      on disk: target/f5 "content f5"
      on disk: target/f6 "content f6"
      on disk: target/id.txt "new"
  )--");
}

TEST_F(Synchronisation, FilesOfUnknownSizesAreFetchedWithoutProgress) {
  publish("v1", R"([{"path":"a.tx"},{"path":"b.tx","size":"12"}])");
  server_.serve("/lib/a.tx", "a");
  server_.serve("/lib/b.tx", "b");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: nothing
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 2: (2) The system cannot find the file specified.\r\n")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 0)
      GET /lib/a.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "b.tx", 0)
      GET /lib/b.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      returned 0
      on disk: target/a.tx "a"
      on disk: target/b.tx "b"
      on disk: target/id.txt "v1"
  )--");
}

TEST_F(Synchronisation, OnlySelectedEntriesAreFetchedAndLossyMapsUnderAnotherName) {
  writeFile(target("kept.tx"), "the user's");
  publish("v1", R"([{"path":"kept.tx","size":50,"download":"missing"},
                    {"path":"new.tx","size":3,"download":"missing"},
                    {"path":"never.tx","size":50,"download":"never"},
                    {"path":"always.tx","size":6,"download":"always"},
                    {"path":"maps/oak.tx","size":50,"jpegSize":4}])");
  server_.serve("/lib/new.tx", "new");
  server_.serve("/lib/always.tx", "always");
  server_.serve("/lib/maps/oak.jpeg.tx", "jpeg");
  answer("/lib/new.tx", "GET /lib/maps/oak.jpeg.tx ");
  answer("/lib/always.tx", "setProgressValue(231)");
  answer("/lib/maps/oak.jpeg.tx", "setProgressValue(692)");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: target/kept.tx "the user's"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 2: (2) The system cannot find the file specified.\r\n")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      setProgressText("Downloading files (0MB / 0MB)")
      setProgressRange(1000)
      setProgressValue(0)
      beginProgress()
      logStage("Downloading file \"%s\" (%lli bytes)", "new.tx", 3)
      GET /lib/new.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "always.tx", 6)
      GET /lib/always.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "maps/oak.jpeg.tx", 4)
      GET /lib/maps/oak.jpeg.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(231)
      setProgressValue(692)
      setProgressValue(1000)
      endProgress()
      returned 0
      on disk: target/always.tx "always"
      on disk: target/id.txt "v1"
      on disk: target/kept.tx "the user's"
      on disk: target/maps/oak.tx "jpeg"
      on disk: target/new.tx "new"
  )--");
}

TEST_F(Synchronisation, ALaterRunKeepsTheServerAndReadsTheDirectoryAnew) {
  publish("v1", R"([{"path":"a.tx"}])");
  server_.serve("/lib/a.tx", "a");
  EXPECT_EQ(run(), 0);
  settings_.remoteAddress = "http://127.0.0.1:9/elsewhere";
  settings_.proxyMode = PROXY_MODE_EXPLICIT;
  settings_.proxyAddress = "127.0.0.1:9";
  settings_.targetDirectory = (directory_ / "other").c_str();
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: nothing
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 2: (2) The system cannot find the file specified.\r\n")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 0)
      GET /lib/a.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      returned 0
      on disk: target/a.tx "a"
      on disk: target/id.txt "v1"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://127.0.0.1:9/elsewhere")
      logInfo("Target directory: \"%s\"", "DIR/other")
      logStage("Creating download directory")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/other/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 2: (2) The system cannot find the file specified.\r\n")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 0)
      GET /lib/a.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      returned 0
      on disk: other/a.tx "a"
      on disk: other/id.txt "v1"
      on disk: target/a.tx "a"
      on disk: target/id.txt "v1"
  )--");
}

// How many pieces a body arrives in is up to the system, so what is recorded of them is only
// bounded: each figure higher than the one before, the last the whole.
TEST_F(Synchronisation, ProgressOfLargeFilesOnlyGrows) {
  std::string list;
  for (const char* name : {"f0", "f1", "f2", "f3", "f4", "f5"}) {
    list += (list.empty() ? R"([{"path":")" : R"(,{"path":")") + std::string(name) +
            R"(","size":500000})";
    server_.serve("/lib/" + std::string(name), std::string(500000, 'x'));
  }
  publish("v1\n", list + "]");
  EXPECT_EQ(run(), 0);
  const Lines expected{"Accessing stamp",
                       "Getting file list",
                       "Downloading files",
                       "Downloading files (0MB / 3MB)",
                       "Downloading files (1MB / 3MB)",
                       "Downloading files (2MB / 3MB)",
                       "Downloading files (3MB / 3MB)"};
  EXPECT_EQ(callback_.textsOf("setProgressText"), expected);
  EXPECT_EQ(callback_.textsOf("setProgressRange"), Lines{"1000"});
  std::vector<int> values;
  for (const std::string& value : callback_.textsOf("setProgressValue"))
    values.push_back(std::stoi(value));
  EXPECT_EQ(values.front(), 0);
  EXPECT_EQ(values.back(), 1000);
  // The zero of the beginning may be followed by that of the first bytes.
  EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
  EXPECT_EQ(std::adjacent_find(values.begin() + 1, values.end()), values.end());
}

TEST_F(Synchronisation, NamesAreEncodedForTheServerAndKeptOnDisk) {
  publish("v1", R"([{"path":"a b/\u00e9+%#.tx"}])");
  server_.serve("/lib/a%20b/%C3%A9%2B%25%23.tx", "content");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(target("a b/\xC3\xA9+%#.tx")), "content");
}

TEST_F(Synchronisation, NamesMayBeOfAnyScript) {
  publish("v1", R"([{"path":"\u65e5\u672c \u8a9e/\u0434\u0443\u0431 1.tx","size":7}])");
  server_.serve("/lib/%E6%97%A5%E6%9C%AC%20%E8%AA%9E/%D0%B4%D1%83%D0%B1%201.tx", "content");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readTree(target_), (Files{{"日本 語/дуб 1.tx", "content"}, {"id.txt", "v1"}}));
  EXPECT_THAT(callback_.textsOf("logStage"),
              testing::Contains("Downloading file \"日本 語/дуб 1.tx\" (7 bytes)"));
}

TEST_F(Synchronisation, NamesNeedNotBeUtf8) {
  const std::string list = "[{\"path\":\"\xFFmaps/oak\x80.tx\",\"download\":\"missing\"}]";
  publish("v1", list);
  server_.serve("/lib/%FFmaps/oak%80.tx", "content");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(callback_.textsOf("logStage"),
              testing::Contains("Downloading file \"\xFFmaps/oak\x80.tx\" (0 bytes)"));
  // Found again under the same name.
  server_.forgetRequests();
  publish("v2", list);
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(server_.requestLines(), (Lines{"GET /lib/id.txt", "GET /lib/filelist.json"}));
  EXPECT_EQ(readTree(target_).size(), 2U);
}

TEST_F(Synchronisation, ADownloaderAThreadRunsBesideOthers) {
  publish("v1", R"([{"path":"a.tx"}])");
  server_.serve("/lib/a.tx", "content");
  constexpr int kThreads = 8;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([this, i] {
      const std::string own = directory_ / ("copy" + std::to_string(i));
      RecordingCallback callback;
      DownloaderSettings settings;
      settings.remoteAddress = settings_.remoteAddress;
      settings.proxyMode = PROXY_MODE_DISABLED;
      settings.targetDirectory = own.c_str();
      DownloaderImpl* downloader = library_.createDownloader(&callback, &settings);
      EXPECT_EQ(library_.runDownload(downloader), 0);
      library_.destroyDownloader(downloader);
      EXPECT_EQ(readFile(own + "/a.tx"), "content");
    });
  }
  for (std::thread& thread : threads)
    thread.join();
}

}  // namespace
