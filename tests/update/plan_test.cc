// Tests what an update will do, from the list, what the last one left, and the disk.
#include "update/plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "digest_of.h"

namespace {

using mtlrules::DownloadPolicy;
using mtlupdate::Digest;
using mtlupdate::Entry;
using mtlupdate::Failure;
using mtlupdate::FileKind;
using mtlupdate::Listing;
using mtlupdate::Look;
using mtlupdate::Outcome;
using mtlupdate::Plan;
using mtlupdate::PlanOptions;
using mtlupdate::ShouldContinue;
using mtlupdate::SkippedEntry;
using mtlupdate::State;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

/// A disk in memory, which notes what is read.
class FakeDisk final : public mtlupdate::Disk {
 public:
  void put(const std::string& path, const std::string& content) {
    files[path] = content;
    looks[path] = {FileKind::kFile, {content.size(), 0, ++number_}, ""};
  }
  void putOther(const std::string& path, FileKind kind, const std::string& blockedBy = "") {
    looks[path] = {kind, {}, blockedBy};
  }
  void touch(const std::string& path) { ++looks[path].identity.modified; }

  std::error_code look(std::string_view path, Look& found) override {
    ++timesLooked;
    const auto at = looks.find(std::string(path));
    found = at != looks.end() ? at->second : Look{};
    return refused.count(std::string(path)) != 0
               ? std::make_error_code(std::errc::permission_denied)
               : std::error_code();
  }
  std::error_code names(std::string_view path, std::vector<std::string>& names) override {
    names.clear();
    const std::string folder = path.empty() ? "" : std::string(path) + '/';
    for (const auto& [other, look] : looks) {
      const bool isIn = other.compare(0, folder.size(), folder) == 0 && look.blockedBy.empty();
      if (!isIn || look.kind == FileKind::kNone) continue;
      const std::string name = other.substr(folder.size());
      if (name.find('/') == name.npos) names.push_back(name);
    }
    return refused.count(folder) != 0 ? std::make_error_code(std::errc::permission_denied)
                                      : std::error_code();
  }
  std::error_code digest(std::string_view path, const ShouldContinue& shouldContinue,
                         Digest& digest) override {
    const std::string content = files.at(std::string(path));
    read.emplace_back(path);
    if (unreadable.count(std::string(path)) != 0) {
      return std::make_error_code(std::errc::io_error);
    }
    digest = digestOf(content).value_or(Digest{});
    const bool isStopped = shouldContinue && !shouldContinue(content.size());
    return isStopped ? std::make_error_code(std::errc::operation_canceled) : std::error_code();
  }
  std::optional<std::uint64_t> freeRoom() override { return room; }

  std::map<std::string, std::string> files;
  std::map<std::string, Look> looks;
  std::set<std::string> refused;
  std::set<std::string> unreadable;
  std::vector<std::string> read;
  int timesLooked = 0;
  std::optional<std::uint64_t> room{1'000'000};

 private:
  std::uint64_t number_ = 0;
};

class PlanTest : public testing::Test {
 protected:
  void list(std::string_view path, std::string_view content,
            DownloadPolicy policy = DownloadPolicy::kAlways) {
    listing.add({path, path, content.size(), digestOf(content), policy});
  }
  void listWithoutDigest(std::string_view path, DownloadPolicy policy = DownloadPolicy::kAlways) {
    listing.add({path, path, std::nullopt, std::nullopt, policy});
  }

  /// The file lies there as the last update placed it.
  void place(const std::string& path, const std::string& content) {
    disk.put(path, content);
    state.add({path, disk.looks[path].identity, digestOf(content), true});
  }

  Outcome make() { return mtlupdate::makePlan(listing, state, options, staged, disk, plan); }
  void makeGood() {
    const Outcome failure = make();
    ASSERT_FALSE(failure) << failure->text;
  }

