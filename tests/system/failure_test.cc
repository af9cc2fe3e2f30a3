// Tests runs that fail: the failure is reported once, the old stamp stays, and the next run starts
// over.
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/unknown_host.h"
#include "system_fixture.h"

namespace {

using Files = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

class Failure : public SystemTest {
 protected:
  Failure() { writeFile(target("id.txt"), "old"); }

  void expectFailure(const std::string& chain) {
    EXPECT_EQ(run(), -1);
    EXPECT_EQ(callback_.errors(), Lines{chain});
    EXPECT_EQ(readFile(target("id.txt")), "old");
  }
};

TEST_F(Failure, AMissingStampIsReported) {
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      reportError("DownloaderImpl::readRemoteIdFile", -1, "Could not download remote stamp file")
      over("HttpDldDone::expectStatus", -1, "Unexpected HTTP status (404)")
      returned -1
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Failure, AnEmptyStampIsReported) {
  publish("", "[]");
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      reportError("DownloaderImpl::readRemoteIdFile", -1, "Remote stamp file is empty")
      returned -1
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Failure, AMissingListIsReported) {
  server_.serve("/lib/id.txt", "new");
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
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
      reportError("DownloaderImpl::downloadListFile", -1, "Could not download list file")
      over("HttpDldDone::expectStatus", -1, "Unexpected HTTP status (404)")
      returned -1
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Failure, AnEmptyListFileIsAWarning) {
  server_.serve("/lib/id.txt", "new");
  server_.serve("/lib/filelist.json", "");
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
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
      logWarning("Incorrect size of json file list (%lli bytes)", 0)
      returned -1
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Failure, AnElementThatIsNoObjectEndsTheRunBeforeAnyFile) {
  publish("new", R"([{"path":"a.tx","size":1}, 7])");
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
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
      reportError("DownloaderImpl::parseListFile", -1, "Parsing json file list failed (object expceted)")
      returned -1
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Failure, AMissingFileAmongManyEndsTheRequestsAndKeepsWhatWasSaved) {
  publishFiles(10);
  server_.remove("/lib/f2");
  answer("/lib/f0", "GET /lib/f4 ");
  answer("/lib/f1", "GET /lib/f5 ");
  answer("/lib/f2", "GET /lib/f6 ");
  // The page about the missing file has eight bytes.
  answer("/lib/f3", "setProgressValue(280)");
  answer("/lib/f4", "setProgressValue(380)");
  answer("/lib/f5", "setProgressValue(480)");
  answer("/lib/f6", "setProgressValue(580)");
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
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
      setProgressValue(100)
      logStage("Saving file \"%s\"", "f0")
      logStage("Downloading file \"%s\" (%lli bytes)", "f5", 10)
      GET /lib/f5 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(200)
      logStage("Saving file \"%s\"", "f1")
      logStage("Downloading file \"%s\" (%lli bytes)", "f6", 10)
      GET /lib/f6 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(280)
      setProgressValue(380)
      setProgressValue(480)
      setProgressValue(580)
      setProgressValue(680)
      reportError("DownloaderImpl::downloadFiles", -1, "Downloading \"f2\" file failed")
      over("HttpDldDone::expectStatus", -1, "Unexpected HTTP status (404)")
      endProgress()
      returned -1
      on disk: target/f0 "content f0"
      on disk: target/f1 "content f1"
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Failure, AMissingFileAtTheEndDropsTheLaterOnesAndTheNextRunStartsOver) {
  publishFiles(3);
  server_.remove("/lib/f1");
  answer("/lib/f0", "GET /lib/f2 ");
  answer("/lib/f1", "setProgressValue(333)");
  answer("/lib/f2", "setProgressValue(600)");
  EXPECT_EQ(run(), -1);
  server_.serve("/lib/f1", "content f1");
  answer("/lib/f0", "GET /lib/f2 ");
  answer("/lib/f1", "setProgressValue(333)");
  answer("/lib/f2", "setProgressValue(667)");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
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
      logStage("Downloading file \"%s\" (%lli bytes)", "f0", 10)
      GET /lib/f0 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f1", 10)
      GET /lib/f1 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f2", 10)
      GET /lib/f2 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(333)
      setProgressValue(600)
      setProgressValue(933)
      reportError("HttpDldDone::expectStatus", -1, "Unexpected HTTP status (404)")
      endProgress()
      returned -1
      on disk: target/f0 "content f0"
      on disk: target/id.txt "old"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
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
      logStage("Downloading file \"%s\" (%lli bytes)", "f0", 10)
      GET /lib/f0 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f1", 10)
      GET /lib/f1 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "f2", 10)
      GET /lib/f2 HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      setProgressValue(333)
      setProgressValue(667)
      setProgressValue(1000)
      endProgress()
      returned 0
      on disk: target/f0 "content f0"
      on disk: target/f1 "content f1"
      on disk: target/f2 "content f2"
      on disk: target/id.txt "new"
  )--");
}

