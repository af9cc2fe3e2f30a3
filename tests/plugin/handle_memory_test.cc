// Tests the entries of the table without memory, and that they leave none behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include "fakes/fake_networking.h"
#include "fakes/recording_callback.h"
#include "fakes/silent_callback.h"
#include "plugin/downloader.h"
#include "plugin/entry_points.h"
#include "support/counting_allocator.h"
#include "support/temp_dir.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

DownloaderInterface interfaceTable() {
  DownloaderInterface table{};
  fillDownloaderInterface(&table);
  return table;
}

TEST(TableMemory, FillingItTakesNone) {
  DownloaderInterface table{};
  const AllocationCount count;
  fillDownloaderInterface(&table);
  EXPECT_THAT(count.sizes(), IsEmpty());
}

// Contexts.

TEST(ContextMemory, NothingIsLeftOfAnyContext) {
  const DownloaderInterface table = interfaceTable();
  for (const char* problem : {"why", "", static_cast<const char*>(nullptr)}) {
    expectNothingLeft([&] {
      FakeNetwork network;
      NetworkContext* healthy = table.createNetworkContext();
      network.failInitialization(problem);
      NetworkContext* failed = table.createNetworkContext();
      char text[128];
      EXPECT_EQ(table.getKrellNetworkingStatus(healthy, sizeof(text), text), 0);
      EXPECT_EQ(table.getKrellNetworkingStatus(failed, sizeof(text), text), -1);
      EXPECT_EQ(table.getKrellNetworkingStatus(nullptr, sizeof(text), text), -1);
      EXPECT_EQ(table.getKrellNetworkingStatus(nullptr, 0, nullptr), -1);
      table.destroyNetworkContext(failed);
      table.destroyNetworkContext(healthy);
      table.destroyNetworkContext(nullptr);
    });
  }
}

TEST(ContextMemory, WithoutItThereIsNoContext) {
  const DownloaderInterface table = interfaceTable();
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    FakeNetwork network;
    failing.arm();
    NetworkContext* context = table.createNetworkContext();
    failing.disarm();
    EXPECT_EQ(context == nullptr, failing.happened());
    EXPECT_EQ(network.log().empty(), failing.happened()) << "the network is left alone";
    table.destroyNetworkContext(context);
  });
  EXPECT_EQ(failures, 1);
}

TEST(ContextMemory, AFailureThatFindsNoneIsLost) {
  const DownloaderInterface table = interfaceTable();
  std::string states;
  states.reserve(200);
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    FakeNetwork network;
    network.failInitialization("why");
    failing.arm();
    NetworkContext* context = table.createNetworkContext();
    failing.disarm();
    char text[128] = "none";
    if (context != nullptr) table.getKrellNetworkingStatus(context, sizeof(text), text);
    states.append("<").append(text).append(">");
    table.destroyNetworkContext(context);
  });
  EXPECT_EQ(failures, 2);
  EXPECT_EQ(states,
            "<none><No error>"
            "<[NetworkInitializerRAIIImpl::NetworkInitializerRAIIImpl] -1: why>");
}

TEST(ContextMemory, TheStatusOfNoContextNeedsARecord) {
  const DownloaderInterface table = interfaceTable();
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    char text[128];
    failing.arm();
    const std::int32_t code = table.getKrellNetworkingStatus(nullptr, sizeof(text), text);
    failing.disarm();
    EXPECT_EQ(code, failing.happened() ? 0 : -1);
    EXPECT_STREQ(text, failing.happened()
                           ? "No error"
                           : "[getKrellNetworkingStatus] -1: Network not initialized");
  });
  EXPECT_EQ(failures, 1);
}

TEST(ContextMemory, TheStatusOfAContextTakesNone) {
  const DownloaderInterface table = interfaceTable();
  FakeNetwork network;
  network.failInitialization("why");
  NetworkContext* context = table.createNetworkContext();
  char text[128];
  {
    const AllocationCount count;
    EXPECT_EQ(table.getKrellNetworkingStatus(context, sizeof(text), text), -1);
    EXPECT_THAT(count.sizes(), IsEmpty());
  }
  table.destroyNetworkContext(context);
}

