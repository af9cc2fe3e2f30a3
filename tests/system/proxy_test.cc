// Tests whether requests go through the proxy; the server also plays the part of the proxy.
#include <string>

#include "system_fixture.h"

namespace {

class Proxy : public SystemTest {
 protected:
  Proxy() {
    writeFile(target("id.txt"), "v1");
    publish("v1", "[]");
  }

  void use(const std::string& address) {
    settings_.proxyMode = PROXY_MODE_EXPLICIT;
    settings_.proxyAddress = address.c_str();
  }

  std::string proxyAddress() const { return "127.0.0.1:" + std::to_string(server_.port()); }
};

TEST_F(Proxy, AnExplicitOneReceivesWholeAddresses) {
  use(proxyAddress());
  settings_.remoteAddress = "http://library.invalid:81/lib";
  server_.serve("http://library.invalid:81/lib/id.txt", "v2");
  server_.serve("http://library.invalid:81/lib/filelist.json", R"([{"path":"a b.tx"}])"
                                                               "\n");
  server_.serve("http://library.invalid:81/lib/a%20b.tx", "a");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: target/id.txt "v1"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://library.invalid:81/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy address: \"%s\"", "SERVER")
      logStage("Downloading remote stamp file")
      setProgressText("Accessing stamp")
      GET http://library.invalid:81/lib/id.txt HTTP/1.1 [Host: library.invalid:81] [Accept: */*] [Proxy-Connection: Keep-Alive] [User-Agent: mtldownloader]
      endProgress()
      logStage("Opening local stamp file \"%s\"", "DIR/target/id.txt")
      logStage("Local and remote stamp files are different.")
      setProgressText("Getting file list")
      GET http://library.invalid:81/lib/filelist.json HTTP/1.1 [Host: library.invalid:81] [Accept: */*] [Proxy-Connection: Keep-Alive] [User-Agent: mtldownloader]
      endProgress()
      setProgressText("Downloading files")
      logStage("Downloading file \"%s\" (%lli bytes)", "a b.tx", 0)
      GET http://library.invalid:81/lib/a%20b.tx HTTP/1.1 [Host: library.invalid:81] [Accept: */*] [Proxy-Connection: Keep-Alive] [User-Agent: mtldownloader]
      endProgress()
      returned 0
      on disk: target/a b.tx "a"
      on disk: target/id.txt "v2"
  )--");
}

TEST_F(Proxy, AnExplicitOneWithoutAnAddressIsNone) {
  use("");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
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
      logStage("Local and remote stamp files match. Nothing to do.")
      returned 0
      on disk: target/id.txt "v1"
  )--");
}

TEST_F(Proxy, AnAddressIsNotUsedWhenProxiesAreDisabled) {
  use(proxyAddress());
  settings_.proxyMode = PROXY_MODE_DISABLED;
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
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
      logStage("Local and remote stamp files match. Nothing to do.")
      returned 0
      on disk: target/id.txt "v1"
  )--");
}

TEST_F(Proxy, AnAddressWithAPathIsWarnedOfAndNotUsed) {
  use("http://" + proxyAddress() + "/");
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: target/id.txt "v1"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy address: \"%s\"", "http://SERVER/")
      logTaggedError("DownloaderImpl::getHttpProxyForAddr", -1, "Ivalid http proxy address \"%s\". Using direct connection.", "http://SERVER/")
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

TEST_F(Proxy, AnAddressOfAnotherSchemeIsWarnedOfAndNotUsed) {
  use("https://" + proxyAddress());
  EXPECT_EQ(run(), 0);
  expectTranscript(R"--(
      on disk: target/id.txt "v1"
      runDownload()
      logInfo("Remote address: \"%s\"", "http://SERVER/lib")
      logInfo("Target directory: \"%s\"", "DIR/target")
      logStage("Creating download directory")
      logInfo("HTTP proxy address: \"%s\"", "https://SERVER")
      logTaggedError("DownloaderImpl::getHttpProxyForAddr", -1, "Unkown addressing scheme of the http proxy address \"%s\". Using direct connection.", "https://SERVER")
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

}  // namespace