  std::vector<std::string> fetched() const {
    std::vector<std::string> paths;
    for (const Plan::Fetch& fetch : plan.fetch)
      paths.emplace_back(fetch.entry->path);
    return paths;
  }
  std::map<std::string, std::string> copied() const {
    std::map<std::string, std::string> paths;
    for (const Plan::Copy& copy : plan.copy)
      paths[std::string(copy.entry->path)] = copy.from;
    return paths;
  }
  std::map<std::string, bool> placed() const {
    std::map<std::string, bool> paths;
    for (const Plan::Place& one : plan.place)
      paths[std::string(one.entry->path)] = one.replaces;
    return paths;
  }
  std::vector<std::string> withdrawn() const {
    std::vector<std::string> paths;
    for (const Plan::Withdrawn& file : plan.withdrawn)
      paths.push_back(file.path);
    return paths;
  }
  std::map<std::string, SkippedEntry::Reason> skipped() const {
    std::map<std::string, SkippedEntry::Reason> reasons;
    for (const SkippedEntry& one : plan.skipped)
      reasons[one.path] = one.reason;
    return reasons;
  }

  Listing listing;
  State state;
  FakeDisk disk;
  PlanOptions options;
  mtlupdate::StagedBytes staged;
  Plan plan;
};

TEST_F(PlanTest, FetchesWhatIsNotThere) {
  list("a", "content");
  makeGood();
  EXPECT_THAT(fetched(), ElementsAre("a"));
  EXPECT_THAT(placed(), ElementsAre(Pair("a", false)));
  EXPECT_EQ(plan.bytesToFetch, 7U);
  EXPECT_EQ(plan.spaceNeeded, 7U);
  EXPECT_EQ(plan.spaceAvailable, 1'000'000U);
}

TEST_F(PlanTest, LooksOnceForAFolderThatIsNotThere) {
  for (const char* path : {"a/b", "a/c", "a/d/e", "ab/c"}) {
    list(path, path);
    disk.looks[path].lacksFolder = true;
  }
  disk.put("b/a", "old");
  list("b/a", "new");
  makeGood();
  EXPECT_EQ(disk.timesLooked, 3);
  EXPECT_THAT(placed(), ElementsAre(Pair("a/b", false), Pair("a/c", false), Pair("a/d/e", false),
                                    Pair("ab/c", false), Pair("b/a", true)));
}

TEST_F(PlanTest, KeepsAndDoesNotReadWhatNobodyHasTouched) {
  place("a", "content");
  list("a", "content");
  makeGood();
  EXPECT_THAT(plan.place, IsEmpty());
  EXPECT_THAT(disk.read, IsEmpty());
  EXPECT_EQ(plan.filesUnchanged, 1U);
  EXPECT_EQ(plan.bytesUnchanged, 7U);
  ASSERT_NE(plan.next.find("a"), nullptr);
  EXPECT_TRUE(plan.next.find("a")->isPlaced);
}

TEST_F(PlanTest, ReadsOnceWhatLooksTouchedOrIsNotKnown) {
  place("a", "content");
  disk.touch("a");
  disk.put("b", "content");
  list("a", "content");
  list("b", "content");
  makeGood();
  EXPECT_THAT(plan.place, IsEmpty());
  EXPECT_THAT(disk.read, ElementsAre("a", "b"));
  const State next = std::move(plan.next);
  state.add(*next.find("a"));
  state.add(*next.find("b"));
  disk.read.clear();
  makeGood();
  EXPECT_THAT(disk.read, IsEmpty());
}

TEST_F(PlanTest, ReplacesWhatDiffers) {
  place("a", "old one");
  place("b", "old");
  list("a", "new one");
  list("b", "other size");
  disk.put("c", "same size");
  list("c", "size same");
  makeGood();
  EXPECT_THAT(fetched(), ElementsAre("a", "b", "c"));
  EXPECT_THAT(placed(), ElementsAre(Pair("a", true), Pair("b", true), Pair("c", true)));
  EXPECT_THAT(disk.read, ElementsAre("c")) << "the others' digests or sizes are known";
  EXPECT_EQ(plan.filesReplaced, 3U);
  EXPECT_EQ(plan.bytesReplaced, 19U);
}

TEST_F(PlanTest, FetchesWhatHasNoDigestAsTheContractSays) {
  place("a", "content");
  place("b", "content");
  listWithoutDigest("a");
  listWithoutDigest("b", DownloadPolicy::kMissing);
  listWithoutDigest("c", DownloadPolicy::kMissing);
  makeGood();
  EXPECT_THAT(fetched(), ElementsAre("a", "c"));
  EXPECT_EQ(plan.fetchesOfUnknownSize, 2U);
  ASSERT_NE(plan.next.find("b"), nullptr);
  EXPECT_TRUE(plan.next.find("b")->isPlaced);
}

TEST_F(PlanTest, BringsAMissingFileUpToDateThatNobodyHasChanged) {
  place("a", "old");
  place("b", "old");
  disk.touch("b");
  list("a", "new", DownloadPolicy::kMissing);
  list("b", "new", DownloadPolicy::kMissing);
  makeGood();
  EXPECT_THAT(fetched(), ElementsAre("a"));
  EXPECT_THAT(placed(), ElementsAre(Pair("a", true), Pair("b", true)));
}

TEST_F(PlanTest, LeavesAMissingFileThatSomebodyChangedOrPutThere) {
  place("a", "old");
  disk.put("a", "theirs");
  disk.put("b", "theirs");
  disk.put("c", "new");
  for (const char* path : {"a", "b", "c"})
    list(path, "new", DownloadPolicy::kMissing);
  makeGood();
  EXPECT_THAT(plan.place, IsEmpty());
  EXPECT_THAT(skipped(), ElementsAre(Pair("a", SkippedEntry::Reason::kChanged),
                                     Pair("b", SkippedEntry::Reason::kChanged)));
  EXPECT_FALSE(plan.next.find("a")->isPlaced);
  EXPECT_FALSE(plan.next.find("b")->isPlaced);
  EXPECT_TRUE(plan.next.find("c")->isPlaced);
}

TEST_F(PlanTest, LeavesTheirFileInTheNextUpdateTooWithoutReadingIt) {
  disk.put("a", "theirs");
  state.add({"a", disk.looks["a"].identity, digestOf("theirs"), false});
  list("a", "new", DownloadPolicy::kMissing);
  makeGood();
  EXPECT_THAT(plan.place, IsEmpty());
  EXPECT_THAT(disk.read, IsEmpty());
  EXPECT_THAT(skipped(), ElementsAre(Pair("a", SkippedEntry::Reason::kChanged)));
}

TEST_F(PlanTest, CopiesAContentThatIsThereUnderAnotherPath) {
  place("old/a", "content");
  place("old/b", "touched");
  disk.touch("old/b");
  list("new/a", "content");
  list("new/b", "touched");
  makeGood();
  EXPECT_THAT(copied(), ElementsAre(Pair("new/a", "old/a")));
  EXPECT_THAT(fetched(), ElementsAre("new/b"));
  EXPECT_EQ(plan.bytesToCopy, 7U);
  EXPECT_THAT(withdrawn(), ElementsAre("old/a"));
}

TEST_F(PlanTest, CopiesAContentThatIsThereOnceForAllFilesThatHaveIt) {
  place("old/a", "content");
  list("new/a", "content");
  list("new/b", "content");
  makeGood();
  EXPECT_THAT(copied(), ElementsAre(Pair("new/a", "old/a")));
  EXPECT_THAT(fetched(), IsEmpty());
  EXPECT_EQ(placed().size(), 2U);
  EXPECT_EQ(plan.bytesToCopy, 14U);
}

// Not even one that lies where a digest of zeros is known of it.
TEST_F(PlanTest, CopiesNothingForAContentWithoutADigest) {
  disk.put("old/a", "content");
  state.add({"old/a", disk.looks["old/a"].identity, Digest{}, true});
  listWithoutDigest("new/a");
  makeGood();
  EXPECT_THAT(copied(), IsEmpty());
  EXPECT_THAT(fetched(), ElementsAre("new/a"));
}

TEST_F(PlanTest, ReadsWhatTheListDoesNotNameWhereNothingIsKnownOfACopy) {
  disk.put("old/a", "content");
  disk.put("old/b", "another");
  disk.put("old/c", "of another size");
  disk.put("kept", "kept");
  disk.put(".mtllib/stage/x", "content");
  disk.putOther("old", FileKind::kFolder);
  disk.putOther(".mtllib", FileKind::kFolder);
  disk.putOther("link", FileKind::kLink);
  list("kept", "kept");
  list("new/a", "content");
  list("new/b", "kontent");
  makeGood();
  EXPECT_THAT(copied(), ElementsAre(Pair("new/a", "old/a")));
  EXPECT_THAT(fetched(), ElementsAre("new/b"));
  EXPECT_THAT(disk.read, ElementsAre("kept", "old/a", "old/b"));
  EXPECT_THAT(withdrawn(), IsEmpty());
  options.shouldContinue = [](std::size_t, std::uint64_t bytes) { return bytes < 11; };
  const Outcome failure = make();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kCancelled);
}

