// Conversion between UTF-8 and UTF-16, which loses no byte.
#include "qutils/utf.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <string>
#include <vector>

namespace {

using QUtils::utf8ToWide;
using QUtils::wideToUtf8;
using testing::ElementsAre;
using Units = std::vector<unsigned>;

Units toWide(const std::string& text) {
  const std::size_t length = utf8ToWide(text.c_str(), nullptr, 0);
  std::vector<WCHAR> units(length + 1, WCHAR{0x7F});
  EXPECT_EQ(utf8ToWide(text.c_str(), units.data(), units.size()), length);
  EXPECT_EQ(units.back(), 0) << "not terminated";
  return {units.begin(), units.end() - 1};
}

std::vector<WCHAR> terminated(const Units& units) {
  std::vector<WCHAR> text;
  for (const unsigned unit : units)
    text.push_back(static_cast<WCHAR>(unit));
  text.push_back(WCHAR{0});
  return text;
}

std::string toUtf8(const Units& units) {
  const std::vector<WCHAR> text = terminated(units);
  const std::size_t length = wideToUtf8(text.data(), nullptr, 0);
  std::string bytes(length + 1, '\x7F');
  EXPECT_EQ(wideToUtf8(text.data(), bytes.data(), bytes.size()), length);
  EXPECT_EQ(bytes.back(), '\0') << "not terminated";
  bytes.pop_back();
  return bytes;
}

TEST(Utf8ToWide, ConvertsAscii) {
  EXPECT_THAT(toWide("a~"), ElementsAre(0x61, 0x7E));
}

TEST(Utf8ToWide, ConvertsTheEmptyText) {
  EXPECT_THAT(toWide(""), ElementsAre());
}

TEST(Utf8ToWide, ConvertsTwoBytes) {
  EXPECT_THAT(toWide("\xC3\xA4"), ElementsAre(0xE4));
  EXPECT_THAT(toWide("\xC2\x80"), ElementsAre(0x80));
  EXPECT_THAT(toWide("\xDF\xBF"), ElementsAre(0x7FF));
}

TEST(Utf8ToWide, ConvertsThreeBytesToOneUnit) {
  EXPECT_THAT(toWide("\xE2\x82\xAC"), ElementsAre(0x20AC));
  EXPECT_THAT(toWide("\xE0\xA0\x80"), ElementsAre(0x800));
  EXPECT_THAT(toWide("\xEF\xBF\xBF"), ElementsAre(0xFFFF));
}

TEST(Utf8ToWide, ConvertsFourBytesToASurrogatePair) {
  EXPECT_THAT(toWide("\xF0\x9F\x98\x80"), ElementsAre(0xD83D, 0xDE00));
  EXPECT_THAT(toWide("\xF0\x90\x80\x80"), ElementsAre(0xD800, 0xDC00));
  EXPECT_THAT(toWide("\xF4\x8F\xBF\xBF"), ElementsAre(0xDBFF, 0xDFFF));
}

TEST(Utf8ToWide, EscapesALeadByteWithoutItsContinuation) {
  EXPECT_THAT(toWide("\xC3\x28"), ElementsAre(0xDBC0, 0xDCC3, 0x28));
}

TEST(Utf8ToWide, EscapesALeadByteAtTheEnd) {
  EXPECT_THAT(toWide("a\xE2\x82"), ElementsAre(0x61, 0xDBC0, 0xDCE2, 0xDBC0, 0xDC82));
}

TEST(Utf8ToWide, EscapesAStrayContinuationByte) {
  EXPECT_THAT(toWide("\x80z"), ElementsAre(0xDBC0, 0xDC80, 0x7A));
}

TEST(Utf8ToWide, ResumesAtTheByteThatIsNoContinuation) {
  EXPECT_THAT(toWide("\xE2\x82\xC3\xA4"), ElementsAre(0xDBC0, 0xDCE2, 0xDBC0, 0xDC82, 0xE4));
}

TEST(Utf8ToWide, EscapesOverlongForms) {
  EXPECT_THAT(toWide("\xC1\xBF"), ElementsAre(0xDBC0, 0xDCC1, 0xDBC0, 0xDCBF));
  EXPECT_THAT(toWide("\xE0\x9F\xBF"), ElementsAre(0xDBC0, 0xDCE0, 0xDBC0, 0xDC9F, 0xDBC0, 0xDCBF));
  EXPECT_THAT(toWide("\xF0\x8F\xBF\xBF"),
              ElementsAre(0xDBC0, 0xDCF0, 0xDBC0, 0xDC8F, 0xDBC0, 0xDCBF, 0xDBC0, 0xDCBF));
}

TEST(Utf8ToWide, EscapesWhatLiesBeyondTheLastCodePoint) {
  EXPECT_THAT(toWide("\xF4\x90\x80\x80"),
              ElementsAre(0xDBC0, 0xDCF4, 0xDBC0, 0xDC90, 0xDBC0, 0xDC80, 0xDBC0, 0xDC80));
}

TEST(Utf8ToWide, EscapesTheCodePointsThatStandForEscapedBytes) {
  EXPECT_THAT(toWide("\xF4\x80\x80\x80"),
              ElementsAre(0xDBC0, 0xDCF4, 0xDBC0, 0xDC80, 0xDBC0, 0xDC80, 0xDBC0, 0xDC80));
  EXPECT_THAT(toWide("\xF4\x80\x83\xBF"),
              ElementsAre(0xDBC0, 0xDCF4, 0xDBC0, 0xDC80, 0xDBC0, 0xDC83, 0xDBC0, 0xDCBF));
}

TEST(Utf8ToWide, ConvertsTheNeighboursOfTheEscapes) {
  EXPECT_THAT(toWide("\xF3\xBF\xBF\xBF"), ElementsAre(0xDBBF, 0xDFFF));
  EXPECT_THAT(toWide("\xF4\x80\x84\x80"), ElementsAre(0xDBC0, 0xDD00));
}

TEST(Utf8ToWide, EscapesTheLongFormsThatUtf8NoLongerHas) {
  EXPECT_EQ(toWide("\xF8\x88\x80\x80\x80").size(), 10U);
  EXPECT_EQ(toWide("\xFC\x84\x80\x80\x80\x80").size(), 12U);
  EXPECT_EQ(toWide("\xFE\x82\x80\x80\x80\x80\x80").size(), 14U);
  EXPECT_EQ(toWide("\xFF\x82\x80\x80\x80\x80\x80\x80").size(), 16U);
}

TEST(Utf8ToWide, StopsWhereItsBufferEnds) {
  WCHAR out[3] = {1, 1, 1};
  EXPECT_EQ(utf8ToWide("abc", out, 2), 2U);
  EXPECT_EQ(out[0], 'a');
  EXPECT_EQ(out[1], 'b');
  EXPECT_EQ(out[2], 1);
}

TEST(Utf8ToWide, DoesNotSplitASurrogatePair) {
  WCHAR out[3] = {1, 1, 1};
  EXPECT_EQ(utf8ToWide("a\xF0\x9F\x98\x80", out, 2), 1U);
  EXPECT_EQ(out[0], 'a');
  EXPECT_EQ(out[1], 0);
  EXPECT_EQ(out[2], 1);
}

TEST(Utf8ToWide, WritesNothingIntoABufferOfNoUnits) {
  WCHAR out[1] = {1};
  EXPECT_EQ(utf8ToWide("abc", out, 0), 0U);
  EXPECT_EQ(out[0], 1);
}

TEST(WideToUtf8, UsesTheShortestForm) {
  EXPECT_EQ(toUtf8({0x7F}), "\x7F");
  EXPECT_EQ(toUtf8({0x80}), "\xC2\x80");
  EXPECT_EQ(toUtf8({0x7FF}), "\xDF\xBF");
  EXPECT_EQ(toUtf8({0x800}), "\xE0\xA0\x80");
  EXPECT_EQ(toUtf8({0x20AC}), "\xE2\x82\xAC");
  EXPECT_EQ(toUtf8({0xFFFF}), "\xEF\xBF\xBF");
}

TEST(WideToUtf8, JoinsSurrogatePairs) {
  EXPECT_EQ(toUtf8({0xD800, 0xDC00}), "\xF0\x90\x80\x80");
  EXPECT_EQ(toUtf8({0xD83D, 0xDE00}), "\xF0\x9F\x98\x80");
  EXPECT_EQ(toUtf8({0xDBFF, 0xDFFF}), "\xF4\x8F\xBF\xBF");
}

TEST(WideToUtf8, EncodesALoneSurrogateInThreeBytes) {
  EXPECT_EQ(toUtf8({0xD800}), "\xED\xA0\x80");
  EXPECT_EQ(toUtf8({0xD800, 0x61}), "\xED\xA0\x80\x61");
  EXPECT_EQ(toUtf8({0xDFFF, 0xD800}), "\xED\xBF\xBF\xED\xA0\x80");
}

TEST(WideToUtf8, JoinsTwoLowHalvesToo) {
  EXPECT_EQ(toUtf8({0xDC00, 0xDC00}), "\xF4\x90\x80\x80");
  EXPECT_EQ(toUtf8({0xDFFF, 0xDFFF}), "\xF8\x88\x8F\xBF\xBF");
}

TEST(WideToUtf8, RestoresEscapedBytes) {
  EXPECT_EQ(toUtf8({0xDBC0, 0xDCC3, 0x28}), "\xC3\x28");
  EXPECT_EQ(toUtf8({0xDBC0, 0xDCFF}), "\xFF");
  EXPECT_EQ(toUtf8({0xDBC0, 0xDD00}), "\xF4\x80\x84\x80");
}

TEST(WideToUtf8, StopsWhereItsBufferEnds) {
  char out[3] = {'x', 'x', 'x'};
  EXPECT_EQ(wideToUtf8(terminated({'a', 'b', 'c'}).data(), out, 2), 2U);
  EXPECT_EQ(std::string(out, 3), "abx");
}

TEST(WideToUtf8, DoesNotSplitASequence) {
  char out[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(wideToUtf8(terminated({'a', 0x20AC}).data(), out, 3), 1U);
  EXPECT_EQ(std::string(out, 4), std::string("a\0xx", 4));
}

TEST(Utf, EveryPairOfBytesSurvivesTheWayThereAndBack) {
  for (unsigned first = 1; first < 256; ++first) {
    for (unsigned second = 1; second < 256; ++second) {
      const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
      ASSERT_EQ(toUtf8(toWide(bytes)), bytes);
    }
  }
}

TEST(Utf, MixedTextSurvivesTheWayThereAndBack) {
  const std::string text = "a\xFFz\xE2\x82\xAC\xF4\x80\x80\xAF\xED\xA0\x80\xC0\xAF\xF0\x9F\x98\x80";
  EXPECT_EQ(toUtf8(toWide(text)), text);
}

TEST(Utf, DuplicatesHoldTheConvertedText) {
  const QUtils::WideText wide = QUtils::duplicateAsWide("a\xE2\x82\xAC");
  EXPECT_EQ(wide[0], 'a');
  EXPECT_EQ(wide[1], 0x20AC);
  EXPECT_EQ(wide[2], 0);
  EXPECT_STREQ(QUtils::duplicateAsUtf8(wide.get()).get(), "a\xE2\x82\xAC");
  EXPECT_STREQ(QUtils::wideToCharString(wide.get()).text(), "a\xE2\x82\xAC");
}

TEST(Utf, DuplicatesOfNullAreNull) {
  EXPECT_EQ(QUtils::duplicateAsWide(nullptr), nullptr);
  EXPECT_EQ(QUtils::duplicateAsUtf8(nullptr), nullptr);
  EXPECT_EQ(QUtils::wideToCharString(nullptr).buffer(), nullptr);
}

}  // namespace
