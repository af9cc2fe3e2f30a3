// Tests whole runs: what is requested, and what the copy has afterwards.
#include "update/updater.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "update/lock.h"
#include "updater_fixture.h"

namespace mtlupdate {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Kind = Failure::Kind;
namespace fs = std::filesystem;

using Files = PublishedLibrary::Files;

using UpdaterTest = UpdaterFixture;

TEST_F(UpdaterTest, AFirstUpdateFetchesEverything) {
  const Files files{{"a.mtl", "a"}, {"maps/b.tx", "bb"}, {"empty", ""}};
  publish("one", files);
  updateWell();
  EXPECT_EQ(copy(), with("one", files));
  EXPECT_EQ(requests().size(), 5U);
  EXPECT_TRUE(result_.isChanged);
  EXPECT_EQ(result_.stamp, "one");
  EXPECT_EQ(result_.filesFetched, 3U);
  EXPECT_EQ(result_.bytesFetched, 3U);
  EXPECT_THAT(result_.placed, UnorderedElementsAre("a.mtl", "maps/b.tx", "empty"));
  EXPECT_FALSE(isAnythingStaged());
}

TEST_F(UpdaterTest, LeavesNothingStagedNotEvenTheValidatorOfALargeBody) {
  const std::string large(std::size_t{2} << 20, 'l');
  publish("one", {{"large", large}}, false);
  server_.handle("/lib/large", [&](const ServerRequest&, Socket& socket) {
    const std::string head = "HTTP/1.1 200 OK\r\nETag: \"one\"\r\nContent-Length: ";
    socket.send(head + std::to_string(large.size()) + "\r\n\r\n" + large);
    return true;
  });
  updateWell();
  EXPECT_EQ(copy(), with("one", {{"large", large}}));
  EXPECT_FALSE(fs::exists(fs::path(options_.folder) / ".mtllib/stage"));
  updateWell();
  EXPECT_EQ(requests().size(), 1U) << "nothing is unfinished";
}

TEST_F(UpdaterTest, NothingNewIsOneRequest) {
  publish("one", {{"a", "a"}});
  updateWell();
  updateWell();
  EXPECT_THAT(requests(), ElementsAre("GET /lib/id.txt"));
  EXPECT_FALSE(result_.isChanged);
}

TEST_F(UpdaterTest, OldFilesThatACutRunKeptGoWithTheNext) {
  publish("one", {{"a", "a"}});
  updateWell();
  const fs::path old = fs::path(options_.folder) / ".mtllib/old";
  write(".mtllib/old/0", "x");
  updateWell();
  EXPECT_THAT(requests(), ElementsAre("GET /lib/id.txt"));
  EXPECT_FALSE(fs::exists(old));
  publish("two", {{"a", "A"}});
  updateWell();
  EXPECT_FALSE(fs::exists(old));
}

TEST_F(UpdaterTest, ACutRunIsFinishedWhateverTheStampSays) {
  publish("one", {{"a", "a"}});
  updateWell();
  for (const char* left : {"stamp.new", "state.new", "filelist.json.new", "stage/content"}) {
    SCOPED_TRACE(left);
    write(std::string(".mtllib/") + left, "x");
    updateWell();
    EXPECT_THAT(requests(), ElementsAre("GET /lib/id.txt", "GET /lib/filelist.json"));
    updateWell();
    EXPECT_THAT(requests(), ElementsAre("GET /lib/id.txt"));
  }
}

TEST_F(UpdaterTest, OneFileOfManyIsThreeRequests) {
  Files files;
  for (int i = 0; i < 300; ++i)
    files["folder" + std::to_string(i % 7) + "/file" + std::to_string(i)] = std::to_string(i);
  publish("one", files);
  updateWell();
  files["folder3/file3"] = "new";
  publish("two", files);
  updateWell();
  EXPECT_THAT(requests(),
              ElementsAre("GET /lib/id.txt", "GET /lib/filelist.json", "GET /lib/folder3/file3"));
  EXPECT_EQ(copy(), with("two", files));
  EXPECT_THAT(result_.placed, ElementsAre("folder3/file3"));
  EXPECT_EQ(result_.filesUnchanged, 299U);
}

TEST_F(UpdaterTest, ARenamedFileIsCopied) {
  publish("one", {{"old", "content"}});
  updateWell();
  publish("two", {{"new", "content"}});
  options_.prune = true;
  options_.pruneMost = true;
  updateWell();
  EXPECT_EQ(requests().size(), 2U);
  EXPECT_EQ(copy(), with("two", {{"new", "content"}}));
  EXPECT_EQ(result_.filesCopied, 1U);
  EXPECT_THAT(result_.removed, ElementsAre("old"));
}

TEST_F(UpdaterTest, WhatCannotBeCopiedAnyMoreIsFetched) {
  publish("one", {{"old/a", "content a"}, {"old/b", "content b"}, {"old/c", "content c"}});
  updateWell();
  const Files files{{"new/a", "content a"}, {"new/b", "content b"}, {"new/c", "content c"}};
  publish("two", files);
  onPlan_ = [this] {
    write("old/a", "kontent a");
    fs::remove(fs::path(options_.folder) / "old/b");
  };
  updateWell();
  EXPECT_THAT(requests(), UnorderedElementsAre("GET /lib/id.txt", "GET /lib/filelist.json",
                                               "GET /lib/new/a", "GET /lib/new/b"));
  EXPECT_EQ(result_.filesCopied, 1U);
  Files expected = files;
  expected.insert({{"old/a", "kontent a"}, {"old/c", "content c"}});
  EXPECT_EQ(copy(), with("two", expected));
}

TEST_F(UpdaterTest, WhatCannotBeCopiedAnyMoreIsFetchedWithinTheLimits) {
  publish("one", {{"old", "content"}});
  updateWell();
  publish("two", {{"new", "content"}});
  options_.largestFile = 6;
  onPlan_ = [this] { write("old", "kontent"); };
  expectFailure(Kind::kLimit);
  EXPECT_EQ(failure_.about, "new");
}

TEST_F(UpdaterTest, WithdrawnFilesStayUntilTheyArePruned) {
  publish("one", {{"a", "a"}, {"b", "b"}, {"c", "c"}});
  updateWell();
  publish("two", {{"a", "a"}, {"b", "b"}});
  updateWell();
  EXPECT_EQ(copy(), with("two", {{"a", "a"}, {"b", "b"}, {"c", "c"}}));
  ASSERT_EQ(result_.withdrawn.size(), 1U);
  EXPECT_EQ(result_.withdrawn[0].path, "c");
  options_.prune = true;
  updateWell();
  EXPECT_EQ(copy(), with("two", {{"a", "a"}, {"b", "b"}}));
}

TEST_F(UpdaterTest, AFileBecomesAFolderAndAFolderAFile) {
  const Files rest{{"c", "c"}, {"d", "d"}};
  Files files = rest;
  files.insert({{"a", "a"}, {"b/1", "1"}});
  publish("one", files);
  updateWell();
  files = rest;
  files.insert({{"a/1", "a"}, {"b", "b"}});
  publish("two", files);
  updateWell();
  EXPECT_EQ(copy(), with("two", files));
  EXPECT_THAT(result_.removed, ElementsAre("a", "b/1"));
}

TEST_F(UpdaterTest, WhatKeepsAFileFromItsPlaceIsNamedUntilItHasGone) {
  publish("one", {{"a", "a"}, {"b/1", "1"}, {"c", "c"}});
  updateWell();
  write("b/mine", "mine");
  publish("two", {{"a", "A"}, {"b", "b"}, {"c", "c"}});
  expectFailure(Kind::kDisk);
  EXPECT_EQ(failure_.about, "b");
  EXPECT_EQ(failure_.text, "its place is taken by a folder with \"b/mine\"");
  const Files kept{{"a", "A"}, {"b/1", "1"}, {"b/mine", "mine"}, {"c", "c"}};
  EXPECT_EQ(copy(), with("one", kept));
  EXPECT_THAT(result_.placed, ElementsAre("a"));
  expectFailure(Kind::kDisk);
  EXPECT_THAT(requests(), ElementsAre("GET /lib/id.txt", "GET /lib/filelist.json"));
  fs::remove(fs::path(options_.folder) / "b/mine");
  updateWell();
  EXPECT_EQ(copy(), with("two", {{"a", "A"}, {"b", "b"}, {"c", "c"}}));
  updateWell();
  EXPECT_THAT(requests(), ElementsAre("GET /lib/id.txt"));
}

TEST_F(UpdaterTest, ACheckIsOneRequestAndLeavesNothing) {
  publish("one", {{"a", "a"}});
  Updater updater(options_, *this, &timing_);
  CheckResult result;
  ASSERT_FALSE(updater.check(result));
  EXPECT_FALSE(result.isCurrent);
  EXPECT_EQ(result.stamp, "one");
  EXPECT_THAT(requests(), ElementsAre("GET /lib/id.txt"));
  EXPECT_FALSE(fs::exists(options_.folder));
  updateWell();
  ASSERT_FALSE(updater.check(result));
  EXPECT_TRUE(result.isCurrent);
}

TEST_F(UpdaterTest, APlanIsTwoRequestsAndLeavesNothing) {
  publish("one", {{"a", "a"}, {"b", "bb"}});
  Updater updater(options_, *this, &timing_);
  Preview preview;
  const Outcome failure = updater.plan(preview);
  ASSERT_FALSE(failure) << failure->text;
  EXPECT_EQ(preview.plan.fetch.size(), 2U);
  EXPECT_EQ(preview.plan.bytesToFetch, 3U);
  EXPECT_THAT(requests(), ElementsAre("GET /lib/id.txt", "GET /lib/filelist.json"));
  EXPECT_FALSE(fs::exists(options_.folder));
}

TEST_F(UpdaterTest, AWrongAddressLeavesNoFolder) {
  expectFailure(Kind::kNetwork);
  EXPECT_EQ(failure_.about, server_.address() + "/lib/id.txt");
  EXPECT_FALSE(fs::exists(options_.folder));
}

TEST_F(UpdaterTest, AContentThatIsNotAsListedIsNotSeen) {
  publish("one", {{"a", "a"}, {"b", "b"}});
  updateWell();
  publish("two", {{"a", "A"}, {"b", "B"}});
  server_.serve("/lib/a", "x");
  expectFailure(Kind::kContent);
  EXPECT_EQ(failure_.about, server_.address() + "/lib/a");
  EXPECT_EQ(copy(), with("one", {{"a", "a"}, {"b", "b"}}));
  EXPECT_EQ(secondLooks_, 1);
  publish("two", {{"a", "A"}, {"b", "B"}});
  updateWell();
  EXPECT_EQ(copy(), with("two", {{"a", "A"}, {"b", "B"}}));
}

TEST_F(UpdaterTest, APublisherWhoMovesOnIsFollowed) {
  publish("one", {{"a", "a"}, {"b", "b"}});
  server_.serve("/lib/a", "A");
  server_.remove("/lib/b");
  onSecondLook_ = [this] { publish("two", {{"a", "A"}, {"c", "c"}}); };
  updateWell();
  EXPECT_EQ(copy(), with("two", {{"a", "A"}, {"c", "c"}}));
  EXPECT_EQ(result_.stamp, "two");
  EXPECT_EQ(secondLooks_, 1);
  EXPECT_FALSE(isAnythingStaged());
}

TEST_F(UpdaterTest, AFileThatIsNotThereIsLookedForTwice) {
  publish("one", {{"a", "a"}});
  server_.remove("/lib/a");
  expectFailure(Kind::kNetwork);
  EXPECT_EQ(failure_.text, "the server answered with HTTP status 404");
  EXPECT_THAT(requests(), ElementsAre("GET /lib/id.txt", "GET /lib/filelist.json", "GET /lib/a",
                                      "GET /lib/id.txt", "GET /lib/filelist.json", "GET /lib/a"));
  EXPECT_EQ(copy(), Files());
}

TEST_F(UpdaterTest, APageInPlaceOfEverythingChangesNothing) {
  publish("one", {{"a", "a"}});
  updateWell();
  const std::string page = "<html>Please log in to use this network.</html>\n";
  for (const char* target : {"/lib/id.txt", "/lib/filelist.json", "/lib/a"})
    server_.serve(target, page);
  expectFailure(Kind::kContent);
  EXPECT_EQ(failure_.about, server_.address() + "/lib/filelist.json");
  EXPECT_EQ(copy(), with("one", {{"a", "a"}}));
  publish("one", {{"a", "a"}});
  updateWell();
  EXPECT_EQ(copy(), with("one", {{"a", "a"}}));
}

TEST_F(UpdaterTest, ARunThatIsCutGoesOnWhereItWas) {
  Files files;
  for (int i = 0; i < 50; ++i)
    files["file" + std::to_string(i)] = "content " + std::to_string(i);
  publish("one", files);
  server_.hold("/lib/file49");
  shouldContinue_ = [this] { return server_.requests().size() < 52; };
  expectFailure(Kind::kCancelled);
  EXPECT_EQ(copy(), Files());
  shouldContinue_ = nullptr;
  server_.release("/lib/file49");
  updateWell();
  EXPECT_EQ(copy(), with("one", files));
  EXPECT_LT(requests().size(), 12U);
  EXPECT_FALSE(isAnythingStaged());
}

TEST_F(UpdaterTest, CancelsFromAnotherThread) {
  publish("one", {{"a", "a"}});
  server_.hold("/lib/a");
  Updater updater(options_, *this);
  std::thread other([&] {
    EXPECT_TRUE(server_.waitForRequests(3));
    updater.cancel();
  });
  const Outcome failure = updater.update(result_);
  other.join();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kCancelled);
  EXPECT_EQ(copy(), Files());
}

