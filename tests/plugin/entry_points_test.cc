// Tests the table, its handles, and what a host may do with them.
#include "plugin/entry_points.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>

#include "fakes/fake_networking.h"
#include "fakes/recording_callback.h"
#include "plugin/downloader.h"
#include "support/temp_dir.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class EntryPoints : public testing::Test {
 protected:
  EntryPoints() {
    fillDownloaderInterface(&table);
    settings.remoteAddress = "http://h/lib";
    settings.proxyMode = PROXY_MODE_DISABLED;
    settings.targetDirectory = directory.path().generic_u8string().c_str();
  }

  std::string statusOf(NetworkContext* context, std::int32_t expectedCode) {
    char text[256] = "not written";
    EXPECT_EQ(table.getKrellNetworkingStatus(context, sizeof(text), text), expectedCode);
    return text;
  }

  FakeNetwork network;
  RecordingCallback callback;
  TempDir directory;
  DownloaderSettings settings;
  DownloaderInterface table{};
};

using InterfaceTable = EntryPoints;
using Contexts = EntryPoints;
using Downloaders = EntryPoints;
using UpdateCheck = EntryPoints;

// The table.

TEST_F(InterfaceTable, HasItsVersionAndSevenEntries) {
  EXPECT_EQ(table.version, 100);
  EXPECT_NE(table.createDownloader, nullptr);
  EXPECT_NE(table.destroyDownloader, nullptr);
  EXPECT_NE(table.runDownload, nullptr);
  EXPECT_NE(table.checkForUpdate, nullptr);
  EXPECT_NE(table.createNetworkContext, nullptr);
  EXPECT_NE(table.destroyNetworkContext, nullptr);
  EXPECT_NE(table.getKrellNetworkingStatus, nullptr);
}

TEST_F(InterfaceTable, IsOverwrittenWholeAndAlwaysAlike) {
  DownloaderInterface other;
  std::memset(static_cast<void*>(&other), 0xEE, sizeof(other));
  fillDownloaderInterface(&other);
  EXPECT_EQ(other.version, 100);
  EXPECT_EQ(other.createDownloader, table.createDownloader);
  EXPECT_EQ(other.destroyDownloader, table.destroyDownloader);
  EXPECT_EQ(other.runDownload, table.runDownload);
  EXPECT_EQ(other.checkForUpdate, table.checkForUpdate);
  EXPECT_EQ(other.createNetworkContext, table.createNetworkContext);
  EXPECT_EQ(other.destroyNetworkContext, table.destroyNetworkContext);
  EXPECT_EQ(other.getKrellNetworkingStatus, table.getKrellNetworkingStatus);
}

TEST_F(InterfaceTable, IsWrittenAndNothingElse) {
  struct {
    DownloaderInterface table;
    unsigned char after[16];
  } storage;
  std::memset(static_cast<void*>(&storage), 0xEE, sizeof(storage));
  fillDownloaderInterface(&storage.table);
  EXPECT_THAT(storage.after, testing::Each(0xEE));
}

TEST_F(InterfaceTable, HasItsEntriesInOrder) {
  // As a host that knows nothing but the order would call them.
  using Entry = void (*)();
  Entry entries[8];
  static_assert(sizeof(entries) == sizeof(table));
  std::memcpy(entries, &table, sizeof(entries));
  const auto create =
      reinterpret_cast<DownloaderImpl* (*)(HostCallback*, DownloaderSettings*)>(entries[1]);
  const auto destroy = reinterpret_cast<void (*)(DownloaderImpl*)>(entries[2]);
  const auto run = reinterpret_cast<std::int32_t (*)(DownloaderImpl*)>(entries[3]);
  const auto check = reinterpret_cast<std::int32_t (*)(DownloaderImpl*)>(entries[4]);
  const auto createContext = reinterpret_cast<NetworkContext* (*)()>(entries[5]);
  const auto destroyContext = reinterpret_cast<void (*)(NetworkContext*)>(entries[6]);
  const auto status =
      reinterpret_cast<std::int32_t (*)(NetworkContext*, std::int32_t, char*)>(entries[7]);

  network.respond("/lib/id.txt", "stamp");
  network.respond("/lib/filelist.json", "[]\n");
  NetworkContext* context = createContext();
  char text[16];
  EXPECT_EQ(status(context, sizeof(text), text), 0);
  EXPECT_STREQ(text, "No error");
  DownloaderImpl* downloader = create(&callback, &settings);
  EXPECT_EQ(check(downloader), 1);
  EXPECT_EQ(run(downloader), 0);
  EXPECT_EQ(check(downloader), 0);
  network.clearLog();
  destroy(downloader);
  destroyContext(context);
  EXPECT_THAT(network.log(), ElementsAre("destroy()", "deinitialize(1) flags=0x10002"));
}