TEST_F(Failure, AFileThatCannotBeSavedWhileOthersRunEndsTheRequests) {
  publishFiles(7);
  std::filesystem::create_directory(target("f0"));
  answer("/lib/f0", "GET /lib/f4 ");
  answer("/lib/f1", R"--(logStage("Downloading file \"%s\" (%lli bytes)", "f5", 10))--");
  answer("/lib/f2", "setProgressValue(286)");
  answer("/lib/f3", "setProgressValue(429)");
  answer("/lib/f4", "setProgressValue(571)");
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/f0/
      on disk: target/id.txt "old"
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
      logStage("Saving file \"%s\"", "f0")
      logStage("Downloading file \"%s\" (%lli bytes)", "f5", 10)
      setProgressValue(286)
      setProgressValue(429)
      setProgressValue(571)
      setProgressValue(714)
      reportError("DownloaderImpl::downloadFiles", -1, "Requesting download for \"f5\" file failed")
      over("DownloaderImpl::saveFile", -1, "Could not create file \"f0\"")
      over("PFileStream::Create", 5, "(5) Access is denied.\r\n")
      endProgress()
      returned -1
      on disk: target/f0/
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Failure, AFileThatCannotBeSavedAtTheEndDropsTheLaterOnes) {
  writeFile(target("maps"), "a file");
  publish("new", R"([{"path":"a.tx"},{"path":"maps/b.tx"},{"path":"c.tx"}])");
  server_.serve("/lib/a.tx", "a");
  server_.serve("/lib/maps/b.tx", "b");
  server_.serve("/lib/c.tx", "c");
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
      on disk: target/maps "a file"
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
      logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 0)
      GET /lib/a.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "maps/b.tx", 0)
      GET /lib/maps/b.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      logStage("Downloading file \"%s\" (%lli bytes)", "c.tx", 0)
      GET /lib/c.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      reportError("DownloaderImpl::saveFile", -1, "Could not create directory path to \"maps/b.tx\"")
      over("createPathImpl", 183, "DIR\\target\\maps\\ already exists, but is not a valid directory")
      endProgress()
      returned -1
      on disk: target/a.tx "a"
      on disk: target/id.txt "old"
      on disk: target/maps "a file"
  )--");
}

TEST_F(Failure, AStampThatCannotBeCreatedIsAWarning) {
  std::filesystem::remove(target("id.txt"));
  std::filesystem::create_directory(target("id.txt"));
  publish("new", R"([{"path":"a.tx"}])");
  server_.serve("/lib/a.tx", "a");
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt/
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
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 5: (5) Access is denied.\r\n")
      setProgressText("Getting file list")
      GET /lib/filelist.json HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      logStage("Downloading file \"%s\" (%lli bytes)", "a.tx", 0)
      GET /lib/a.tx HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logWarning("Creating local stamp file failed: %s", "[PFileStream::Create] 5: (5) Access is denied.\r\n")
      returned -1
      on disk: target/a.tx "a"
      on disk: target/id.txt/
  )--");
}

TEST_F(Failure, AStampInASubPathThatNoFileMadeCannotBeCreated) {
  settings_.subPath = "beta";
  server_.serve("/lib/beta/id.txt", "new");
  server_.serve("/beta/lib/filelist.json", "[]\n");
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
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
      logWarning("Creating local stamp file failed: %s", "[PFileStream::Create] 3: (3) The system cannot find the path specified.\r\n")
      returned -1
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Failure, AnUnknownSchemeLeavesNoGetterBehind) {
  publish("old", "[]");
  settings_.remoteAddress = "ftp://library.example/lib";
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(server_.connectionCount(), 0);
  settings_.remoteAddress = (server_.address() + "/lib").c_str();
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
      runDownload()
      logInfo("Remote address: \"%s\"", "ftp://library.example/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      reportError("DownloaderImpl::initHttpGetter", -1, "Could not use download URL \"ftp://library.example/lib\"")
      over("DownloaderImpl::initHttpGetter", -1, "Unkown addressing scheme")
      returned -1
      on disk: target/id.txt "old"
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
      on disk: target/id.txt "old"
  )--");
}

