// Runs that succeed, as the host, the server and the disk see them.
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/system_text.h"
#include "system_fixture.h"

namespace {

using Files = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

using Synchronisation = SystemTest;

TEST_F(Synchronisation, TheFirstRunFetchesEverythingAndWritesTheStampLast) {
  publish("v1\n", R"([{"path":"a.txt","size":5},{"path":"maps/b.tx","size":6}])");
  server_.serve("/lib/a.txt", "first");
  server_.serve("/lib/maps/b.tx", "second");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readTree(target_),
            (Files{{"a.txt", "first"}, {"maps/b.tx", "second"}, {"id.txt", "v1\n"}}));
  const Lines lines = server_.requestLines();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], "GET /lib/id.txt");
  EXPECT_EQ(lines[1], "GET /lib/filelist.json");
  EXPECT_THAT(Lines(lines.begin() + 2, lines.end()),
              UnorderedElementsAre("GET /lib/a.txt", "GET /lib/maps/b.tx"));
  EXPECT_EQ(server_.requests()[0].header("User-Agent"), "mtldownloader");
}

TEST_F(Synchronisation, TheMessagesOfAFirstRunComeInOrder) {
  publish("v1\n", R"([{"path":"a.txt","size":5}])");
  server_.serve("/lib/a.txt", "first");
  EXPECT_EQ(run(), 0);
  const std::string notFound = systemText(2, "The system cannot find the file specified.\r\n");
  EXPECT_EQ(
      callback_.messages(),
      (Lines{"logInfo: Remote address: \"" + server_.address() + "/lib\"",
             "logInfo: Target directory: \"" + target_ + "\"",
             "logStage: Creating download directory",
             "logInfo: HTTP proxy disabled. Using direct connection.",
             "logStage: Downloading remote stamp file",
             "logStage: Opening local stamp file \"" + target_ + "/id.txt\"",
             "logStage: Opening local stamp file failed: [PFileStream::Open] 2: (2) " + notFound,
             "logStage: Downloading file \"a.txt\" (5 bytes)"}));
}

TEST_F(Synchronisation, ProgressGoesFromNothingToTheWhole) {
  publish("v1\n", R"([{"path":"a.bin","size":3000000}])");
  server_.serve("/lib/a.bin", std::string(3000000, 'x'));
  EXPECT_EQ(run(), 0);
  const Lines texts = callback_.textsOf("setProgressText");
  ASSERT_GE(texts.size(), 4U);
  EXPECT_EQ(texts[0], "Accessing stamp");
  EXPECT_EQ(texts[1], "Getting file list");
  EXPECT_EQ(texts[2], "Downloading files");
  EXPECT_EQ(texts[3], "Downloading files (0MB / 3MB)");
  EXPECT_EQ(texts.back(), "Downloading files (3MB / 3MB)");
  EXPECT_EQ(callback_.textsOf("setProgressRange"), Lines{"1000"});
  EXPECT_EQ(callback_.textsOf("setProgressValue").front(), "0");
  EXPECT_EQ(callback_.textsOf("setProgressValue").back(), "1000");
  EXPECT_EQ(callback_.count("beginProgress"), 1U);
  EXPECT_EQ(callback_.count("endProgress"), 3U);
}

TEST_F(Synchronisation, MatchingStampsEndTheRunAfterOneRequest) {
  publish("v1\n", "[]");
  EXPECT_EQ(run(), 0);
  const auto before = std::filesystem::last_write_time(target("id.txt"));
  server_.forgetRequests();
  callback_.clear();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(server_.requestLines(), Lines{"GET /lib/id.txt"});
  EXPECT_EQ(std::filesystem::last_write_time(target("id.txt")), before);
  EXPECT_EQ(callback_.messages().back(),
            "logStage: Local and remote stamp files match. Nothing to do.");
}

TEST_F(Synchronisation, AStampThatDiffersInOneByteStartsARun) {
  writeFile(target("id.txt"), "v1");
  publish("v1\n", "[]");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(target("id.txt")), "v1\n");
  EXPECT_THAT(callback_.textsOf("logStage"),
              testing::Contains("Local and remote stamp files are different."));
}

TEST_F(Synchronisation, AnEmptyListStillWritesTheStamp) {
  publish("v2", "[]");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readTree(target_), (Files{{"id.txt", "v2"}}));
}