TEST_F(PlanTest, ReadsNothingElseWhereTheListIsThereOrSomethingIsKnown) {
  disk.put("a", "content");
  disk.put("b", "kontent");
  list("a", "content");
  makeGood();
  EXPECT_THAT(disk.read, ElementsAre("a"));
  disk.read.clear();
  state.add({"a", disk.looks["a"].identity, digestOf("content"), true});
  list("c", "kontent");
  makeGood();
  EXPECT_THAT(disk.read, IsEmpty());
  EXPECT_THAT(fetched(), ElementsAre("c"));
}

TEST_F(PlanTest, FetchesAContentOnceForAllFilesThatHaveIt) {
  list("a", "content");
  list("b", "content");
  list("c", "content");
  makeGood();
  EXPECT_THAT(fetched(), ElementsAre("a"));
  EXPECT_EQ(placed().size(), 3U);
  EXPECT_EQ(plan.bytesToFetch, 7U);
  EXPECT_EQ(plan.bytesToCopy, 14U);
  EXPECT_EQ(plan.spaceNeeded, 21U);
}

TEST_F(PlanTest, CountsNoBytesThatAreStaged) {
  list("a", "content");
  staged = [](const Entry&, std::size_t) { return 5U; };
  makeGood();
  EXPECT_EQ(plan.bytesToFetch, 2U);
}