// Downloaders.

TEST(DownloaderMemory, IsOneBlock) {
  const DownloaderInterface table = interfaceTable();
  SilentCallback callback;
  DownloaderSettings settings;
  settings.remoteAddress = "http://h/lib";
  const AllocationCount count;
  DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
  EXPECT_EQ(count.outstanding(), 1U);
  table.destroyDownloader(downloader);
  EXPECT_EQ(count.outstanding(), 0U);
  table.destroyDownloader(nullptr);
  EXPECT_THAT(count.sizes(), ElementsAre(32));
}

TEST(DownloaderMemory, WithoutItThereIsNoDownloader) {
  const DownloaderInterface table = interfaceTable();
  SilentCallback callback;
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    DownloaderSettings settings;
    settings.remoteAddress = "http://h/lib";
    failing.arm();
    DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
    failing.disarm();
    EXPECT_EQ(downloader == nullptr, failing.happened());
    EXPECT_STREQ(settings.remoteAddress.text(), "http://h/lib");
    table.destroyDownloader(downloader);
  });
  EXPECT_EQ(failures, 1);
}

TEST(DownloaderMemory, TheDefaultAddressMayFindNone) {
  const DownloaderInterface table = interfaceTable();
  SilentCallback callback;
  std::string outcomes;
  outcomes.reserve(100);
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    DownloaderSettings settings;
    failing.arm();
    DownloaderImpl* downloader = table.createDownloader(&callback, &settings);
    failing.disarm();
    outcomes += downloader != nullptr ? "downloader" : "null";
    outcomes += settings.remoteAddress.empty() ? ", no address; " : ", address; ";
    table.destroyDownloader(downloader);
  });
  EXPECT_EQ(failures, 3);
  EXPECT_EQ(outcomes,
            "null, no address; downloader, no address; downloader, no address; "
            "downloader, address; ");
}

// Runs.

// A library and whatever a run needs to fetch it.
class Library {
 public:
  explicit Library(std::size_t fileCount) {
    const std::string names[] = {"f0", "sub/f1", "f2", "f3", "f4", "f5"};
    files.assign(names, names + fileCount);
    std::string list = "[";
    for (const std::string& name : files) {
      list += "{\"path\":\"" + name + "\",\"size\":4},";
      network.respond("/lib/" + name, "body");
    }
    network.respond("/lib/filelist.json", list + "{}]\n");
    network.respond("/lib/id.txt", "stamp");
    settings.remoteAddress = "http://h/lib";
    settings.proxyMode = PROXY_MODE_DISABLED;
    settings.targetDirectory = (directory / "target").c_str();
  }

  FakeNetwork network;
  TempDir directory;
  DownloaderSettings settings;
  std::vector<std::string> files;
};

constexpr std::size_t kMoreFilesThanClients = 6;

// Expects that a downloader with a host that keeps every chain leaves nothing behind after
// two checks and two runs, each with the result told.
void expectRunLeavesNothing(int checkResult, int runResult,
                            const std::function<void(Library&)>& prepare) {
  const DownloaderInterface table = interfaceTable();
  expectNothingLeft([&] {
    Library library(kMoreFilesThanClients);
    RecordingCallback callback;
    prepare(library);
    DownloaderImpl* downloader = table.createDownloader(&callback, &library.settings);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(table.checkForUpdate(downloader), checkResult);
      EXPECT_EQ(table.runDownload(downloader), runResult);
      std::error_code ignored;
      std::filesystem::remove(library.directory.path() / "target" / "id.txt", ignored);
    }
    table.destroyDownloader(downloader);
  });
}

TEST(RunMemory, NothingIsLeftOfACompleteRun) {
  expectRunLeavesNothing(1, 0, [](Library&) {});
  expectRunLeavesNothing(
      1, 0, [](Library& library) { library.network.respond("/lib/filelist.json", "[]\n"); });
}

