// Tests differences between lists, and those that are joined.
#include "mtlpublish/list_differences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace mtlpublish {
namespace {

using mtlupdate::ListDifference;
using testing::HasSubstr;
using testing::Not;

std::string applied(const ListDifference& difference, const std::string& from) {
  std::string to;
  for (const ListDifference::Piece& piece : difference.pieces)
    to += piece.text.empty() ? from.substr(piece.offset, piece.size) : piece.text;
  return to;
}

std::string listOf(const std::set<int>& entries) {
  std::string list;
  for (const int entry : entries)
    list += (list.empty() ? "[\n" : ",\n") + ("{\"path\":\"" + std::to_string(entry)) + "\"}";
  return list.empty() ? "[]\n" : list + "\n]\n";
}

void expectDifference(const std::string& from, const std::string& to) {
  const ListDifference difference = differenceBetween(from, to);
  EXPECT_EQ(applied(difference, from), to);
  EXPECT_TRUE(difference.head.from == identityOf(from));
  EXPECT_TRUE(difference.head.to == identityOf(to));
  const auto read = mtlupdate::parseDifference(differenceText(difference));
  ASSERT_TRUE(read) << differenceText(difference);
  EXPECT_EQ(applied(*read, from), to);
}

TEST(ListDifferences, LeadFromAnyListToAnyOther) {
  const std::vector<std::string> lists{
      listOf({}),        listOf({1}),    listOf({1, 2}), listOf({2}), listOf({1, 2, 3}),
      listOf({3, 4, 5}), "a\na\nb\na\n", "b\na\na\n",    "no end",    "a\nno end"};
  for (const std::string& from : lists) {
    for (const std::string& to : lists)
      expectDifference(from, to);
  }
}

TEST(ListDifferences, HaveOnlyWhatHasChanged) {
  std::set<int> entries;
  for (int i = 100000; i < 101000; ++i)
    entries.insert(i);
  const std::string from = listOf(entries);
  entries.erase(100500);
  entries.insert(100);
  const std::string text = differenceText(differenceBetween(from, listOf(entries)));
  EXPECT_LT(text.size(), 300U);
  EXPECT_THAT(text, HasSubstr("{\"path\":\"100\"},\n"));
  EXPECT_THAT(text, Not(HasSubstr("100501")));
}

TEST(ListDifferences, AreJoined) {
  std::mt19937 random(7);
  std::set<int> entries;
  for (int i = 0; i < 300; ++i)
    entries.insert(i);
  const std::string first = listOf(entries);
  std::string last = first;
  ListDifference all = differenceBetween(first, first);
  for (std::uint64_t build = 2; build < 40; ++build) {
    for (int i = 0; i < 10; ++i) {
      const int entry = static_cast<int>(random() % 400);
      if (entries.erase(entry) == 0) entries.insert(entry);
    }
    const std::string list = listOf(entries);
    all = joined(all, differenceBetween(last, list));
    ASSERT_EQ(applied(all, first), list);
    ASSERT_TRUE(mtlupdate::parseDifference(differenceText(all)));
    EXPECT_EQ(all.head.builds, build);
    EXPECT_TRUE(all.head.from == identityOf(first));
    EXPECT_TRUE(all.head.to == identityOf(list));
    last = list;
  }
}

}  // namespace
}  // namespace mtlpublish