TEST_F(InterfaceTable, StartsNothing) {
  EXPECT_THAT(network.log(), IsEmpty());
}

TEST_F(InterfaceTable, AcceptsNullHandles) {
  table.destroyDownloader(nullptr);
  table.destroyNetworkContext(nullptr);
  EXPECT_EQ(table.runDownload(nullptr), -1);
  EXPECT_EQ(table.checkForUpdate(nullptr), -1);
  char text[64];
  EXPECT_EQ(table.getKrellNetworkingStatus(nullptr, sizeof(text), text), -1);
  EXPECT_THAT(network.log(), IsEmpty());
  EXPECT_THAT(callback.calls(), IsEmpty());
}

// Contexts.

TEST_F(Contexts, StartAndStopTheNetwork) {
  NetworkContext* context = table.createNetworkContext();
  ASSERT_NE(context, nullptr);
  EXPECT_THAT(network.log(),
              ElementsAre("initializeDefault(\"$$temp\") flags=0x0 version=0x10000"));
  network.clearLog();
  table.destroyNetworkContext(context);
  EXPECT_THAT(network.log(), ElementsAre("deinitialize(1) flags=0x10002"));
}

TEST_F(Contexts, HoldTheInitializerAndTheError) {
  struct Words {
    std::uint32_t flags;
    std::uint32_t version;
    std::uint64_t context;
    const ErrorRecord* error;
  };
  NetworkContext* context = table.createNetworkContext();
  Words words{};
  std::memcpy(&words, context, sizeof(words));
  EXPECT_EQ(words.flags, 0x2U);
  EXPECT_EQ(words.version, 0x10000U);
  EXPECT_EQ(words.context, 0U);
  EXPECT_EQ(words.error, nullptr);
  table.destroyNetworkContext(context);
}

TEST_F(Contexts, TellThatAllIsWell) {
  NetworkContext* context = table.createNetworkContext();
  EXPECT_EQ(statusOf(context, 0), "No error");
  table.destroyNetworkContext(context);
}

TEST_F(Contexts, TellThatThereIsNone) {
  EXPECT_EQ(statusOf(nullptr, -1), "[getKrellNetworkingStatus] -1: Network not initialized");
}

TEST_F(Contexts, ExistEvenWhenTheNetworkDidNotStart) {
  network.failInitialization("no 100% luck: %s");
  NetworkContext* context = table.createNetworkContext();
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(statusOf(context, -1),
            "[NetworkInitializerRAIIImpl::NetworkInitializerRAIIImpl] -1: no 100% luck: %s");
  EXPECT_EQ(statusOf(context, -1),
            "[NetworkInitializerRAIIImpl::NetworkInitializerRAIIImpl] -1: no 100% luck: %s");
  network.clearLog();
  table.destroyNetworkContext(context);
  EXPECT_THAT(network.log(), ElementsAre("deinitialize(0) flags=0x10000"));
}

TEST_F(Contexts, KeepTheirErrorToThemselves) {
  struct Words {
    std::uint64_t initializer[2];
    const ErrorRecord* error;
  };
  network.failInitialization("why");
  NetworkContext* context = table.createNetworkContext();
  statusOf(context, -1);
  Words words{};
  std::memcpy(&words, context, sizeof(words));
  EXPECT_EQ(words.error->refCount, 1U);
  EXPECT_EQ(words.error->code, -1);
  EXPECT_EQ(words.error->next, nullptr);
  EXPECT_STREQ(words.error->message, "why");
  table.destroyNetworkContext(context);
}

TEST_F(Contexts, CutTheNetworksTextLikeAnyMessage) {
  const std::string problem(600, 'w');
  network.failInitialization(problem.c_str());
  NetworkContext* context = table.createNetworkContext();
  char text[1024];
  EXPECT_EQ(table.getKrellNetworkingStatus(context, sizeof(text), text), -1);
  EXPECT_EQ(text, "[NetworkInitializerRAIIImpl::NetworkInitializerRAIIImpl] -1: " +
                      std::string(510, 'w'));
  table.destroyNetworkContext(context);
}

