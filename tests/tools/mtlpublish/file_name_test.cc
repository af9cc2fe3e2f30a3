// Tests names that clients can and cannot hold.
#include "mtlpublish/file_name.h"

#include <gtest/gtest.h>

namespace {

using mtlpublish::fileName;
using mtlpublish::nameProblem;

TEST(FileName, IsUtf8WhateverTheSystemHas) {
  EXPECT_EQ(fileName(std::filesystem::u8path("folder/aé木🌳")), "aé木🌳");
}

TEST(FileName, HasNoProblemWithWhatTravelsEncoded) {
  EXPECT_EQ(nameProblem("50% + #1 oak?.é:tx"), "");
  EXPECT_EQ(nameProblem(".hidden"), "");
}

TEST(FileName, SaysWhyClientsCannotHoldIt) {
  EXPECT_EQ(nameProblem("\xFF"), "the name is not valid UTF-8");
  EXPECT_EQ(nameProblem("a\\b"),
            "the name has a backslash, which clients take for a folder separator");
  EXPECT_EQ(nameProblem("a\nb"), "the name has a control character");
  EXPECT_EQ(nameProblem("a\x7F"), "the name has a control character");
}

TEST(FoldedPath, IsOneForPathsThatSomeSystemTakesForOne) {
  using mtlpublish::foldedPath;
  EXPECT_EQ(foldedPath("Maps/OAK.tx"), "maps/oak.tx");
  EXPECT_EQ(foldedPath("\u00C9"), foldedPath("\u00E9"));
  EXPECT_EQ(foldedPath("Cafe\u0301"), foldedPath("caf\u00E9")) << "as macOS writes it";
  EXPECT_EQ(foldedPath("\u1E9E"), foldedPath("ss"));
  EXPECT_NE(foldedPath("e"), foldedPath("\u00E9"));
  EXPECT_EQ(foldedPath("\uFB01"), foldedPath("fi")) << "as file systems do that fold in full";
  EXPECT_NE(foldedPath("\u00B2"), foldedPath("2"));
}

}  // namespace