TEST_F(Synchronisation, ACheckTellsAndWritesNothing) {
  publish("v1\n", "[]");
  EXPECT_EQ(check(), 1);
  EXPECT_FALSE(std::filesystem::exists(target_));
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(check(), 0);
  server_.serve("/lib/id.txt", "v2\n");
  EXPECT_EQ(check(), 1);
  EXPECT_EQ(readFile(target("id.txt")), "v1\n");
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

TEST_F(Synchronisation, PoliciesSelectWhatIsFetched) {
  writeFile(target("kept.tx"), "the user's");
  publish("v1", R"([{"path":"kept.tx","download":"missing"},{"path":"new.tx","download":"missing"},
                    {"path":"never.tx","download":"never"},{"path":"always.tx","download":"always"}])");
  server_.serve("/lib/new.tx", "new");
  server_.serve("/lib/always.tx", "always");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readTree(target_), (Files{{"kept.tx", "the user's"},
                                      {"new.tx", "new"},
                                      {"always.tx", "always"},
                                      {"id.txt", "v1"}}));
}

TEST_F(Synchronisation, ALossyMapIsFetchedUnderItsOtherName) {
  publish("v1", R"([{"path":"maps/oak.tx","size":100,"jpegSize":4}])");
  server_.serve("/lib/maps/oak.jpeg.tx", "jpeg");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(target("maps/oak.tx")), "jpeg");
}

TEST_F(Synchronisation, ASubPathStandsBehindForTheStampAndInFrontForTheList) {
  settings_.subPath = "beta";
  server_.serve("/lib/beta/id.txt", "v1");
  server_.serve("/beta/lib/filelist.json", R"([{"path":"beta/a.tx"}])"
                                           "\n");
  server_.serve("/lib/beta/a.tx", "a");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(server_.requestLines(),
            (Lines{"GET /lib/beta/id.txt", "GET /beta/lib/filelist.json", "GET /lib/beta/a.tx"}));
  EXPECT_EQ(readTree(target_), (Files{{"beta/a.tx", "a"}, {"beta/id.txt", "v1"}}));
}

TEST_F(Synchronisation, FilesCompleteInAnyOrder) {
  std::string list = "[";
  for (int i = 0; i < 7; ++i) {
    const std::string name = "f" + std::to_string(i);
    list += std::string(i > 0 ? "," : "") + R"({"path":")" + name + R"("})";
    server_.serve("/lib/" + name, "content of " + name);
  }
  publish("v1", list + "]");
  for (const char* first : {"/lib/f0", "/lib/f1", "/lib/f3", "/lib/f4"})
    server_.hold(first);
  // Only f2 may finish: its client is needed again for f5 and f6 before the others end.
  server_.handle("/lib/f6", [&](const ServerRequest&, Socket& socket) {
    for (const char* held : {"/lib/f4", "/lib/f3", "/lib/f1", "/lib/f0"})
      server_.release(held);
    return socket.send(ScriptedServer::response(200, "content of f6"));
  });
  EXPECT_EQ(run(), 0);
  const Lines stages = callback_.textsOf("logStage");
  EXPECT_THAT(Lines(stages.end() - 9, stages.end()),
              ElementsAre("Downloading file \"f0\" (0 bytes)", "Downloading file \"f1\" (0 bytes)",
                          "Downloading file \"f2\" (0 bytes)", "Downloading file \"f3\" (0 bytes)",
                          "Downloading file \"f4\" (0 bytes)", "Saving file \"f2\"",
                          "Downloading file \"f5\" (0 bytes)", "Saving file \"f5\"",
                          "Downloading file \"f6\" (0 bytes)"));
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(readFile(target("f" + std::to_string(i))), "content of f" + std::to_string(i));
  }
}

TEST_F(Synchronisation, ALaterRunKeepsTheServerAndReadsTheDirectoryAnew) {
  publish("v1", "[]");
  EXPECT_EQ(run(), 0);
  server_.forgetRequests();
  settings_.remoteAddress = "http://127.0.0.1:9/elsewhere";
  const std::string other = directory_ / "other";
  settings_.targetDirectory = other.c_str();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(server_.requestLines().at(0), "GET /lib/id.txt");
  EXPECT_EQ(readFile(other + "/id.txt"), "v1");
}

TEST_F(Synchronisation, AnExistingFileIsReplacedWhole) {
  writeFile(target("a.tx"), "a longer content than the new one");
  publish("v1", R"([{"path":"a.tx"}])");
  server_.serve("/lib/a.tx", "short");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(target("a.tx")), "short");
}

TEST_F(Synchronisation, AnExplicitProxyReceivesWholeAddresses) {
  settings_.proxyMode = PROXY_MODE_EXPLICIT;
  settings_.proxyAddress = ("127.0.0.1:" + std::to_string(server_.port())).c_str();
  settings_.remoteAddress = "http://library.invalid:81/lib";
  server_.serve("http://library.invalid:81/lib/id.txt", "v1");
  server_.serve("http://library.invalid:81/lib/filelist.json", "[]\n");
  EXPECT_EQ(run(), 0);
  EXPECT_THAT(callback_.textsOf("logInfo"),
              testing::Contains(
                  "HTTP proxy address: \"127.0.0.1:" + std::to_string(server_.port()) + "\""));
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
