// Tests the report of the differences between two lists.
#include "mtlpublish/list_changes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using mtlpublish::changesBetween;
using mtlpublish::DownloadPolicy;
using mtlpublish::ListChanges;
using mtlpublish::ListEntry;
using testing::ElementsAre;
using testing::IsEmpty;

ListEntry file(const std::string& path, std::uint64_t size, const std::string& sha256 = "1") {
  return {path, DownloadPolicy::kAlways, size, 0, sha256};
}

TEST(ListChanges, NamesWhatWasAddedChangedAndRemoved) {
  const ListChanges changes =
      changesBetween({file("a", 1), file("b", 2), file("d", 4), file("e", 5), file("f", 6)},
                     {file("b", 2), file("c", 3), file("d", 40), file("e", 5, "2"), file("g", 7)});
  EXPECT_THAT(changes.added, ElementsAre("c", "g"));
  EXPECT_THAT(changes.changed, ElementsAre("d", "e"));
  EXPECT_THAT(changes.removed, ElementsAre("a", "f"));
}

TEST(ListChanges, CountsAnotherPolicyOrVariantAsAChange) {
  const ListEntry map{"a.tx", DownloadPolicy::kAlways, 9, 5, "1"};
  ListEntry other = map;
  other.policy = DownloadPolicy::kNever;
  EXPECT_THAT(changesBetween({map}, {other}).changed, ElementsAre("a.tx"));
  other = map;
  other.jpegSize = 0;
  EXPECT_THAT(changesBetween({map}, {other}).changed, ElementsAre("a.tx"));
  EXPECT_THAT(changesBetween({map}, {map}).changed, IsEmpty());
}

TEST(ListChanges, TakesNothingForAChangeWhereAnOldListHasNoDigest) {
  EXPECT_THAT(changesBetween({file("a", 1, "")}, {file("a", 1, "2")}).changed, IsEmpty());
}

using Policy = DownloadPolicy;

ListEntry entry(const std::string& path, Policy policy, const std::string& sha256 = "1") {
  return {path, policy, 9, 0, sha256};
}

std::uint64_t bytesByModule(const std::vector<ListEntry>& before,
                            const std::vector<ListEntry>& after) {
  return changesBetween(before, after).byModule.bytes;
}

TEST(ListChanges, CountsWhatTheModuleFetches) {
  EXPECT_EQ(bytesByModule({file("a", 100)}, {file("a", 100), file("b", 20)}), 120U)
      << "those that are always fetched";
  EXPECT_EQ(changesBetween({file("a", 100)}, {file("a", 100), file("b", 20)}).byModule.requests,
            2U);
  EXPECT_EQ(bytesByModule({}, {entry("a", Policy::kMissing)}), 9U);
  EXPECT_EQ(bytesByModule({entry("a", Policy::kNever)}, {entry("a", Policy::kMissing)}), 9U);
  EXPECT_EQ(bytesByModule({file("a", 8)}, {entry("a", Policy::kMissing)}), 0U)
      << "it keeps what it has";
  EXPECT_EQ(bytesByModule({}, {entry("a", Policy::kNever)}), 0U);
  EXPECT_EQ(bytesByModule({}, {{"a.tx", Policy::kAlways, 9, 5, "1"}}), 5U) << "the lossy variant";
}

/// The requests of a client of the kit.
std::size_t requestsByKit(const std::vector<ListEntry>& before,
                          const std::vector<ListEntry>& after) {
  const ListChanges changes = changesBetween(before, after);
  EXPECT_EQ(changes.byKit.bytes, changes.byKit.requests * 9);
  return changes.byKit.requests;
}

TEST(ListChanges, CountsEachContentThatTheKitLacks) {
  const auto always = [](const std::string& path, const std::string& sha256) {
    return entry(path, Policy::kAlways, sha256);
  };
  EXPECT_EQ(requestsByKit({}, {always("a", "1"), always("b", "1"), always("c", "2")}), 2U)
      << "each content once";
  EXPECT_EQ(requestsByKit({always("a", "1")}, {always("a", "1")}), 0U);
  EXPECT_EQ(requestsByKit({always("a", "1")}, {always("b", "1")}), 0U) << "renamed";
  EXPECT_EQ(requestsByKit({always("a", "1")}, {always("a", "2"), always("b", "1")}), 1U);
  EXPECT_EQ(requestsByKit({entry("a", Policy::kNever)}, {always("a", "1")}), 1U);
  EXPECT_EQ(requestsByKit({always("a", "1")}, {entry("a", Policy::kMissing, "2")}), 1U);
  EXPECT_EQ(requestsByKit({always("a", "1")}, {entry("a", Policy::kNever, "2")}), 0U);
  EXPECT_EQ(requestsByKit({always("a", "")}, {always("a", "2")}), 0U) << "the disk has it";
}

TEST(ListChanges, NamesMissingFilesWhoseNewContentReachesNobodyByTheModule) {
  const auto unreachable = [](const ListEntry& before, const ListEntry& after) {
    return changesBetween({before}, {after}).unreachable;
  };
  const ListEntry missing = entry("a", Policy::kMissing, "1");
  const ListEntry changed = entry("a", Policy::kMissing, "2");
  EXPECT_THAT(unreachable(missing, changed), ElementsAre("a"));
  EXPECT_THAT(unreachable(entry("a", Policy::kAlways, "1"), changed), ElementsAre("a"));
  EXPECT_THAT(unreachable(missing, missing), IsEmpty());
  EXPECT_THAT(unreachable(missing, entry("a", Policy::kAlways, "2")), IsEmpty());
  EXPECT_THAT(unreachable(entry("a", Policy::kNever, "1"), changed), IsEmpty());
  EXPECT_THAT(changesBetween({}, {changed}).unreachable, IsEmpty());
}

}  // namespace
