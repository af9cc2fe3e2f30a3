// Tests checks for an update, which write nothing.
#include <string>

#include "system_fixture.h"

namespace {

using Check = SystemTest;

TEST_F(Check, OfAnUpToDateCopyGivesZero) {
  writeFile(target("id.txt"), "v1");
  publish("v1", "[]");
  EXPECT_EQ(check(), 0);
  expectTranscript(R"--(
      on disk: target/id.txt "v1"
      checkForUpdate()
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Local and remote stamp files match. Nothing to do.")
      returned 0
      on disk: target/id.txt "v1"
  )--");
}

TEST_F(Check, OfAnOutdatedCopyGivesOneAndTheRunFetchesTheStampAgain) {
  writeFile(target("id.txt"), "v1");
  publish("v2", "[]");
  EXPECT_EQ(check(), 1);
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(check(), 0);
  expectTranscript(R"--(
      on disk: target/id.txt "v1"
      checkForUpdate()
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Local and remote stamp files are different.")
      returned 1
      on disk: target/id.txt "v1"
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
      returned 0
      on disk: target/id.txt "v2"
      checkForUpdate()
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Local and remote stamp files match. Nothing to do.")
      returned 0
      on disk: target/id.txt "v2"
  )--");
}

TEST_F(Check, WithoutACopyGivesOneAndMakesNoDirectory) {
  publish("v1", "[]");
  EXPECT_EQ(check(), 1);
  expectTranscript(R"--(
      on disk: nothing
      checkForUpdate()
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Opening local stamp file failed: %s", "[PFileStream::Open] 3: (3) The system cannot find the path specified.\r\n")
      returned 1
      on disk: nothing
  )--");
}

TEST_F(Check, WithoutARemoteStampFails) {
  writeFile(target("id.txt"), "v1");
  EXPECT_EQ(check(), -1);
  expectTranscript(R"--(
      on disk: target/id.txt "v1"
      checkForUpdate()
      logInfo("HTTP proxy disabled. Using direct connection.")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET /lib/id.txt HTTP/1.1 [Host: SERVER] [Accept: */*] [User-Agent: mtldownloader]
      endProgress()
      reportError("DownloaderImpl::readRemoteIdFile", -1, "Could not download remote stamp file")
      over("HttpDldDone::expectStatus", -1, "Unexpected HTTP status (404)")
      returned -1
      on disk: target/id.txt "v1"
  )--");
}

TEST_F(Check, WithoutAGetterFailsWithoutANetwork) {
  settings_.remoteAddress = "://library.example";
  EXPECT_EQ(check(), -1);
  expectTranscript(R"--(
      on disk: nothing
      checkForUpdate()
      reportError("DownloaderImpl::initHttpGetter", -1, "Could not use download URL \"://library.example\"")
      over("DownloaderImpl::initHttpGetter", -1, "Unkown addressing scheme")
      returned -1
      on disk: nothing
  )--");
  EXPECT_EQ(server_.connectionCount(), 0);
}

}  // namespace