TEST_F(PlanTest, ReportsWithdrawnFilesAndRemovesThemWhenAsked) {
  place("a", "1");
  place("b", "12");
  place("c", "123");
  place("d", "1234");
  disk.touch("c");
  disk.looks.erase("d");
  disk.put("theirs", "5");
  state.add({"theirs", disk.looks["theirs"].identity, std::nullopt, false});
  list("a", "1");
  makeGood();
  EXPECT_THAT(withdrawn(), ElementsAre("b"));
  EXPECT_EQ(plan.bytesWithdrawn, 2U);
  EXPECT_FALSE(plan.removesWithdrawn);
  EXPECT_NE(plan.next.find("b"), nullptr) << "so that a later update can remove it";
  options.prune = true;
  makeGood();
  EXPECT_TRUE(plan.removesWithdrawn);
  EXPECT_EQ(plan.next.find("b"), nullptr);
}

TEST_F(PlanTest, RemovesMoreThanHalfOfACopyOnlyWhenThatIsAskedFor) {
  place("a", "1");
  place("b", "1");
  place("c", "1");
  list("a", "1");
  options.prune = true;
  const Outcome failure = make();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kUsage);
  EXPECT_EQ(failure->text, "more than half of the copy would be removed: 2 of 3 files");
  options.pruneMost = true;
  makeGood();
  EXPECT_TRUE(plan.removesWithdrawn);
}