TEST(RunMemory, NothingIsLeftOfAMatch) {
  const DownloaderInterface table = interfaceTable();
  expectNothingLeft([&] {
    Library library(kMoreFilesThanClients);
    RecordingCallback callback;
    writeFile(library.directory / "target/id.txt", "stamp");
    DownloaderImpl* downloader = table.createDownloader(&callback, &library.settings);
    EXPECT_EQ(table.checkForUpdate(downloader), 0);
    EXPECT_EQ(table.runDownload(downloader), 0);
    table.destroyDownloader(downloader);
  });
}

TEST(RunMemory, NothingIsLeftOfAFailedSetup) {
  expectRunLeavesNothing(
      -1, -1, [](Library& library) { library.network.failSetup("setServer", "Invalid server"); });
  expectRunLeavesNothing(-1, -1,
                         [](Library& library) { library.settings.remoteAddress = "ftp://h"; });
}

TEST(RunMemory, NothingIsLeftOfAFailedStamp) {
  FakeResponse notFound;
  notFound.status = 404;
  FakeResponse broken;
  broken.pieces = {"sta"};
  broken.error = Krell::Networking::ConnectionError{7, 18};
  for (const FakeResponse& response : {notFound, broken, FakeResponse{}}) {
    expectRunLeavesNothing(
        -1, -1, [&](Library& library) { library.network.respond("/lib/id.txt", response); });
  }
  expectRunLeavesNothing(
      -1, -1, [](Library& library) { library.network.refuseRequest("/lib/id.txt", "No"); });
}

TEST(RunMemory, NothingIsLeftOfAFailedList) {
  for (const char* list :
       {"", "[{\"path\":\"a\"},7]\n", "[{\"path\":\"a\"},{\"path\":\"../b\"}]\n", "no json\n"}) {
    expectRunLeavesNothing(
        1, -1, [&](Library& library) { library.network.respond("/lib/filelist.json", list); });
  }
}

TEST(RunMemory, NothingIsLeftOfAFailedFile) {
  FakeResponse broken;
  broken.pieces = {"bo"};
  broken.error = Krell::Networking::ConnectionError{7, 18};
  expectRunLeavesNothing(1, -1,
                         [&](Library& library) { library.network.respond("/lib/f2", broken); });
  expectRunLeavesNothing(1, -1,
                         [](Library& library) { library.network.refuseRequest("/lib/f4", "No"); });
  expectRunLeavesNothing(
      1, -1, [](Library& library) { writeFile(library.directory / "target/sub", "in the way"); });
}

TEST(RunMemory, NothingIsLeftOfATargetThatCannotBeMade) {
  expectRunLeavesNothing(
      1, -1, [](Library& library) { writeFile(library.directory / "target", "in the way"); });
}

TEST(RunMemory, NothingIsLeftOfAStampThatCannotBeWritten) {
  expectRunLeavesNothing(1, -1, [](Library& library) {
    library.settings.subPath = "absent";
    library.network.respond("/lib/absent/id.txt", "stamp");
    library.network.respond("/absent/lib/filelist.json", "[]\n");
  });
}

TEST(RunMemory, TheStampTakesBlocksOf4096BytesAndTheListOf16384) {
  const DownloaderInterface table = interfaceTable();
  Library library(kMoreFilesThanClients);
  SilentCallback callback;
  library.network.respond("/lib/filelist.json", "[]\n");
  DownloaderImpl* downloader = table.createDownloader(&callback, &library.settings);
  {
    const AllocationCount count;
    EXPECT_EQ(table.checkForUpdate(downloader), 1);
    const auto sizes = count.sizes();
    EXPECT_THAT(sizes, Contains(4096).Times(1));
    EXPECT_THAT(sizes, Not(Contains(16384)));
  }
  {
    const AllocationCount count;
    EXPECT_EQ(table.runDownload(downloader), 0);
    const auto sizes = count.sizes();
    EXPECT_THAT(sizes, Contains(4096).Times(1));
    EXPECT_THAT(sizes, Contains(16384).Times(1));
    EXPECT_THAT(sizes, Contains(32768).Times(1)) << "the chunk that writes the stamp";
  }
  table.destroyDownloader(downloader);
}

