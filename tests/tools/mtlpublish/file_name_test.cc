// Names that clients can and cannot hold.
#include "mtlpublish/file_name.h"

#include <gtest/gtest.h>

namespace {

using mtlpublish::fileName;
using mtlpublish::isValidUtf8;
using mtlpublish::nameProblem;
using mtlpublish::printableName;

TEST(FileName, IsUtf8WhateverTheSystemHas) {
  EXPECT_EQ(fileName(std::filesystem::u8path("folder/aé木🌳")), "aé木🌳");
}

TEST(FileName, TakesEveryLengthOfCodePoint) {
  EXPECT_TRUE(isValidUtf8(""));
  EXPECT_TRUE(isValidUtf8("oak é 木 🌳"));
  EXPECT_TRUE(isValidUtf8("\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"));
}

TEST(FileName, RefusesBytesThatAreNotUtf8) {
  EXPECT_FALSE(isValidUtf8("\x80")) << "a continuation alone";
  EXPECT_FALSE(isValidUtf8("a\xC3")) << "cut short";
  EXPECT_FALSE(isValidUtf8("\xC3(")) << "no continuation";
  EXPECT_FALSE(isValidUtf8("\xC0\xAF")) << "longer than needed";
  EXPECT_FALSE(isValidUtf8("\xE0\x80\xAF")) << "longer than needed";
  EXPECT_FALSE(isValidUtf8("\xF0\x80\x80\xAF")) << "longer than needed";
  EXPECT_FALSE(isValidUtf8("\xED\xA0\x80")) << "half of a surrogate pair";
  EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80")) << "beyond the last code point";
  EXPECT_FALSE(isValidUtf8("\xFF"));
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

TEST(FileName, IsPrintedWithoutHarmToATerminal) {
  EXPECT_EQ(printableName("maps/é\x1B[2J\xFF\xC3"), "maps/é\\x1B[2J\\xFF\\xC3");
  EXPECT_EQ(printableName("\xC2\x9B"
                          "2J\xC2\xA0"),
            "\\xC2\\x9B2J\xC2\xA0");
}

}  // namespace