TEST_F(PlanTest, PassesOverWhatIsInTheWayAndSaysSo) {
  disk.putOther("folder", FileKind::kFolder);
  disk.putOther("link", FileKind::kLink);
  disk.putOther("link2/a", FileKind::kLink, "link2");
  disk.putOther("file/a", FileKind::kFile, "file");
  disk.putOther("pipe", FileKind::kOther);
  disk.refused.insert("secret");
  disk.put("broken", "theirs");
  disk.unreadable.insert("broken");
  for (const char* path : {"folder", "link", "link2/a", "file/a", "pipe", "secret", "ID.txt",
                           "sub/id.txt", ".mtllib/state"}) {
    list(path, "1");
  }
  list("broken", "123456");
  options.subPath = "sub";
  makeGood();
  using Reason = SkippedEntry::Reason;
  EXPECT_THAT(
      skipped(),
      ElementsAre(Pair(".mtllib/state", Reason::kOwnName), Pair("ID.txt", Reason::kOwnName),
                  Pair("broken", Reason::kUnreadable), Pair("file/a", Reason::kNotAFolder),
                  Pair("folder", Reason::kFolder), Pair("link", Reason::kLink),
                  Pair("link2/a", Reason::kLink), Pair("pipe", Reason::kOther),
                  Pair("secret", Reason::kUnreadable), Pair("sub/id.txt", Reason::kOwnName)));
  EXPECT_THAT(plan.place, IsEmpty());
  for (const SkippedEntry& one : plan.skipped)
    EXPECT_NE(one.text, "") << one.path;
  EXPECT_THAT(plan.skipped[2].text, HasSubstr("\"link2\" is a link"));
}

TEST_F(PlanTest, GivesEachPlaceToTheLastOfItsEntries) {
  list("a", "first");
  list("b", "1");
  list("a", "second");
  makeGood();
  EXPECT_THAT(skipped(), ElementsAre(Pair("a", SkippedEntry::Reason::kSamePlace)));
  EXPECT_EQ(placed().size(), 2U);
  EXPECT_EQ(plan.bytesToFetch, 7U);
}

TEST_F(PlanTest, GivesTheNameOfAFolderToNoFile) {
  list("a/b", "1");
  list("a-b", "2");
  list("a", "3");
  list("a.b", "4");
  list("c", "5");
  list("c/d/e", "6");
  list("c/d", "7");
  list("cc", "8");
  makeGood();
  EXPECT_THAT(skipped(), ElementsAre(Pair("a", SkippedEntry::Reason::kSamePlace),
                                     Pair("c", SkippedEntry::Reason::kSamePlace),
                                     Pair("c/d", SkippedEntry::Reason::kSamePlace)));
  EXPECT_EQ(plan.obstacle(), nullptr) << "no copy would have them";
}

TEST_F(PlanTest, PutsAFolderInThePlaceOfAWithdrawnFile) {
  place("a", "1");
  place("other", "1");
  disk.putOther("a/b", FileKind::kFile, "a");
  disk.putOther("a/c", FileKind::kFile, "a");
  list("a/b", "new");
  list("a/c", "1");
  list("other", "1");
  makeGood();
  EXPECT_THAT(placed(), ElementsAre(Pair("a/b", false), Pair("a/c", false)));
  EXPECT_THAT(copied(), ElementsAre(Pair("a/c", "a")));
  EXPECT_THAT(withdrawn(), ElementsAre("a"));
  EXPECT_FALSE(plan.removesWithdrawn);
  EXPECT_TRUE(plan.removes(plan.withdrawn[0]));
  EXPECT_EQ(plan.next.find("a"), nullptr);
  EXPECT_THAT(plan.skipped, IsEmpty());
}

TEST_F(PlanTest, PutsAFolderInThePlaceOfAFileThatTheListGivesToIt) {
  place("a", "1");
  disk.putOther("a/b", FileKind::kFile, "a");
  list("a", "1");
  list("a", "2");
  list("a/b", "new");
  makeGood();
  EXPECT_THAT(placed(), ElementsAre(Pair("a/b", false)));
  EXPECT_THAT(withdrawn(), ElementsAre("a"));
  EXPECT_TRUE(plan.removes(plan.withdrawn[0]));
}