TEST_F(Failure, AFileWhereTheTargetDirectoryShouldBeIsReportedWithoutANetwork) {
  settings_.targetDirectory = target("id.txt").c_str();
  EXPECT_EQ(run(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "old"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target/id.txt")
      logStage("Creating download directory")
      reportError("DownloaderImpl::download", -1, "Create download directory failed")
      over("createPathImpl", 183, "DIR\\target\\id.txt already exists, but is not a valid directory")
      returned -1
      on disk: target/id.txt "old"
  )--");
  EXPECT_EQ(server_.connectionCount(), 0);
}

TEST_F(Failure, AListThatIsNoJsonIsReported) {
  publish("new", "[{");
  EXPECT_LT(run(), 0);
  ASSERT_EQ(callback_.errors().size(), 1U);
  EXPECT_EQ(callback_.errors()[0].find(
                "[DownloaderImpl::parseListFile] -1: Parsing json file list failed: * Line 1"),
            0U);
}

TEST_F(Failure, AListWithoutItsLastNewlineIsReported) {
  server_.serve("/lib/id.txt", "new");
  server_.serve("/lib/filelist.json", "[]");
  EXPECT_LT(run(), 0);
  ASSERT_EQ(callback_.errors().size(), 1U);
  EXPECT_EQ(callback_.errors()[0].find(
                "[DownloaderImpl::parseListFile] -1: Parsing json file list failed: * Line 1"),
            0U);
}

TEST_F(Failure, ACutBodyIsReportedAndNotSaved) {
  publish("new", R"([{"path":"cut"}])");
  server_.handle("/lib/cut", [](const ServerRequest&, Socket& socket) {
    socket.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
    return false;
  });
  expectFailure(
      "[HttpGetter::responseErrorCb] -1: Connection error: reason=7 extraF=0 underlying=18");
  EXPECT_FALSE(std::filesystem::exists(target("cut")));
}

TEST_F(Failure, AnEntryThatLeavesTheTargetIsRefusedBeforeAnythingIsFetched) {
  for (const char* path : {"../evil", "a/../../evil", "..\\\\evil", "a/..", "..", "."}) {
    publish("new", R"([{"path":"good"},{"path":")" + std::string(path) + R"("}])");
    server_.forgetRequests();
    callback_.clear();
    EXPECT_LT(run(), 0);
    ASSERT_EQ(callback_.errors().size(), 1U) << path;
    EXPECT_EQ(callback_.errors()[0].find("[DownloaderImpl::parseListFile] -1: Path leaves the "
                                         "target directory: \""),
              0U);
    EXPECT_EQ(server_.requests().size(), 2U);
  }
  EXPECT_EQ(readTree(directory_ / ""), (Files{{"target/id.txt", "old"}}));
}

TEST_F(Failure, AnAbsolutePathStaysBelowTheTarget) {
  publish("new", R"([{"path":"/etc/x"},{"path":"\\\\server\\share\\y"}])");
  server_.serve("/lib/etc/x", "x");
  server_.serve("/lib/server/share/y", "y");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(target("etc/x")), "x");
  EXPECT_EQ(readFile(target("server/share/y")), "y");
}

TEST_F(Failure, APortThatNobodyListensOnIsReported) {
  const Socket closed = Socket::refuseOnLoopback();
  settings_.remoteAddress = ("http://127.0.0.1:" + std::to_string(closed.port())).c_str();
  EXPECT_LT(run(), 0);
  ASSERT_EQ(callback_.errors().size(), 1U);
  EXPECT_EQ(callback_.errors()[0].find(
                "[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
                "[HttpGetter::responseErrorCb] -1: Connection error: reason=2 extraF=1000 "
                "underlying="),
            0U);
}

TEST_F(Failure, ANameThatDoesNotExistIsReported) {
  settings_.remoteAddress = ("http://" + kUnknownHost + "/lib").c_str();
  expectFailure(
      "[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
      "[HttpGetter::responseErrorCb] -1: Connection error: reason=1 extraF=0 underlying=6");
}

TEST_F(Failure, MalformedAddressesAreReportedWithoutANetwork) {
  const std::map<std::string, std::string> causes{
      {"ftp://h:21/x", "[DownloaderImpl::initHttpGetter] -1: Unkown addressing scheme"},
      {"http://", "[HttpClientPool::setServer] -1: Invalid server \"\", port 80"},
      {"http://h:x/lib", "[HttpClientPool::setServer] -1: Invalid server \"h:x\", port 80"},
      {"http://127.0.0.1:99999/lib",
       "[HttpClientPool::setServer] -1: Invalid server \"127.0.0.1:99999\", port 80"},
      {"http://a:b", "[HttpClientPool::setServer] -1: Invalid server \"a:b\", port 80"},
      {"https://a:99999", "[HttpClientPool::setServer] -1: Invalid server \"a:99999\", port 443"},
      {"https://u@h/lib", "[HttpClientPool::setServer] -1: Invalid server \"u@h\", port 443"},
      {"http://h:0/", "[HttpClientPool::setServer] -1: Invalid server \"h\", port 0"}};
  for (const auto& [address, cause] : causes) {
    callback_.clear();
    settings_.remoteAddress = address.c_str();
    expectFailure("[DownloaderImpl::initHttpGetter] -1: Could not use download URL \"" + address +
                  "\" | " + cause);
  }
  EXPECT_EQ(server_.connectionCount(), 0);
}

}  // namespace