TEST_F(Contexts, StopTheNetworkByTheFlagAlone) {
  const std::pair<std::uint32_t, const char*> endings[] = {
      {0x0, "deinitialize(0) flags=0x10000"},     {0x2, "deinitialize(1) flags=0x10002"},
      {0x5, "deinitialize(0) flags=0x10005"},     {0x7, "deinitialize(1) flags=0x10007"},
      {0x10002, "deinitialize(1) flags=0x10002"}, {0x10000, "deinitialize(0) flags=0x10000"}};
  for (const auto& [flags, call] : endings) {
    NetworkContext* context = table.createNetworkContext();
    std::memcpy(context, &flags, sizeof(flags));
    network.clearLog();
    table.destroyNetworkContext(context);
    EXPECT_THAT(network.log(), ElementsAre(call));
  }
}

TEST_F(Contexts, FailWithoutAMessageWhenTheNetworkGivesNone) {
  for (const char* text : {"", static_cast<const char*>(nullptr)}) {
    network.failInitialization(text);
    NetworkContext* context = table.createNetworkContext();
    EXPECT_EQ(statusOf(context, -1), "[NetworkInitializerRAIIImpl::NetworkInitializerRAIIImpl] -1");
    table.destroyNetworkContext(context);
  }
}

TEST_F(Contexts, CutTheirStatusToTheBuffer) {
  NetworkContext* context = table.createNetworkContext();
  char text[9] = "########";
  EXPECT_EQ(table.getKrellNetworkingStatus(context, 5, text), 0);
  EXPECT_STREQ(text, "No e");
  EXPECT_EQ(text[5], '#');
  EXPECT_EQ(table.getKrellNetworkingStatus(context, 9, text), 0);
  EXPECT_STREQ(text, "No error");
  EXPECT_EQ(table.getKrellNetworkingStatus(context, 1, text), 0);
  EXPECT_STREQ(text, "");
  table.destroyNetworkContext(context);
}

TEST_F(Contexts, CutAFailureAtAWholePiece) {
  const std::pair<std::int32_t, const char*> cuts[] = {
      {1, ""},
      {27, ""},
      {28, "[getKrellNetworkingStatus] "},
      {54, "[getKrellNetworkingStatus] "},
      {55, "[getKrellNetworkingStatus] -1: Network not initialized"},
      {56, "[getKrellNetworkingStatus] -1: Network not initialized"}};
  for (const auto& [size, expected] : cuts) {
    char text[64];
    std::memset(text, '#', sizeof(text));
    EXPECT_EQ(table.getKrellNetworkingStatus(nullptr, size, text), -1);
    EXPECT_STREQ(text, expected) << size;
    EXPECT_EQ(text[size], '#') << size;
  }
}

TEST_F(Contexts, WriteNothingWithoutRoom) {
  char text[] = "####";
  EXPECT_EQ(table.getKrellNetworkingStatus(nullptr, 0, text), -1);
  EXPECT_EQ(table.getKrellNetworkingStatus(nullptr, -1, text), -1);
  EXPECT_STREQ(text, "####");
  EXPECT_EQ(table.getKrellNetworkingStatus(nullptr, 0, nullptr), -1);
}

// Downloaders.

TEST_F(Downloaders, LeaveTheNetworkAloneUntilTheyRun) {
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  ASSERT_NE(downloader, nullptr);
  table.destroyDownloader(downloader);
  EXPECT_THAT(network.log(), IsEmpty());
  EXPECT_THAT(callback.calls(), IsEmpty());
}

// The host of "http://host/mtllib"; empty for any other address.
std::string hostOfDefault(const std::string& address) {
  const std::string begin = "http://";
  const std::string end = "/mtllib";
  if (address.size() < begin.size() + end.size() || address.compare(0, begin.size(), begin) != 0 ||
      address.compare(address.size() - end.size(), end.size(), end) != 0) {
    return "";
  }
  return address.substr(begin.size(), address.size() - begin.size() - end.size());
}

TEST_F(Downloaders, StoreTheDefaultAddressWhenThereIsNone) {
  settings.remoteAddress.release();
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  const std::string address = settings.remoteAddress.text();
  EXPECT_NE(hostOfDefault(address), "");
  EXPECT_THAT(hostOfDefault(address), testing::Not(testing::HasSubstr("/")));
  EXPECT_EQ(settings.remoteAddress.buffer()->refCount.load(), 1U);
  table.destroyDownloader(downloader);
  EXPECT_EQ(settings.remoteAddress.text(), address);
}

