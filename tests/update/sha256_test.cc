// Tests SHA-256 with known digests.
#include "update/sha256.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

using mtlupdate::digestFrom;
using mtlupdate::hexText;
using mtlupdate::Sha256;

TEST(Sha256, DigestsNothing) {
  EXPECT_EQ(hexText(Sha256().finish()),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(Sha256, GivesTheSameForAnyDivisionIntoPieces) {
  Sha256 sha256;
  sha256.update("a");
  sha256.update("");
  sha256.update("bc");
  EXPECT_EQ(hexText(sha256.finish()),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Digest, IsReadFromTheTextItIsWrittenAs) {
  const std::string text = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  ASSERT_TRUE(digestFrom(text));
  EXPECT_EQ(hexText(digestFrom(text)), text);
  EXPECT_EQ(hexText(std::nullopt), "");
}

TEST(Digest, IsNotReadFromAnythingElse) {
  const std::string digits(64, 'a');
  EXPECT_TRUE(digestFrom(digits));
  EXPECT_FALSE(digestFrom(""));
  EXPECT_FALSE(digestFrom(digits.substr(1)));
  EXPECT_FALSE(digestFrom(digits + "a"));
  EXPECT_FALSE(digestFrom(std::string(64, 'A')));
  EXPECT_FALSE(digestFrom(std::string(63, 'a') + "g"));
}

}  // namespace