TEST_F(UpdaterTest, OneRunAtATime) {
  publish("one", {{"a", "a"}});
  updateWell();
  Folder folder;
  ASSERT_FALSE(folder.open(options_.folder, false));
  Lock lock;
  ASSERT_FALSE(lock.take(folder));
  expectFailure(Kind::kBusy);
  EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(UpdaterTest, KeepsToItsLimits) {
  publish("one", {{"a", "0123456789"}, {"b", "0123456789"}});
  options_.largestFile = 9;
  EXPECT_TRUE(update());
  options_.largestFile = 10;
  options_.largestTotal = 19;
  EXPECT_TRUE(update());
  EXPECT_EQ(copy(), Files());
  options_.largestTotal = 1000;
  updateWell();
}

TEST_F(UpdaterTest, ListsWithoutDigestsAreFetchedWhole) {
  publish("one", {{"a", "a"}, {"b", "b"}}, false);
  updateWell();
  publish("two", {{"a", "a"}, {"b", "B"}}, false);
  updateWell();
  EXPECT_EQ(requests().size(), 4U);
  EXPECT_EQ(copy(), with("two", {{"a", "a"}, {"b", "B"}}));
}

TEST_F(UpdaterTest, VerifyFindsWhatRepairBringsBack) {
  const Files files{{"a", "a"}, {"b", "b"}, {"c", "c"}};
  publish("one", files);
  updateWell();
  write("a", "X");
  fs::remove(fs::path(options_.folder) / "b");
  write("mine", "mine");
  server_.forgetRequests();
  Updater updater(options_, *this, &timing_);
  VerifyResult verified;
  ASSERT_FALSE(updater.verify(verified));
  EXPECT_THAT(requests(), IsEmpty());
  ASSERT_EQ(verified.differences.size(), 3U);
  EXPECT_EQ(verified.differences[0].path, "a");
  EXPECT_EQ(verified.differences[1].path, "b");
  EXPECT_EQ(verified.differences[2].path, "mine");
  const Outcome failure = updater.repair(result_);
  ASSERT_FALSE(failure) << failure->text;
  EXPECT_THAT(requests(), UnorderedElementsAre("GET /lib/id.txt", "GET /lib/filelist.json",
                                               "GET /lib/a", "GET /lib/b"));
  EXPECT_EQ(copy(), with("one", {{"a", "a"}, {"b", "b"}, {"c", "c"}, {"mine", "mine"}}));
}

TEST_F(UpdaterTest, RepairReadsWhatLooksUnchanged) {
  publish("one", {{"a", "a"}});
  updateWell();
  const fs::path file = fs::path(options_.folder) / "a";
  const auto time = fs::last_write_time(file);
  write("a", "X");
  fs::last_write_time(file, time);
  Updater updater(options_, *this, &timing_);
  ASSERT_FALSE(updater.repair(result_));
  EXPECT_EQ(copy(), with("one", {{"a", "a"}}));
}

TEST_F(UpdaterTest, MakesNoFolderForWhatIsNotALibrary) {
  for (const char* list : {"<!DOCTYPE html><p>Log in here", "", "{\"login\": true}\n"}) {
    server_.serve("/lib/id.txt", "<!DOCTYPE html><p>Log in here");
    server_.serve("/lib/filelist.json", list);
    expectFailure(Kind::kContent);
    EXPECT_FALSE(fs::exists(options_.folder)) << list;
  }
  server_.remove("/lib/filelist.json");
  expectFailure(Kind::kNetwork);
  EXPECT_FALSE(fs::exists(options_.folder));
}

TEST_F(UpdaterTest, VerifyAsksTheLibraryWhereNoListWasKept) {
  publish("one", {{"a", "a"}, {"b", "b"}});
  write("a", "a");
  write("b", "x");
  server_.forgetRequests();
  Updater updater(options_, *this, &timing_);
  VerifyResult verified;
  ASSERT_FALSE(updater.verify(verified));
  EXPECT_THAT(requests(), ElementsAre("GET /lib/filelist.json"));
  ASSERT_EQ(verified.differences.size(), 1U);
  EXPECT_EQ(verified.differences[0].path, "b");
  EXPECT_FALSE(fs::exists(fs::path(options_.folder) / ".mtllib"));

  options_.session.address.clear();
  Updater alone(options_, *this, &timing_);
  const Outcome failure = alone.verify(verified);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kUsage);
}

TEST_F(UpdaterTest, VerifyNeedsAnUpdateBefore) {
  Updater updater(options_, *this, &timing_);
  VerifyResult verified;
  const Outcome failure = updater.verify(verified);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Kind::kUsage);
}

TEST_F(UpdaterTest, AnOldCopyWithoutItsStateIsReadAndNotFetched) {
  const Files files{{"a", "a"}, {"b", "b"}};
  publish("one", files);
  for (const auto& [path, content] : files)
    write(path, content);
  updateWell();
  EXPECT_EQ(requests().size(), 2U);
  EXPECT_EQ(copy(), with("one", files));
}

}  // namespace
}  // namespace mtlupdate