TEST_F(Downloaders, StoreTheDefaultAddressInPlaceOfAnEmptyOne) {
  settings.remoteAddress = "";
  const QUtils::CharString sharer(settings.remoteAddress);
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_NE(hostOfDefault(settings.remoteAddress.text()), "");
  EXPECT_STREQ(sharer.text(), "");
  table.destroyDownloader(downloader);
}

TEST_F(Downloaders, StoreTheDefaultAddressInTheHostsOwnRecord) {
  settings.remoteAddress = "";
  const QUtils::CharStringBuffer* const buffer = settings.remoteAddress.buffer();
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(settings.remoteAddress.buffer(), buffer);
  EXPECT_NE(hostOfDefault(settings.remoteAddress.text()), "");
  table.destroyDownloader(downloader);
}

TEST_F(Downloaders, UseTheDefaultAddressLikeAnyOther) {
  settings.remoteAddress.release();
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  const std::string host = hostOfDefault(settings.remoteAddress.text());
  network.respond("/mtllib/id.txt", "stamp");
  EXPECT_EQ(table.checkForUpdate(downloader), 1);
  EXPECT_THAT(network.log(), testing::Contains("setServer(\"" + host + "\", 80, null)"));
  EXPECT_THAT(network.requests(), ElementsAre("/mtllib/id.txt"));
  table.destroyDownloader(downloader);
}

TEST_F(Downloaders, HoldTheHostsObjectsAndNothingYet) {
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(downloader->httpGetter, nullptr);
  EXPECT_EQ(downloader->remotePath.buffer(), nullptr);
  EXPECT_EQ(downloader->callback, &callback);
  EXPECT_EQ(downloader->settings, &settings);
  table.destroyDownloader(downloader);
}

TEST_F(Downloaders, DropOneReferenceOfTheirRemotePath) {
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  downloader->remotePath = "/lib";
  const QUtils::CharString path = downloader->remotePath;
  EXPECT_EQ(path.buffer()->refCount.load(), 2U);
  table.destroyDownloader(downloader);
  EXPECT_EQ(path.buffer()->refCount.load(), 1U);
}

TEST_F(Downloaders, LeaveAnAddressAlone) {
  const QUtils::CharStringBuffer* const buffer = settings.remoteAddress.buffer();
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_STREQ(settings.remoteAddress.text(), "http://h/lib");
  EXPECT_EQ(settings.remoteAddress.buffer(), buffer);
  table.destroyDownloader(downloader);
}

TEST_F(Downloaders, CheckNeitherArgumentForNull) {
  DownloaderImpl* downloader = table.createDownloader(nullptr, &settings);
  EXPECT_NE(downloader, nullptr);
  table.destroyDownloader(downloader);
}

TEST_F(Downloaders, EndTheirPoolOnce) {
  network.respond("/lib/id.txt", "stamp");
  network.respond("/lib/filelist.json", "[]\n");
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.runDownload(downloader), 0);
  network.clearLog();
  callback.clear();
  table.destroyDownloader(downloader);
  EXPECT_THAT(network.log(), ElementsAre("destroy()"));
  EXPECT_THAT(callback.calls(), IsEmpty());
}

TEST_F(Downloaders, LeaveSettingsAndErrorsOfTheHostAlone) {
  settings.remoteAddress = "ftp://h/lib";
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.runDownload(downloader), -1);
  table.destroyDownloader(downloader);
  EXPECT_STREQ(settings.remoteAddress.text(), "ftp://h/lib");
  EXPECT_EQ(settings.remoteAddress.buffer()->refCount.load(), 1U);
  EXPECT_EQ(settings.targetDirectory.buffer()->refCount.load(), 1U);
  ASSERT_THAT(callback.chains(), SizeIs(1));
  const ErrorRecord* const head = callback.chains()[0].head;
  EXPECT_EQ(head->refCount, 1U) << "held by the host alone";
}

TEST_F(Downloaders, WorkSideBySide) {
  network.respond("/lib/id.txt", "stamp");
  network.respond("/other/id.txt", "stamp");
  network.respond("/lib/filelist.json", "[]\n");
  network.respond("/other/filelist.json", "[]\n");
  DownloaderSettings otherSettings = settings;
  otherSettings.remoteAddress = "https://h/other";
  otherSettings.targetDirectory = (directory / "other").c_str();
  DownloaderImpl* one = table.createDownloader(&callback, &settings);
  DownloaderImpl* two = table.createDownloader(&callback, &otherSettings);
  EXPECT_EQ(table.runDownload(one), 0);
  EXPECT_EQ(table.runDownload(two), 0);
  EXPECT_EQ(table.runDownload(one), 0);
  table.destroyDownloader(one);
  EXPECT_EQ(table.runDownload(two), 0);
  table.destroyDownloader(two);
  EXPECT_EQ(readFile(directory / "other/id.txt"), "stamp");
}

