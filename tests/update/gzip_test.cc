// Tests unpacking what arrives in the format of gzip, and packing.
#include "update/gzip.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace mtlupdate {
namespace {

std::string longText() {
  std::string text;
  for (int i = 0; i < 40000; ++i)
    text += "line " + std::to_string(i * 7919) + '\n';
  return text;
}

/// Unpacks pieces of so many bytes.
Outcome unpack(const std::string& packed, std::size_t piece, std::string& text) {
  text.clear();
  Gunzip gunzip([&](std::string_view bytes) {
    EXPECT_LE(bytes.size(), 65536U);
    text += bytes;
    return Outcome();
  });
  for (std::size_t i = 0; i < packed.size(); i += piece) {
    if (Outcome failure = gunzip.feed(std::string_view(packed).substr(i, piece))) return failure;
  }
  return gunzip.finish();
}

TEST(Gzip, GivesBackWhatWasPacked) {
  for (const std::string& text : {std::string(), std::string("a"), longText(),
                                  std::string(65536, 'x'), std::string(65537, 'x')}) {
    const std::string packed = gzipped(text);
    for (const std::size_t piece : {std::size_t{1}, std::size_t{1000}, packed.size()}) {
      std::string unpacked;
      EXPECT_FALSE(unpack(packed, piece, unpacked));
      EXPECT_TRUE(unpacked == text) << piece;
    }
  }
}

TEST(Gzip, HasNeitherATimeNorASystem) {
  const std::string packed = gzipped("oak");
  EXPECT_EQ(packed.substr(0, 3), "\x1f\x8b\x08");
  EXPECT_EQ(packed.substr(3, 5), std::string(5, '\0'));
  EXPECT_EQ(packed[9], '\xff');
}

TEST(Gzip, IsRefusedWhenCut) {
  const std::string packed = gzipped(longText().substr(0, 2000));
  for (std::size_t size = 0; size < packed.size(); ++size) {
    std::string text;
    const Outcome failure = unpack(packed.substr(0, size), packed.size(), text);
    ASSERT_TRUE(failure) << size;
    EXPECT_EQ(failure->kind, Failure::Kind::kContent);
  }
}

TEST(Gzip, IsRefusedWithAnythingBehindIt) {
  for (const std::string& more :
       {std::string(1, '\0'), std::string("x"), gzipped("a second one")}) {
    const std::string packed = gzipped("oak") + more;
    for (const std::size_t piece : {std::size_t{1}, packed.size()}) {
      std::string text;
      EXPECT_TRUE(unpack(packed, piece, text));
    }
  }
}

TEST(Gzip, IsRefusedWithAWrongByte) {
  const std::string text = longText().substr(0, 2000);
  const std::string packed = gzipped(text);
  // The header's flags, time and system may be others.
  for (std::size_t i = 10; i < packed.size(); ++i) {
    std::string wrong = packed;
    wrong[i] = static_cast<char>(wrong[i] ^ 1);
    std::string unpacked;
    EXPECT_TRUE(unpack(wrong, wrong.size(), unpacked)) << i;
  }
}

TEST(Gzip, EndsWithTheSinksFailure) {
  const std::string packed = gzipped(std::string(10000000, 'x'));
  std::uint64_t taken = 0;
  Gunzip gunzip([&](std::string_view bytes) -> Outcome {
    taken += bytes.size();
    if (taken > 100000) return Failure{Failure::Kind::kLimit, "enough"};
    return {};
  });
  const Outcome failure = gunzip.feed(packed);
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->text, "enough");
  EXPECT_LE(taken, 200000U);
}

TEST(Gzip, IsUnpackedUpToALength) {
  const std::string packed = gzipped("four");
  EXPECT_EQ(gunzipped(packed, 4), "four");
  EXPECT_FALSE(gunzipped(packed, 3));
  EXPECT_FALSE(gunzipped("four", 4));
}

}  // namespace
}  // namespace mtlupdate
