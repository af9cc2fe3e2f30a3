// Tests conversion between UTF-8 and UTF-16, which loses no byte.
#include "platform/utf.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using Units = std::vector<unsigned>;

Units toWide(const std::string& text) {
  const std::size_t length = Platform::utf8ToWide(text.c_str(), nullptr, 0);
  std::vector<WCHAR> units(length + 1, WCHAR{0x7F});
  EXPECT_EQ(Platform::utf8ToWide(text.c_str(), units.data(), units.size()), length);
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
  const std::size_t length = Platform::wideToUtf8(text.data(), nullptr, 0);
  std::string bytes(length + 1, '\x7F');
  EXPECT_EQ(Platform::wideToUtf8(text.data(), bytes.data(), bytes.size()), length);
  EXPECT_EQ(bytes.back(), '\0') << "not terminated";
  bytes.pop_back();
  return bytes;
}

TEST(Utf8ToWide, ConvertsAscii) {
  EXPECT_THAT(toWide("\1a\x7F"), ElementsAre(0x01, 0x61, 0x7F));
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

TEST(Utf8ToWide, ConvertsASurrogateLikeAnyOtherCodePoint) {
  EXPECT_THAT(toWide("\xED\x9F\xBF"), ElementsAre(0xD7FF));
  EXPECT_THAT(toWide("\xED\xA0\x80"), ElementsAre(0xD800));
  EXPECT_THAT(toWide("\xED\xAF\xBF"), ElementsAre(0xDBFF));
  EXPECT_THAT(toWide("\xED\xB0\x80"), ElementsAre(0xDC00));
  EXPECT_THAT(toWide("\xED\xBF\xBF"), ElementsAre(0xDFFF));
  EXPECT_THAT(toWide("\xEE\x80\x80"), ElementsAre(0xE000));
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
  EXPECT_THAT(toWide("z\xBF"), ElementsAre(0x7A, 0xDBC0, 0xDCBF));
  EXPECT_THAT(toWide("\xC3\xA4\xA4"), ElementsAre(0xE4, 0xDBC0, 0xDCA4));
}

TEST(Utf8ToWide, ResumesAtTheByteThatIsNoContinuation) {
  EXPECT_THAT(toWide("\xE2\x82\xC3\xA4"), ElementsAre(0xDBC0, 0xDCE2, 0xDBC0, 0xDC82, 0xE4));
  EXPECT_THAT(toWide("\xF0\x9F\x98z"),
              ElementsAre(0xDBC0, 0xDCF0, 0xDBC0, 0xDC9F, 0xDBC0, 0xDC98, 0x7A));
  EXPECT_THAT(toWide("\xFF\xFE\xC3\xA4"), ElementsAre(0xDBC0, 0xDCFF, 0xDBC0, 0xDCFE, 0xE4));
}

TEST(Utf8ToWide, EscapesOverlongForms) {
  EXPECT_THAT(toWide("\xC0\x80"), ElementsAre(0xDBC0, 0xDCC0, 0xDBC0, 0xDC80));
  EXPECT_THAT(toWide("\xC1\xBF"), ElementsAre(0xDBC0, 0xDCC1, 0xDBC0, 0xDCBF));
  EXPECT_THAT(toWide("\xE0\x9F\xBF"), ElementsAre(0xDBC0, 0xDCE0, 0xDBC0, 0xDC9F, 0xDBC0, 0xDCBF));
  EXPECT_THAT(toWide("\xF0\x8F\xBF\xBF"),
              ElementsAre(0xDBC0, 0xDCF0, 0xDBC0, 0xDC8F, 0xDBC0, 0xDCBF, 0xDBC0, 0xDCBF));
}

TEST(Utf8ToWide, EscapesWhatLiesBeyondTheLastCodePoint) {
  EXPECT_THAT(toWide("\xF4\x90\x80\x80"),
              ElementsAre(0xDBC0, 0xDCF4, 0xDBC0, 0xDC90, 0xDBC0, 0xDC80, 0xDBC0, 0xDC80));
  EXPECT_THAT(toWide("\xF7\xBF\xBF\xBF"),
              ElementsAre(0xDBC0, 0xDCF7, 0xDBC0, 0xDCBF, 0xDBC0, 0xDCBF, 0xDBC0, 0xDCBF));
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

// Whether they are the shortest form of their value or hold U+20AC, which has a shorter one.
TEST(Utf8ToWide, EscapesTheLongFormsThatUtf8NoLongerHas) {
  for (const std::string bytes :
       {"\xF8\x88\x80\x80\x80", "\xF8\x80\x82\x82\xAC", "\xFB\xBF\xBF\xBF\xBF",
        "\xFC\x84\x80\x80\x80\x80", "\xFC\x80\x80\x82\x82\xAC", "\xFD\xBF\xBF\xBF\xBF\xBF",
        "\xFE\x82\x80\x80\x80\x80\x80", "\xFE\x80\x80\x80\x82\x82\xAC",
        "\xFF\x80\x84\x80\x80\x80\x80\x80", "\xFF\x80\x80\x80\x80\x82\x82\xAC",
        "\xFF\xBF\xBF\xBF\xBF\xBF\xBF\xBF"}) {
    Units expected;
    for (const char byte : bytes) {
      expected.push_back(0xDBC0);
      expected.push_back(0xDC00U + static_cast<unsigned char>(byte));
    }
    EXPECT_EQ(toWide(bytes), expected);
  }
}

TEST(Utf8ToWide, OnlyCountsWithoutABuffer) {
  EXPECT_EQ(Platform::utf8ToWide("a\xE2\x82\xAC\xF0\x9F\x98\x80", nullptr, 1), 4U);
}

TEST(Utf8ToWide, EscapesTheBytesForWhichThereIsRoom) {
  WCHAR out[4] = {1, 1, 1, 1};
  EXPECT_EQ(Platform::utf8ToWide("\xE2\x82", out, 3), 2U);
  EXPECT_EQ(out[0], 0xDBC0);
  EXPECT_EQ(out[1], 0xDCE2);
  EXPECT_EQ(out[2], 0);
  EXPECT_EQ(out[3], 1);
}

TEST(Utf8ToWide, StopsWhereItsBufferEnds) {
  WCHAR out[3] = {1, 1, 1};
  EXPECT_EQ(Platform::utf8ToWide("abc", out, 2), 2U);
  EXPECT_EQ(out[0], 'a');
  EXPECT_EQ(out[1], 'b');
  EXPECT_EQ(out[2], 1);
}

TEST(Utf8ToWide, DoesNotSplitASurrogatePair) {
  WCHAR out[3] = {1, 1, 1};
  EXPECT_EQ(Platform::utf8ToWide("a\xF0\x9F\x98\x80", out, 2), 1U);
  EXPECT_EQ(out[0], 'a');
  EXPECT_EQ(out[1], 0);
  EXPECT_EQ(out[2], 1);
}

TEST(Utf8ToWide, WritesNothingIntoABufferOfNoUnits) {
  WCHAR out[1] = {1};
  EXPECT_EQ(Platform::utf8ToWide("abc", out, 0), 0U);
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
  EXPECT_EQ(toUtf8({0xDC00}), "\xED\xB0\x80");
  EXPECT_EQ(toUtf8({0xD83D, 0xD83D, 0xDE00}), "\xED\xA0\xBD\xF0\x9F\x98\x80");
  EXPECT_EQ(toUtf8({0xD7FF, 0xDC00}), "\xED\x9F\xBF\xED\xB0\x80");
  EXPECT_EQ(toUtf8({0xD800, 0xE000}), "\xED\xA0\x80\xEE\x80\x80");
}

TEST(WideToUtf8, JoinsTwoLowHalvesToo) {
  EXPECT_EQ(toUtf8({0xDC00, 0xDC00}), "\xF4\x90\x80\x80");
  EXPECT_EQ(toUtf8({0xDFBF, 0xDFFF}), "\xF7\xBF\xBF\xBF");
  EXPECT_EQ(toUtf8({0xDFC0, 0xDC00}), "\xF8\x88\x80\x80\x80");
  EXPECT_EQ(toUtf8({0xDFFF, 0xDFFF}), "\xF8\x88\x8F\xBF\xBF");
}

TEST(WideToUtf8, RestoresEscapedBytes) {
  EXPECT_EQ(toUtf8({0xDBC0, 0xDCC3, 0x28}), "\xC3\x28");
  EXPECT_EQ(toUtf8({0xDBBF, 0xDFFF}), "\xF3\xBF\xBF\xBF");
  EXPECT_EQ(toUtf8({0xDBC0, 0xDC00}), std::string(1, '\0'));
  EXPECT_EQ(toUtf8({0xDBC0, 0xDCFF}), "\xFF");
  EXPECT_EQ(toUtf8({0xDBC0, 0xDD00}), "\xF4\x80\x84\x80");
}

TEST(WideToUtf8, StopsWhereItsBufferEnds) {
  char out[3] = {'x', 'x', 'x'};
  EXPECT_EQ(Platform::wideToUtf8(terminated({'a', 'b', 'c'}).data(), out, 2), 2U);
  EXPECT_EQ(std::string(out, 3), "abx");
}

TEST(WideToUtf8, DoesNotSplitASequence) {
  char out[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(Platform::wideToUtf8(terminated({'a', 0x20AC}).data(), out, 3), 1U);
  EXPECT_EQ(std::string(out, 4), std::string("a\0xx", 4));
}

TEST(WideToUtf8, OnlyCountsWithoutABuffer) {
  EXPECT_EQ(Platform::wideToUtf8(terminated({'a', 0x20AC}).data(), nullptr, 1), 4U);
}

TEST(WideToUtf8, WritesNothingIntoABufferOfNoBytes) {
  char out[1] = {'x'};
  EXPECT_EQ(Platform::wideToUtf8(terminated({'a'}).data(), out, 0), 0U);
  EXPECT_EQ(out[0], 'x');
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

TEST(Utf, TwoHalvesOfAPairThatWereEncodedApartComeBackJoined) {
  EXPECT_EQ(toUtf8(toWide("\xED\xA0\xBD\xED\xB8\x80")), "\xF0\x9F\x98\x80");
  EXPECT_EQ(toUtf8(toWide("\xED\xB0\x80\xED\xB0\x80")), "\xF4\x90\x80\x80");
  EXPECT_EQ(toUtf8(toWide("\xED\xAF\x80\xED\xB0\xAF")), "/");
}

TEST(Utf, DuplicatesHoldTheConvertedText) {
  const Platform::WideText wide = Platform::duplicateAsWide("a\xE2\x82\xAC");
  EXPECT_EQ(wide[0], 'a');
  EXPECT_EQ(wide[1], 0x20AC);
  EXPECT_EQ(wide[2], 0);
  EXPECT_STREQ(Platform::duplicateAsUtf8(wide.get()).get(), "a\xE2\x82\xAC");
  EXPECT_STREQ(Platform::wideToCharString(wide.get()).text(), "a\xE2\x82\xAC");
}

TEST(Utf, DuplicatesOfNullAreNull) {
  EXPECT_EQ(Platform::duplicateAsWide(nullptr), nullptr);
  EXPECT_EQ(Platform::duplicateAsUtf8(nullptr), nullptr);
  EXPECT_EQ(Platform::wideToCharString(nullptr).buffer(), nullptr);
}

// The rules once more, the plain way, on texts made of what the rules speak of.
constexpr int kTexts = 1000000;

// A converted text, and the places in it where a text may be cut: behind each character.
template <typename Text>
struct Converted {
  Text text;
  std::vector<std::size_t> ends;

  template <typename Character>
  void append(const Character& character) {
    text.insert(text.end(), character.begin(), character.end());
    ends.push_back(text.size());
  }
  std::size_t cut(std::size_t capacity) const {
    std::size_t length = 0;
    for (const std::size_t end : ends) {
      if (end <= capacity) length = end;
    }
    return length;
  }
};

// The bytes of the sequence that `lead` begins; 1 for one that begins none.
std::size_t announcedSize(unsigned lead) {
  if (lead < 0xC0) return 1;
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  if (lead < 0xF8) return 4;
  if (lead < 0xFC) return 5;
  if (lead < 0xFE) return 6;
  return lead == 0xFE ? 7 : 8;
}

unsigned byteAt(const std::string& bytes, std::size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

bool isContinuation(const std::string& bytes, std::size_t i) {
  return i < bytes.size() && byteAt(bytes, i) >= 0x80 && byteAt(bytes, i) < 0xC0;
}

bool isCharacter(unsigned value, std::size_t size) {
  static constexpr unsigned kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isEscape = value >= 0x100000 && value <= 0x1000FF;
  return value >= kSmallest[size] && value <= 0x10FFFF && !isEscape;
}

std::array<unsigned, 2> plainPair(unsigned value) {
  return {0xD800 + (value - 0x10000) / 0x400, 0xDC00 + (value - 0x10000) % 0x400};
}

Converted<Units> plainToWide(const std::string& bytes) {
  static constexpr unsigned kLeadBits[] = {0, 0, 0xC0, 0xE0, 0xF0};
  Converted<Units> result;
  std::size_t next = 0;
  for (std::size_t i = 0; i < bytes.size(); i = next) {
    const std::size_t size = announcedSize(byteAt(bytes, i));
    for (next = i + 1; next < i + size && isContinuation(bytes, next);)
      ++next;
    unsigned value = 0;
    bool valid = next - i == size && size <= 4 && (size > 1 || byteAt(bytes, i) < 0x80);
    if (valid) {
      value = byteAt(bytes, i) - kLeadBits[size];
      for (std::size_t k = i + 1; k < next; ++k)
        value = value * 0x40 + (byteAt(bytes, k) - 0x80);
      valid = isCharacter(value, size);
    }
    if (valid && value < 0x10000) {
      result.append(std::array<unsigned, 1>{value});
    } else if (valid) {
      result.append(plainPair(value));
    } else {
      for (std::size_t k = i; k < next; ++k)
        result.append(plainPair(0x100000 + byteAt(bytes, k)));
    }
  }
  return result;
}

std::string plainBytes(unsigned value) {
  const auto lead = [value](unsigned bits, unsigned unit) {
    return static_cast<char>(bits + value / unit);
  };
  const auto tail = [value](unsigned unit) {
    return static_cast<char>(0x80 + value / unit % 0x40);
  };
  if (value >= 0x100000 && value <= 0x1000FF) return {static_cast<char>(value - 0x100000)};
  if (value < 0x80) return {static_cast<char>(value)};
  if (value < 0x800) return {lead(0xC0, 0x40), tail(1)};
  if (value < 0x10000) return {lead(0xE0, 0x1000), tail(0x40), tail(1)};
  if (value < 0x200000) return {lead(0xF0, 0x40000), tail(0x1000), tail(0x40), tail(1)};
  return {lead(0xF8, 0x1000000), tail(0x40000), tail(0x1000), tail(0x40), tail(1)};
}

bool isSurrogate(unsigned unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

bool isLow(unsigned unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

Converted<std::string> plainToUtf8(const Units& units) {
  Converted<std::string> result;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const bool joins = isSurrogate(units[i]) && i + 1 < units.size() && isLow(units[i + 1]);
    if (!joins) {
      result.append(plainBytes(units[i]));
      continue;
    }
    result.append(plainBytes(0x10000 + (units[i] - 0xD800) * 0x400 + (units[i + 1] - 0xDC00)));
    ++i;
  }
  return result;
}

std::string generateBytes(std::mt19937& random) {
  static const std::vector<std::string> pieces = {
      // single bytes: what is alone, what continues, what leads
      "a", "\x7F", "\x80", "\x82", "\x83", "\x84", "\x88", "\x8F", "\x90", "\x9F", "\xA0", "\xAF",
      "\xB0", "\xBF", "\xC0", "\xC1", "\xC2", "\xC3", "\xDF", "\xE0", "\xE2", "\xED", "\xEF",
      "\xF0", "\xF3", "\xF4", "\xF5", "\xF7", "\xF8", "\xFB", "\xFC", "\xFD", "\xFE", "\xFF",
      // the last of each length and the first of the next, surrogates, escapes, the end
      "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xED\xA0\x80", "\xED\xAF\x80",
      "\xED\xB0\xAF", "\xED\xBF\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80",
      "\xF3\xBF\xBF\xBF", "\xF4\x80\x80\x80", "\xF4\x80\x83\xBF", "\xF4\x80\x84\x80",
      "\xF4\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF7\xBF\xBF\xBF",
      // forms that are too long
      "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF8\x87\xBF\xBF\xBF",
      "\xFC\x83\xBF\xBF\xBF\xBF", "\xFE\x81\xBF\xBF\xBF\xBF\xBF", "\xFF\x80\x80\x80\x80\x80\x80"};
  std::string text;
  for (std::size_t count = random() % 7; count > 0; --count) {
    if (random() % 8 == 0) {
      text += static_cast<char>(random() % 255 + 1);
    } else {
      text += pieces[random() % pieces.size()];
    }
  }
  return text;
}

Units generateUnits(std::mt19937& random) {
  static constexpr unsigned kPieces[] = {'a',    0x7F,   0x80,   0x7FF,  0x800,  0x20AC, 0xD7FF,
                                         0xD800, 0xD83D, 0xDBBF, 0xDBC0, 0xDBC0, 0xDBFF, 0xDC00,
                                         0xDC2F, 0xDC7F, 0xDC80, 0xDCA4, 0xDCC3, 0xDCFF, 0xDD00,
                                         0xDE00, 0xDFBF, 0xDFC0, 0xDFFF, 0xDFFF, 0xE000, 0xFFFF};
  Units units;
  for (std::size_t count = random() % 7; count > 0; --count) {
    const unsigned any = static_cast<unsigned>(random() % 0xFFFF + 1);
    units.push_back(random() % 8 == 0 ? any : kPieces[random() % std::size(kPieces)]);
  }
  return units;
}

// Whether `out`, a buffer of which `capacity` units were given away, holds just the first
// `length` units of `expected` with a terminator if there is room.
template <typename Unit, typename Text>
bool holds(const std::vector<Unit>& out, std::size_t capacity, const Text& expected,
           std::size_t length, Unit untouched) {
  const auto same = [](Unit unit, auto other) { return unit == static_cast<Unit>(other); };
  return std::equal(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(length),
                    expected.begin(), same) &&
         (length == capacity || out[length] == 0) && out[capacity] == untouched;
}

TEST(Utf8ToWide, AgreesWithThePlainConversionOfGeneratedTexts) {
  constexpr WCHAR kUntouched = 0xABCD;
  std::mt19937 random(20240612);  // NOLINT: the same texts every time
  std::vector<WCHAR> out;
  for (int i = 0; i < kTexts; ++i) {
    const std::string bytes = generateBytes(random);
    const Converted<Units> expected = plainToWide(bytes);
    const std::size_t capacity = random() % (expected.text.size() + 2);
    const std::size_t length = expected.cut(capacity);
    out.assign(capacity + 1, kUntouched);
    ASSERT_EQ(Platform::utf8ToWide(bytes.c_str(), nullptr, 0), expected.text.size())
        << testing::PrintToString(bytes);
    ASSERT_EQ(Platform::utf8ToWide(bytes.c_str(), out.data(), capacity), length)
        << testing::PrintToString(bytes) << ", " << capacity;
    ASSERT_TRUE(holds(out, capacity, expected.text, length, kUntouched))
        << testing::PrintToString(bytes) << ", " << capacity;
  }
}

TEST(WideToUtf8, AgreesWithThePlainConversionOfGeneratedTexts) {
  constexpr char kUntouched = '~';
  std::mt19937 random(20240613);  // NOLINT: the same texts every time
  std::vector<char> out;
  for (int i = 0; i < kTexts; ++i) {
    const Units units = generateUnits(random);
    const std::vector<WCHAR> text = terminated(units);
    const Converted<std::string> expected = plainToUtf8(units);
    const std::size_t capacity = random() % (expected.text.size() + 2);
    const std::size_t length = expected.cut(capacity);
    out.assign(capacity + 1, kUntouched);
    ASSERT_EQ(Platform::wideToUtf8(text.data(), nullptr, 0), expected.text.size())
        << testing::PrintToString(units);
    ASSERT_EQ(Platform::wideToUtf8(text.data(), out.data(), capacity), length)
        << testing::PrintToString(units) << ", " << capacity;
    ASSERT_TRUE(holds(out, capacity, expected.text, length, kUntouched))
        << testing::PrintToString(units) << ", " << capacity;
  }
}

// Whether two surrogates stand side by side as sequences of their own, the second a low one.
bool holdsTornPair(const std::string& bytes) {
  for (std::size_t i = 0; i + 5 < bytes.size(); ++i) {
    if (bytes[i] == '\xED' && byteAt(bytes, i + 1) >= 0xA0 && isContinuation(bytes, i + 1) &&
        isContinuation(bytes, i + 2) && bytes[i + 3] == '\xED' && byteAt(bytes, i + 4) >= 0xB0 &&
        isContinuation(bytes, i + 4) && isContinuation(bytes, i + 5)) {
      return true;
    }
  }
  return false;
}

TEST(Utf, GeneratedBytesComeBackUnlessTheyHoldATornPair) {
  std::mt19937 random(20240614);  // NOLINT: the same texts every time
  int torn = 0;
  WCHAR wide[128];
  char back[128];
  for (int i = 0; i < kTexts; ++i) {
    const std::string bytes = generateBytes(random);
    Platform::utf8ToWide(bytes.c_str(), wide, std::size(wide));
    Platform::wideToUtf8(wide, back, std::size(back));
    ASSERT_EQ(back != bytes, holdsTornPair(bytes)) << testing::PrintToString(bytes);
    if (back != bytes) ++torn;
  }
  EXPECT_GT(torn, 1000);
}

// Whether the units are what Platform::utf8ToWide makes of well-formed text: no escape, and no low
// surrogate behind another.
bool isOrdinary(const Units& units) {
  for (std::size_t i = 0; i + 1 < units.size(); ++i) {
    const bool isEscape = units[i] == 0xDBC0 && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDCFF;
    if (isEscape || (isLow(units[i]) && isLow(units[i + 1]))) return false;
  }
  return true;
}

TEST(Utf, GeneratedUnitsComeBack) {
  std::mt19937 random(20240615);  // NOLINT: the same texts every time
  int ordinary = 0;
  char bytes[128];
  WCHAR back[128];
  for (int i = 0; i < kTexts; ++i) {
    const Units units = generateUnits(random);
    if (!isOrdinary(units)) continue;
    ++ordinary;
    const std::vector<WCHAR> text = terminated(units);
    Platform::wideToUtf8(text.data(), bytes, std::size(bytes));
    Platform::utf8ToWide(bytes, back, std::size(back));
    ASSERT_TRUE(std::equal(text.begin(), text.end(), back)) << testing::PrintToString(units);
  }
  EXPECT_GT(ordinary, 100000);
}

}  // namespace