// Calls `entry` with each of its allocations failing in turn, then `verify` with its
// result, -1 when it threw. Whatever fails, nothing is left.
template <typename Entry, typename Verify>
int failEachAllocationOf(Entry entry, Verify verify, std::size_t fileCount, int step) {
  const DownloaderInterface table = interfaceTable();
  SilentCallback callback;
  return failEachAllocation(
      [&](FailingAllocation& failing) {
        Library library(fileCount);
        DownloaderImpl* downloader = table.createDownloader(&callback, &library.settings);
        int result = -1;
        completes(failing, [&] { result = entry(table, downloader); });
        verify(table, downloader, library, result);
        table.destroyDownloader(downloader);
      },
      step);
}

std::int32_t run(const DownloaderInterface& table, DownloaderImpl* downloader) {
  return table.runDownload(downloader);
}
std::int32_t check(const DownloaderInterface& table, DownloaderImpl* downloader) {
  return table.checkForUpdate(downloader);
}

// Success means a full copy. A failed run leaves no stamp that looks complete, and can be
// repeated with the same downloader.
void expectFailedRunsToBeRepeatable(std::size_t fileCount, int step) {
  int failedRuns = 0;
  const int allocations = failEachAllocationOf(
      run,
      [&](const DownloaderInterface& table, DownloaderImpl* downloader, Library& library,
          int result) {
        const std::string target = library.directory / "target/";
        if (result != 0) {
          ++failedRuns;
          EXPECT_EQ(result, -1);
          EXPECT_EQ(readFile(target + "id.txt"), "");
          EXPECT_EQ(table.runDownload(downloader), 0);
        }
        for (const std::string& name : library.files)
          EXPECT_EQ(readFile(target + name), "body") << name;
        EXPECT_EQ(readFile(target + "id.txt"), "stamp");
      },
      fileCount, step);
  EXPECT_GT(allocations, 100);
  EXPECT_GT(failedRuns, 20);
}

TEST(RunMemory, ARunThatFindsNoneFailsAndCanBeRepeated) {
  expectFailedRunsToBeRepeatable(2, 1);
}

TEST(RunMemory, ALongRunThatFindsNoneFailsAndCanBeRepeated) {
  expectFailedRunsToBeRepeatable(kMoreFilesThanClients, 9);
}

// A getter that was stored before it was complete would be taken for a complete one.
TEST(RunMemory, ACheckThatFindsNoneLeavesNoGetterHalfConfigured) {
  const int allocations = failEachAllocationOf(
      check,
      [](const DownloaderInterface& table, DownloaderImpl* downloader, Library& library,
         int result) {
        EXPECT_NE(result, 0);
        EXPECT_EQ(table.checkForUpdate(downloader), 1);
        EXPECT_EQ(library.network.requests().back(), "/lib/id.txt");
        EXPECT_THAT(library.network.log(),
                    Contains("setHeaders(\"User-Agent: mtldownloader\", 0)"));
      },
      0, 1);
  EXPECT_GT(allocations, 10);
}

// A sub-path that got lost would make the stamp of another library.
TEST(RunMemory, ACheckThatFindsNoneAsksForNoOtherStamp) {
  const int allocations = failEachAllocationOf(
      [](const DownloaderInterface& table, DownloaderImpl* downloader) {
        {
          const FailingAllocation::Pause pause;
          downloader->settings->subPath = "beta";
          EXPECT_EQ(table.checkForUpdate(downloader), -1);
        }
        return table.checkForUpdate(downloader);
      },
      [](const DownloaderInterface& table, DownloaderImpl* downloader, Library& library,
         int result) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(table.checkForUpdate(downloader), -1);
        EXPECT_THAT(library.network.requests(), Each("/lib/beta/id.txt"));
      },
      0, 1);
  EXPECT_GT(allocations, 10);
}

}  // namespace
