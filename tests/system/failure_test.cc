// Runs that fail: one report, the old stamp, and the next run starts over.
#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "support/system_text.h"
#include "system_fixture.h"

namespace {

using Files = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

class Failure : public SystemTest {
 protected:
  Failure() { writeFile(target("id.txt"), "old"); }

  void expectFailure(const std::string& chain) {
    EXPECT_LT(run(), 0);
    EXPECT_EQ(callback_.errors(), Lines{chain});
    EXPECT_EQ(readFile(target("id.txt")), "old");
  }
};

TEST_F(Failure, AMissingStampIsReported) {
  expectFailure(
      "[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
      "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)");
}

TEST_F(Failure, AnEmptyStampIsReported) {
  publish("", "[]");
  expectFailure("[DownloaderImpl::readRemoteIdFile] -1: Remote stamp file is empty");
}

TEST_F(Failure, AMissingListIsReported) {
  server_.serve("/lib/id.txt", "new");
  expectFailure(
      "[DownloaderImpl::downloadListFile] -1: Could not download list file | "
      "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)");
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
  EXPECT_EQ(callback_.errors().size(), 1U);
}

TEST_F(Failure, AnEmptyListFileIsAWarning) {
  server_.serve("/lib/id.txt", "new");
  server_.serve("/lib/filelist.json", "");
  EXPECT_LT(run(), 0);
  EXPECT_EQ(callback_.textsOf("logWarning"), Lines{"Incorrect size of json file list (0 bytes)"});
  EXPECT_TRUE(callback_.errors().empty());
}

TEST_F(Failure, AMissingFileKeepsWhatWasSavedAndTheOldStamp) {
  std::string list = "[";
  for (int i = 0; i < 10; ++i) {
    const std::string name = "f" + std::to_string(i);
    list += std::string(i > 0 ? "," : "") + R"({"path":")" + name + R"("})";
    if (i != 2) server_.serve("/lib/" + name, "content");
  }
  publish("new", list + "]");
  const char* const held[] = {"/lib/f3", "/lib/f4", "/lib/f5", "/lib/f6"};
  for (const char* name : held)
    server_.hold(name);
  server_.handle("/lib/f2", [&](const ServerRequest&, Socket& socket) {
    // f0 and f1 were saved before their clients asked for f5 and f6.
    return server_.waitForRequests(9) && socket.send(ScriptedServer::response(404, ""));
  });
  std::thread releaser([&] {
    // Only f2 can complete for a while, so its client is the next to be reused.
    server_.waitForRequests(9);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    for (const char* name : held)
      server_.release(name);
  });
  EXPECT_LT(run(), 0);
  releaser.join();
  EXPECT_EQ(callback_.errors(),
            Lines{"[DownloaderImpl::downloadFiles] -1: Downloading \"f2\" file failed | "
                  "[HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)"});
  EXPECT_EQ(readFile(target("f0")), "content");
  EXPECT_EQ(readFile(target("f1")), "content");
  EXPECT_FALSE(std::filesystem::exists(target("f3")));
  EXPECT_EQ(readFile(target("id.txt")), "old");
}

TEST_F(Failure, ANextRunStartsOverAndCompletes) {
  publish("new", R"([{"path":"a"},{"path":"b"}])");
  server_.serve("/lib/a", "a");
  EXPECT_LT(run(), 0);
  server_.serve("/lib/b", "b");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readTree(target_), (Files{{"a", "a"}, {"b", "b"}, {"id.txt", "new"}}));
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

TEST_F(Failure, AFileWhereADirectoryShouldBeIsReported) {
  writeFile(target("maps"), "a file");
  publish("new", R"([{"path":"maps/a"}])");
  server_.serve("/lib/maps/a", "a");
  EXPECT_LT(run(), 0);
  const std::string level = target("maps/");
  ASSERT_EQ(callback_.errors().size(), 1U);
  EXPECT_EQ(callback_.errors()[0].find(
                "[DownloaderImpl::saveFile] -1: Could not create directory path to \"maps/a\" | "
                "[createPathImpl] 183: "),
            0U);
  EXPECT_NE(callback_.errors()[0].find("already exists, but is not a valid directory"),
            std::string::npos);
  EXPECT_EQ(readFile(target("maps")), "a file");
}

TEST_F(Failure, ADirectoryWhereAFileShouldBeIsReported) {
  std::filesystem::create_directory(target("a"));
  publish("new", R"([{"path":"a"}])");
  server_.serve("/lib/a", "a");
  expectFailure(
      "[DownloaderImpl::saveFile] -1: Could not create file \"a\" | [PFileStream::Create] 5: (5) " +
      systemText(5, "Access is denied.\r\n"));
}

TEST_F(Failure, AFileWhereTheTargetDirectoryShouldBeIsReportedWithoutANetwork) {
  settings_.targetDirectory = target("id.txt").c_str();
  EXPECT_EQ(run(), -1);
  ASSERT_EQ(callback_.errors().size(), 1U);
  EXPECT_EQ(callback_.errors()[0].find(
                "[DownloaderImpl::download] -1: Create download directory failed | "
                "[createPathImpl] 183: "),
            0U);
  EXPECT_EQ(server_.connectionCount(), 0);
}

TEST_F(Failure, AStampThatCannotBeWrittenIsAWarning) {
  settings_.subPath = "beta";
  server_.serve("/lib/beta/id.txt", "new");
  server_.serve("/beta/lib/filelist.json", "[]\n");
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(callback_.textsOf("logWarning"),
            Lines{"Creating local stamp file failed: [PFileStream::Create] 3: (3) " +
                  systemText(3, "The system cannot find the path specified.\r\n")});
  EXPECT_TRUE(callback_.errors().empty());
}

TEST_F(Failure, APortThatNobodyListensOnIsReported) {
  Socket closed = Socket::listenOnLoopback();
  settings_.remoteAddress = ("http://127.0.0.1:" + std::to_string(closed.port())).c_str();
  closed.close();
  EXPECT_LT(run(), 0);
  ASSERT_EQ(callback_.errors().size(), 1U);
  EXPECT_EQ(callback_.errors()[0].find(
                "[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
                "[HttpGetter::responseErrorCb] -1: Connection error: reason=2 extraF=1000 "
                "underlying="),
            0U);
}

TEST_F(Failure, ANameThatDoesNotExistIsReported) {
  settings_.remoteAddress = "http://nothing.invalid/lib";
  expectFailure(
      "[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp file | "
      "[HttpGetter::responseErrorCb] -1: Connection error: reason=1 extraF=0 underlying=6");
}

TEST_F(Failure, MalformedAddressesAreReportedWithoutANetwork) {
  const std::map<std::string, std::string> causes{
      {"ftp://h/x", "[DownloaderImpl::initHttpGetter] -1: Unkown addressing scheme"},
      {"://h", "[DownloaderImpl::initHttpGetter] -1: Unkown addressing scheme"},
      {"ftp://h:21/x", "[DownloaderImpl::initHttpGetter] -1: Unkown addressing scheme"},
      {"http://", "[HttpClientPool::setServer] -1: Invalid server \"\", port 80"},
      {"http://h:x/lib", "[HttpClientPool::setServer] -1: Invalid server \"h:x\", port 80"},
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

TEST_F(Failure, AFailingGetterEndsACheckToo) {
  settings_.remoteAddress = "ftp://h/x";
  EXPECT_EQ(check(), -1);
  EXPECT_EQ(server_.connectionCount(), 0);
}

}  // namespace