TEST_F(PlanTest, PutsNoFolderInThePlaceOfAFileThatSomebodyChanged) {
  place("a", "1");
  disk.touch("a");
  disk.putOther("a/b", FileKind::kFile, "a");
  list("a/b", "new");
  makeGood();
  EXPECT_THAT(skipped(), ElementsAre(Pair("a/b", SkippedEntry::Reason::kNotAFolder)));
  EXPECT_THAT(plan.place, IsEmpty());
  ASSERT_NE(plan.obstacle(), nullptr);
  EXPECT_EQ(plan.obstacle()->path, "a/b");
}

TEST_F(PlanTest, PutsAFileInThePlaceOfAFolderOfWithdrawnFiles) {
  for (const char* path : {"a/b", "a/c/d", "e", "f"})
    place(path, "old");
  disk.putOther("a", FileKind::kFolder);
  disk.putOther("a/c", FileKind::kFolder);
  list("a", "new");
  list("e", "old");
  makeGood();
  EXPECT_THAT(placed(), ElementsAre(Pair("a", false)));
  EXPECT_THAT(withdrawn(), ElementsAre("a/b", "a/c/d", "f"));
  EXPECT_TRUE(plan.removes(plan.withdrawn[0]));
  EXPECT_TRUE(plan.removes(plan.withdrawn[1]));
  EXPECT_FALSE(plan.removes(plan.withdrawn[2]));
  EXPECT_THAT(plan.foldersInTheWay, ElementsAre("a/c", "a"));
  EXPECT_NE(plan.next.find("f"), nullptr);
  EXPECT_EQ(plan.next.find("a/b"), nullptr);
}

TEST_F(PlanTest, PutsAFileInThePlaceOfAFolderThatACutRunHasEmptied) {
  place("a/b", "old");
  place("c", "old");
  disk.looks.erase("a/b");
  disk.putOther("a", FileKind::kFolder);
  list("a", "new");
  makeGood();
  EXPECT_THAT(placed(), ElementsAre(Pair("a", false)));
  EXPECT_THAT(plan.foldersInTheWay, ElementsAre("a"));
}

TEST_F(PlanTest, PutsNoFileInThePlaceOfAFolderWithAnythingThatStays) {
  const auto expectToStay = [&](const std::string& what, const std::string& text) {
    SCOPED_TRACE(what);
    makeGood();
    EXPECT_THAT(skipped(), ElementsAre(Pair("a", SkippedEntry::Reason::kFolder)));
    EXPECT_EQ(plan.skipped.at(0).text, text);
    EXPECT_EQ(plan.obstacle(), &plan.skipped.at(0));
    EXPECT_THAT(plan.place, IsEmpty());
    EXPECT_THAT(plan.foldersInTheWay, IsEmpty());
    EXPECT_FALSE(plan.removes(plan.withdrawn.at(0))) << "nothing is gained by it";
  };
  place("a/b", "old");
  place("c", "old");
  place("d", "old");
  disk.putOther("a", FileKind::kFolder);
  list("a", "new");
  list("c", "old");
  list("d", "old");
  disk.put("a/theirs", "theirs");
  expectToStay("their file", "its place is taken by a folder with \"a/theirs\"");
  disk.looks.erase("a/theirs");
  disk.putOther("a/link", FileKind::kLink);
  expectToStay("a link", "its place is taken by a folder with \"a/link\"");
  disk.looks.erase("a/link");
  disk.putOther("a/theirs", FileKind::kFolder);
  expectToStay("their folder", "its place is taken by a folder with \"a/theirs\"");
  disk.looks.erase("a/theirs");
  disk.refused.insert("a/b");
  makeGood();
  EXPECT_EQ(plan.skipped.at(0).text, "its place is taken by a folder with \"a/b\"");
  disk.refused = {"a/"};
  expectToStay("what the system does not show", "its place is taken by a folder");
  disk.refused.clear();
  makeGood();
  EXPECT_THAT(placed(), ElementsAre(Pair("a", false)));
}

TEST_F(PlanTest, PutsAFileInThePlaceOfMostOfACopyOnlyWhenThatIsAskedFor) {
  for (const char* path : {"a/b", "a/c", "d"})
    place(path, "old");
  disk.putOther("a", FileKind::kFolder);
  list("a", "new");
  list("d", "old");
  const Outcome failure = make();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kUsage);
  EXPECT_EQ(failure->text, "more than half of the copy would be removed: 2 of 3 files");
  options.pruneMost = true;
  makeGood();
  EXPECT_THAT(placed(), ElementsAre(Pair("a", false)));
}

