// What is told of the difference between two lists.
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

TEST(ListChanges, CountsWhatClientsFetch) {
  const auto entry = [](const std::string& path, DownloadPolicy policy) {
    return ListEntry{path, policy, 9, 0, "1"};
  };
  using Policy = DownloadPolicy;
  EXPECT_EQ(changesBetween({file("a", 100)}, {file("a", 100), file("b", 20)}).bytesToFetch, 120U)
      << "those that are always fetched";
  EXPECT_EQ(changesBetween({}, {entry("a", Policy::kMissing)}).bytesToFetch, 9U);
  EXPECT_EQ(
      changesBetween({entry("a", Policy::kNever)}, {entry("a", Policy::kMissing)}).bytesToFetch,
      9U);
  EXPECT_EQ(changesBetween({file("a", 8)}, {entry("a", Policy::kMissing)}).bytesToFetch, 0U)
      << "clients keep what they have";
  EXPECT_EQ(changesBetween({}, {entry("a", Policy::kNever)}).bytesToFetch, 0U);
  EXPECT_EQ(changesBetween({}, {{"a.tx", Policy::kAlways, 9, 5, "1"}}).bytesToFetch, 5U)
      << "the lossy variant";
}

}  // namespace