// Checking for updates.

TEST_F(UpdateCheck, FindsNoneWhenTheStampsMatch) {
  network.respond("/lib/id.txt", "stamp");
  writeFile(directory / "id.txt", "stamp");
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.checkForUpdate(downloader), 0);
  EXPECT_THAT(callback.transcript(),
              ElementsAre("logInfo: HTTP proxy disabled. Using direct connection.",
                          "logStage: Downloading remote stamp file",
                          "setProgressText: Accessing stamp", "endProgress",
                          "logStage: Opening local stamp file \"" + directory / "id.txt" + "\"",
                          "logStage: Local and remote stamp files match. Nothing to do."));
  EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt"));
  table.destroyDownloader(downloader);
}

TEST_F(UpdateCheck, FindsOneAndWritesNothing) {
  network.respond("/lib/id.txt", "new stamp");
  network.respond("/lib/filelist.json", "[]\n");
  writeFile(directory / "id.txt", "stamp");
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.checkForUpdate(downloader), 1);
  EXPECT_EQ(table.checkForUpdate(downloader), 1);
  EXPECT_EQ(readFile(directory / "id.txt"), "stamp");
  EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt", "/lib/id.txt"));
  network.clearLog();
  EXPECT_EQ(table.runDownload(downloader), 0);
  EXPECT_EQ(network.log().front(), "waitAvailable() -> 0") << "the getter is there";
  EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt", "/lib/filelist.json"));
  EXPECT_EQ(table.checkForUpdate(downloader), 0);
  table.destroyDownloader(downloader);
}

TEST_F(UpdateCheck, MakesNoDirectory) {
  network.respond("/lib/id.txt", "stamp");
  settings.targetDirectory = (directory / "none").c_str();
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.checkForUpdate(downloader), 1);
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "none"));
  table.destroyDownloader(downloader);
}

TEST_F(UpdateCheck, PassesAFailedSetupOn) {
  network.failSetup("setServer", "Invalid server");
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.checkForUpdate(downloader), -1);
  EXPECT_THAT(network.requests(), IsEmpty());
  EXPECT_THAT(
      callback.transcript(),
      ElementsAre("logInfo: HTTP proxy disabled. Using direct connection.",
                  "reportError: [DownloaderImpl::initHttpGetter] -1: Could not use download "
                  "URL \"http://h/lib\" | [HttpClientPool::setServer] -1: Invalid server"));
  table.destroyDownloader(downloader);
}

TEST_F(UpdateCheck, SetsUpAgainAfterAFailedSetup) {
  network.respond("/lib/id.txt", "stamp");
  settings.remoteAddress = "ftp://h/lib";
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.checkForUpdate(downloader), -1);
  settings.remoteAddress = "http://h/lib";
  EXPECT_EQ(table.checkForUpdate(downloader), 1);
  table.destroyDownloader(downloader);
}

TEST_F(UpdateCheck, KeepsTheAddressOfTheFirstButReadsTheTargetAnew) {
  network.respond("/lib/id.txt", "stamp");
  writeFile(directory / "second/id.txt", "stamp");
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.checkForUpdate(downloader), 1);
  settings.remoteAddress = "http://elsewhere/other";
  settings.targetDirectory = (directory / "second").c_str();
  EXPECT_EQ(table.checkForUpdate(downloader), 0);
  EXPECT_THAT(network.requests(), ElementsAre("/lib/id.txt", "/lib/id.txt"));
  table.destroyDownloader(downloader);
}

TEST_F(UpdateCheck, LooksInTheSubPath) {
  network.respond("/lib/beta/id.txt", "stamp");
  writeFile(directory / "beta/id.txt", "stamp");
  settings.subPath = "beta";
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.checkForUpdate(downloader), 0);
  table.destroyDownloader(downloader);
}

TEST_F(UpdateCheck, PassesAFailedStampOn) {
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(table.checkForUpdate(downloader), -1);
  EXPECT_THAT(callback.errors(),
              ElementsAre("[DownloaderImpl::readRemoteIdFile] -1: Could not download remote stamp "
                          "file | [HttpDldDone::expectStatus] -1: Unexpected HTTP status (404)"));
  table.destroyDownloader(downloader);
}

}  // namespace
