// Tests the cache of digests between builds, and when it is trusted.
#include "mtlpublish/digest_cache.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using mtlpublish::DigestCache;
using mtlpublish::FileState;
using mtlpublish::mayChangeUnseen;

const std::string kDigest(64, '7');
const FileState kState{12, 1'700'000'000'123'456'789, -5, 18'446'744'073'709'551'615U};

DigestCache sample() {
  DigestCache cache;
  cache.add("a b/é", kState, kDigest);
  cache.add("c", {}, std::string(64, '8'));
  return cache;
}

TEST(DigestCache, IsReadBackFromItsText) {
  const DigestCache cache = DigestCache::parse(sample().text());
  EXPECT_EQ(cache.find("a b/é", kState), kDigest);
  EXPECT_EQ(cache.find("c", {}), std::string(64, '8'));
  EXPECT_EQ(cache.text(), sample().text());
  EXPECT_EQ(DigestCache::parse(DigestCache().text()).text(), DigestCache().text());
}

TEST(DigestCache, KnowsNothingOfAnotherFileOrState) {
  const DigestCache cache = sample();
  EXPECT_EQ(cache.find("a b", kState), "");
  EXPECT_EQ(cache.find("d", kState), "");
  for (int member = 0; member < 4; ++member) {
    FileState other = kState;
    if (member == 0) ++other.size;
    if (member == 1) ++other.modified;
    if (member == 2) ++other.changed;
    if (member == 3) --other.id;
    EXPECT_EQ(cache.find("a b/é", other), "") << member;
  }
}

TEST(DigestCache, IsEmptyWhenAByteIsWrongOrMissing) {
  const std::string text = sample().text();
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string damaged = text;
    damaged[i] = static_cast<char>(damaged[i] ^ 1);
    EXPECT_TRUE(DigestCache::parse(damaged).empty()) << i;
    EXPECT_TRUE(DigestCache::parse(text.substr(0, i)).empty()) << i;
    EXPECT_TRUE(DigestCache::parse(text.substr(i + 1)).empty()) << i;
  }
  EXPECT_TRUE(DigestCache::parse(text + "\n").empty());
}

TEST(DigestCache, IsEmptyWhenTheFileIsSomethingElse) {
  for (const std::string text : {"", "\n", "{\"version\":1}\n", "mtlpublish cache 2\n"}) {
    EXPECT_TRUE(DigestCache::parse(text).empty()) << text;
    EXPECT_TRUE(DigestCache::parse(text + std::string(100, 'a') + "\n").empty()) << text;
  }
}

TEST(DigestCache, BelievesNoFileThatHasJustChanged) {
  const auto now = std::chrono::system_clock::now();
  const auto stateAt = [now](std::chrono::milliseconds modified,
                             std::chrono::milliseconds changed) {
    const auto count = [now](std::chrono::milliseconds after) {
      return std::chrono::duration_cast<std::chrono::nanoseconds>((now + after).time_since_epoch())
          .count();
    };
    return FileState{1, count(modified), count(changed), 1};
  };
  using std::chrono::milliseconds;
  EXPECT_FALSE(mayChangeUnseen(stateAt(milliseconds(-2001), milliseconds(-2001)), now));
  EXPECT_TRUE(mayChangeUnseen(stateAt(milliseconds(-1999), milliseconds(-9000)), now));
  EXPECT_TRUE(mayChangeUnseen(stateAt(milliseconds(-9000), milliseconds(-1999)), now));
  EXPECT_TRUE(mayChangeUnseen(stateAt(milliseconds(9000), milliseconds(-9000)), now))
      << "a time that lies in the future";
  EXPECT_FALSE(mayChangeUnseen({}, now));
}

}  // namespace
