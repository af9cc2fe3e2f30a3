// Known digests.
#include "common/sha256.h"

#include <gtest/gtest.h>

namespace {

using common::Sha256;

TEST(Sha256, DigestsNothing) {
  EXPECT_EQ(Sha256().finish(), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(Sha256, GivesTheSameForAnyDivisionIntoPieces) {
  Sha256 sha256;
  sha256.update("a");
  sha256.update("");
  sha256.update("bc");
  EXPECT_EQ(sha256.finish(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
