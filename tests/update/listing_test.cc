// Tests entries and their texts in a Listing.
#include "update/listing.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using mtlupdate::Entry;
using mtlupdate::Listing;

Entry entryWith(std::string_view path, std::string_view remotePath) {
  Entry entry;
  entry.path = path;
  entry.remotePath = remotePath;
  return entry;
}

TEST(Listing, KeepsTextsOfItsOwn) {
  Listing listing;
  {
    std::string path = "maps/wood.tx";
    std::string remote = "maps/wood.jpeg.tx";
    listing.add(entryWith(path, remote));
    path.assign(path.size(), 'x');
    remote.assign(remote.size(), 'x');
  }
  ASSERT_EQ(listing.size(), 1U);
  EXPECT_EQ(listing[0].path, "maps/wood.tx");
  EXPECT_EQ(listing[0].remotePath, "maps/wood.jpeg.tx");
}

TEST(Listing, KeepsTextsOfAnyLengthInOrder) {
  Listing listing;
  for (std::size_t i = 0; i < 300; ++i) {
    const std::string path(i * 997 % 200'000 + 1, static_cast<char>('a' + i % 26));
    listing.add(entryWith(path, path));
  }
  const Listing moved = std::move(listing);
  ASSERT_EQ(moved.size(), 300U);
  std::size_t i = 0;
  for (const Entry& entry : moved) {
    EXPECT_EQ(entry.path, std::string(i * 997 % 200'000 + 1, static_cast<char>('a' + i % 26)));
    EXPECT_EQ(entry.remotePath.data(), entry.path.data()) << "the same text is kept once";
    ++i;
  }
}

}  // namespace
