// Tests how much memory the engine takes for libraries of many files.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/counting_allocator.h"
#include "update/list_reader.h"

namespace {

using mtlupdate::Entry;
using mtlupdate::Listing;

constexpr std::size_t kFiles = 20'000;
constexpr std::size_t kMostBytesAFile = 300;

std::string pathOf(std::size_t number) {
  return "materials/metal/brushed_aluminium_" + std::to_string(100'000 + number) +
         "/maps/basecolor_4096_linear.tx";
}

// Nothing that a listing takes is given back before its end.
TEST(Memory, OfAListingIsSmall) {
  const AllocationCount count;
  Listing listing;
  for (std::size_t i = 0; i < kFiles; ++i) {
    const std::string path = pathOf(i);
    Entry entry;
    entry.path = path;
    entry.remotePath = path;
    entry.sha256.emplace();
    listing.add(entry);
  }
  std::size_t bytes = 0;
  for (const std::size_t size : count.sizes())
    bytes += size;
  EXPECT_LE(bytes, kFiles * kMostBytesAFile);
}

// Each entry is 20 times as long as what is kept of it, so that a reader that kept more than one
// at a time would be found out.
TEST(Memory, OfReadingAListIsThatOfItsEntriesWhateverTheirTextIs) {
  Listing listing;
  mtlupdate::ListReader reader(listing);
  const std::string filling =
      "\"note\":\"" + std::string(5000, 'x') + "\",\"more\":[" + std::string(400, ' ') + "1,2,3]}";
  EXPECT_FALSE(reader.feed("["));
  std::size_t blocksOfFirst = 0;
  for (std::size_t i = 0; i < 200; ++i) {
    const std::string entry =
        (i > 0 ? ",{\"path\":\"" : "{\"path\":\"") + pathOf(i) + "\"," + filling;
    const AllocationCount count;
    ASSERT_FALSE(reader.feed(entry));
    if (i <= 1) blocksOfFirst = count.outstanding();
    EXPECT_LE(count.outstanding(), blocksOfFirst + 2) << i;
  }
  EXPECT_FALSE(reader.feed("]\n"));
  EXPECT_FALSE(reader.finish());
  EXPECT_EQ(listing.size(), 200U);
}

// What a list takes most of its time for is the entries as publishers write them: nothing is taken
// for one but what is kept of it.
TEST(Memory, IsNotTakenForEachPlainEntry) {
  Listing listing;
  mtlupdate::ListReader reader(listing);
  const auto textOf = [](std::size_t number) {
    return (number > 0 ? ",{\"download\":\"always\",\"path\":\"" : "[{\"path\":\"") +
           pathOf(number) + "\",\"sha256\":\"" + std::string(64, 'a') + "\",\"size\":4096}\n";
  };
  ASSERT_FALSE(reader.feed(textOf(0)));
  ASSERT_FALSE(reader.feed(textOf(1)));
  std::string text;
  constexpr std::size_t kEntries = 10'000;
  for (std::size_t i = 2; i < kEntries; ++i)
    text += textOf(i);
  const AllocationCount count;
  ASSERT_FALSE(reader.feed(text));
  EXPECT_LE(count.sizes().size(), kEntries / 20);
  ASSERT_FALSE(reader.feed("]\n"));
  ASSERT_FALSE(reader.finish());
  EXPECT_EQ(listing.size(), kEntries);
}

}  // namespace