TEST_F(PlanTest, KnowsWhatKeepsACopyFromBeingWhatTheLibraryHas) {
  using Reason = SkippedEntry::Reason;
  for (const Reason reason :
       {Reason::kFolder, Reason::kNotAFolder, Reason::kLink, Reason::kOther, Reason::kUnreadable}) {
    plan.skipped = {{Reason::kChanged, "a", ""}, {reason, "b", ""}};
    EXPECT_EQ(plan.obstacle(), &plan.skipped[1]);
  }
  plan.skipped = {
      {Reason::kChanged, "a", ""}, {Reason::kSamePlace, "b", ""}, {Reason::kOwnName, "c", ""}};
  EXPECT_EQ(plan.obstacle(), nullptr);
}

TEST_F(PlanTest, DoesNotCountAnEntryThatWasSkippedAsWithdrawn) {
  place("a", "old");
  list("a", "new");
  list("a", "new");
  list("a", "old");
  makeGood();
  EXPECT_THAT(withdrawn(), IsEmpty());
}

TEST_F(PlanTest, RefusesWhatThereIsNoRoomForWithBothFigures) {
  list("a", "content");
  disk.room = 6;
  const Outcome failure = make();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kDisk);
  EXPECT_EQ(failure->text, "not enough free space: 7 bytes are needed, 6 are free");
  disk.room.reset();
  makeGood();
}

TEST_F(PlanTest, SurvivesSizesThatNoSumCanHold) {
  for (const char* path : {"a", "b", "c"})
    listing.add({path, path, UINT64_MAX - 1, std::nullopt, DownloadPolicy::kAlways});
  const Outcome failure = make();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kDisk);
  EXPECT_EQ(plan.bytesToFetch, UINT64_MAX);
}

TEST_F(PlanTest, HoldsTheLimitsOfTheHost) {
  list("a", "content");
  list("b", "more content");
  options.largestFile = 11;
  Outcome failure = make();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kLimit);
  EXPECT_EQ(failure->about, "b");
  options.largestFile = 12;
  options.largestTotal = 18;
  failure = make();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kLimit);
  options.largestTotal = 19;
  makeGood();
}

TEST_F(PlanTest, FetchesAllThatTheListSelectsWhenAsked) {
  place("a", "content");
  place("b", "other");
  list("a", "content");
  list("b", "other", DownloadPolicy::kMissing);
  list("c", "content");
  place("old/d", "elsewhere");
  list("new/d", "elsewhere");
  options.full = true;
  makeGood();
  EXPECT_THAT(fetched(), ElementsAre("a", "new/d"));
  EXPECT_EQ(placed(), (std::map<std::string, bool>{{"a", true}, {"c", false}, {"new/d", false}}));
  EXPECT_THAT(plan.copy, IsEmpty());
}

TEST_F(PlanTest, FindsDamageThatLeftNoTraceWhenItReadsAll) {
  for (const char* path : {"a", "b", "c"})
    place(path, "content");
  disk.files["a"] = "kontent";
  disk.files["b"] = "kontent";
  list("a", "content");
  list("b", "content", DownloadPolicy::kMissing);
  list("c", "content");
  makeGood();
  EXPECT_THAT(plan.place, IsEmpty());
  options.reread = true;
  makeGood();
  EXPECT_THAT(placed(), ElementsAre(Pair("a", true), Pair("b", true)));
}

TEST_F(PlanTest, StopsWhenItIsTold) {
  disk.put("a", "content");
  list("a", "content");
  options.shouldContinue = [](std::size_t, std::uint64_t) { return false; };
  Outcome failure = make();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kCancelled);
  options.shouldContinue = [](std::size_t, std::uint64_t bytes) { return bytes == 0; };
  failure = make();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->kind, Failure::Kind::kCancelled);
}

}  // namespace
