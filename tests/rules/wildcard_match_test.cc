// Tests patterns of the proxy bypass list.
#include "rules/wildcard_match.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace mtlrules {
namespace {

bool matches(const std::string& pattern, const std::string& text) {
  return wildcardMatch(pattern.c_str(), text.c_str(), 0) != 0;
}

bool matchesCaseSensitively(const std::string& pattern, const std::string& text) {
  return wildcardMatch(pattern.c_str(), text.c_str(), 1) != 0;
}

TEST(WildcardMatch, GivesOneForAMatchAndZeroForNone) {
  EXPECT_EQ(wildcardMatch("a", "a", 0), 1);
  EXPECT_EQ(wildcardMatch("a", "b", 0), 0);
}

TEST(WildcardMatch, MatchesNothingWhenATextIsAbsent) {
  EXPECT_EQ(wildcardMatch(nullptr, "a", 0), 0);
  EXPECT_EQ(wildcardMatch("*", nullptr, 0), 0);
  EXPECT_EQ(wildcardMatch(nullptr, nullptr, 0), 0);
}

TEST(WildcardMatch, IgnoresCaseUnlessToldOtherwise) {
  EXPECT_TRUE(matches("*.LOCAL", "files.local"));
  EXPECT_TRUE(matches("*.local", "FILES.Local"));
  EXPECT_TRUE(matchesCaseSensitively("*.local", "files.local"));
  EXPECT_FALSE(matchesCaseSensitively("*.LOCAL", "files.local"));
}

TEST(WildcardMatch, WithoutWildcardsMatchesTheIdenticalTextOnly) {
  EXPECT_TRUE(matches("example.com", "example.com"));
  EXPECT_FALSE(matches("example.com", "www.example.com"));
  EXPECT_FALSE(matches("example.com", "example.com.evil"));
  EXPECT_FALSE(matches("example.com", "example.co"));
}

TEST(WildcardMatch, TheEmptyPatternMatchesTheEmptyText) {
  EXPECT_TRUE(matches("", ""));
  EXPECT_FALSE(matches("", "a"));
  EXPECT_FALSE(matches("a", ""));
}

TEST(WildcardMatch, AnAsteriskMatchesAnyRun) {
  EXPECT_TRUE(matches("*", ""));
  EXPECT_TRUE(matches("*", "anything at all"));
  EXPECT_TRUE(matches("10.*", "10.1.2.3"));
  EXPECT_TRUE(matches("10.*", "10."));
  EXPECT_FALSE(matches("10.*", "110.1"));
  EXPECT_TRUE(matches("*a*b*", "xxaxxbxx"));
  EXPECT_FALSE(matches("*a*b*", "xxbxxaxx"));
  EXPECT_FALSE(matches("*.local", "local"));
}

TEST(WildcardMatch, SeveralAsterisksCountAsOne) {
  EXPECT_TRUE(matches("a***b", "ab"));
  EXPECT_TRUE(matches("a***b", "axyzb"));
  EXPECT_FALSE(matches("a***b", "axyz"));
}

TEST(WildcardMatch, TriesEveryPlaceBehindAnAsterisk) {
  EXPECT_TRUE(matches("*ab", "aab"));
  EXPECT_TRUE(matches("*abac", "abababac"));
  EXPECT_TRUE(matches("a*b?d*e", "abbbcbxdzze"));
  EXPECT_FALSE(matches("a*b?d*e", "abbbcbxxdzzf"));
}

TEST(WildcardMatch, AQuestionMarkMatchesOneCharacter) {
  EXPECT_TRUE(matches("h?st", "host"));
  EXPECT_FALSE(matches("h?st", "hst"));
  EXPECT_FALSE(matches("host?", "host"));
  EXPECT_TRUE(matches("???", "abc"));
  EXPECT_FALSE(matches("???", "abcd"));
}

TEST(WildcardMatch, ASetMatchesOneOfItsMembers) {
  EXPECT_TRUE(matches("[abc]", "b"));
  EXPECT_FALSE(matches("[abc]", "d"));
  EXPECT_FALSE(matches("[abc]", ""));
  EXPECT_FALSE(matches("[abc]", "ab"));
  EXPECT_TRUE(matches("srv[12].x", "srv2.x"));
}

TEST(WildcardMatch, ASetHasRanges) {
  EXPECT_TRUE(matches("[a-c]", "b"));
  EXPECT_TRUE(matches("[a-c]", "a"));
  EXPECT_TRUE(matches("[a-c]", "c"));
  EXPECT_FALSE(matches("[a-c]", "d"));
  EXPECT_FALSE(matches("[c-a]", "b"));
  EXPECT_TRUE(matches("[0-9x-z]", "y"));
}

TEST(WildcardMatch, ARangeOfHighBytesIsNotNegative) {
  EXPECT_TRUE(matches("[a-\xFF]", "\xC3"));
  EXPECT_FALSE(matches("[\x80-a]", "\x90"));
}

TEST(WildcardMatch, SetsIgnoreCaseToo) {
  EXPECT_TRUE(matches("[A-C]", "b"));
  EXPECT_TRUE(matches("[a-c]", "B"));
  EXPECT_FALSE(matches("[!a-c]", "B"));
  EXPECT_FALSE(matchesCaseSensitively("[A-C]", "b"));
}

TEST(WildcardMatch, AHyphenBeforeTheEndOfASetIsAMember) {
  EXPECT_TRUE(matches("[a-]", "-"));
  EXPECT_TRUE(matches("[a-]", "a"));
  EXPECT_FALSE(matches("[a-]", "b"));
  EXPECT_TRUE(matches("[-a]", "-"));
  EXPECT_TRUE(matches("[a-c-e]", "-"));
  EXPECT_TRUE(matches("[a-c-e]", "e"));
  EXPECT_FALSE(matches("[a-c-e]", "d"));
  EXPECT_TRUE(matches("[a-c-]", "-"));
  EXPECT_FALSE(matches("[a-c-]", "]"));
}

TEST(WildcardMatch, ASetCanBeNegated) {
  for (const std::string sign : {"!", "^"}) {
    EXPECT_FALSE(matches("[" + sign + "abc]", "b")) << sign;
    EXPECT_TRUE(matches("[" + sign + "abc]", "d")) << sign;
    EXPECT_FALSE(matches("[" + sign + "abc]", "")) << sign;
  }
  EXPECT_TRUE(matches("[a!]", "!"));
  EXPECT_TRUE(matches("[a^]", "^"));
  EXPECT_FALSE(matches("[!!]", "!"));
}

TEST(WildcardMatch, ASetEndsAtItsFirstBracket) {
  EXPECT_FALSE(matches("[]", "]"));
  EXPECT_FALSE(matches("[]a]", "]"));
  EXPECT_TRUE(matches("[!]", "x"));
  EXPECT_TRUE(matches("[[]", "["));
}

TEST(WildcardMatch, ABackslashMakesTheNextMemberLiteral) {
  EXPECT_TRUE(matches("[\\]]", "]"));
  EXPECT_TRUE(matches("[a\\-c]", "-"));
  EXPECT_FALSE(matches("[a\\-c]", "b"));
  EXPECT_TRUE(matches("[\\\\]", "\\"));
  EXPECT_TRUE(matches("[\\!a]", "!"));
  EXPECT_TRUE(matchesCaseSensitively("[X-\\]]", "["));
}

TEST(WildcardMatch, AnUnclosedSetNeverMatches) {
  EXPECT_FALSE(matches("[abc", "a"));
  EXPECT_FALSE(matches("[abc", "[abc"));
  EXPECT_FALSE(matches("[!abc", "d"));
  EXPECT_FALSE(matches("[", "["));
  EXPECT_FALSE(matches("[a-", "a"));
  EXPECT_FALSE(matches("[a\\", "a"));
  EXPECT_FALSE(matches("[a-\\", "a"));
  EXPECT_FALSE(matches("[a\\]", "a"));
  EXPECT_FALSE(matches("*[a", "a"));
}

TEST(WildcardMatch, ABackslashMakesTheNextCharacterLiteral) {
  EXPECT_TRUE(matches("\\*", "*"));
  EXPECT_FALSE(matches("\\*", "x"));
  EXPECT_TRUE(matches("\\?\\[\\\\", "?[\\"));
  EXPECT_TRUE(matches("\\a", "A"));
}

TEST(WildcardMatch, ABackslashAtTheEndStandsForItself) {
  EXPECT_TRUE(matches("\\", "\\"));
  EXPECT_TRUE(matches("a*\\", "abc\\"));
  EXPECT_FALSE(matches("a\\", "a"));
}

TEST(WildcardMatch, IsQuickOnPatternsOfManyAsterisks) {
  std::string pattern;
  for (int i = 0; i < 200; ++i)
    pattern += "*a";
  EXPECT_FALSE(matches(pattern + "*b", std::string(5000, 'a')));
  EXPECT_TRUE(matches(pattern + "*b", std::string(5000, 'a') + "b"));
}

TEST(WildcardMatch, TakesLongPatternsAndTexts) {
  const std::string text(1000000, 'a');
  EXPECT_TRUE(matches(std::string(1000000, '?'), text));
  EXPECT_TRUE(matches(std::string(1000000, '*'), text));
  EXPECT_FALSE(matches(std::string(1000000, '*') + "b", text));
}

TEST(MatchPattern, GivesZeroForAMatchAndOneForNone) {
  EXPECT_EQ(matchPattern("a*", "abc", 0), 0);
  EXPECT_EQ(matchPattern("a*", "bcd", 0), 1);
  EXPECT_EQ(matchPattern("ab", "a", 0), 1);
}

TEST(MatchPattern, FoldsCaseWithFlag16Only) {
  EXPECT_EQ(matchPattern("A", "a", 16), 0);
  EXPECT_EQ(matchPattern("A", "a", 0), 1);
}

// The same rules written down once more, the plain way: recursive at each '*'.
class SecondMatcher {
 public:
  explicit SecondMatcher(bool folds) : folds_(folds) {}

  bool match(std::string_view pattern, std::string_view text) const {
    if (pattern.empty()) return text.empty();
    if (pattern[0] == '*') {
      for (std::size_t i = 0; i <= text.size(); ++i) {
        if (match(pattern.substr(1), text.substr(i))) return true;
      }
      return false;
    }
    if (text.empty()) return false;
    const std::size_t size = elementSize(pattern);
    return size > 0 && elementMatches(pattern.substr(0, size), text[0]) &&
           match(pattern.substr(size), text.substr(1));
  }

 private:
  // 0 for an unclosed set.
  static std::size_t elementSize(std::string_view pattern) {
    if (pattern[0] == '\\') return pattern.size() > 1 ? 2 : 1;
    if (pattern[0] != '[') return 1;
    std::size_t i = pattern.size() > 1 && (pattern[1] == '!' || pattern[1] == '^') ? 2 : 1;
    while (i < pattern.size() && pattern[i] != ']')
      i += pattern[i] == '\\' ? 2 : 1;
    return i < pattern.size() ? i + 1 : 0;
  }

  int fold(char c) const {
    const auto byte = static_cast<unsigned char>(c);
    return folds_ ? std::tolower(byte) : byte;
  }

  bool elementMatches(std::string_view element, char c) const {
    if (element == "?") return true;
    if (element[0] == '\\') return fold(element.back()) == fold(c);
    if (element[0] != '[') return fold(element[0]) == fold(c);
    const bool negated = element[1] == '!' || element[1] == '^';
    const std::size_t begin = negated ? 2 : 1;
    return setHolds(element.substr(begin, element.size() - begin - 1), c) != negated;
  }

  // `members` is what stands between the brackets.
  bool setHolds(std::string_view members, char c) const {
    std::string literal;   // the members without their backslashes
    std::string isHyphen;  // for each of them: 'h' when it is a bare '-'
    for (std::size_t i = 0; i < members.size(); ++i) {
      isHyphen += members[i] == '-' ? 'h' : '.';
      if (members[i] == '\\') ++i;
      literal += members[i];
    }
    for (std::size_t i = 0; i < literal.size(); ++i) {
      const char first = literal[i];
      char last = first;
      if (i + 2 < literal.size() && isHyphen[i + 1] == 'h') {
        last = literal[i + 2];
        i += 2;
      }
      if (fold(first) <= fold(c) && fold(c) <= fold(last)) return true;
    }
    return false;
  }

  bool folds_;
};

std::string randomText(std::mt19937& random, const std::vector<std::string>& pieces,
                       unsigned most) {
  std::string text;
  for (std::size_t count = random() % (most + 1); count > 0; --count)
    text += pieces[random() % pieces.size()];
  return text;
}

TEST(WildcardMatch, AgreesWithAPlainMatcherOnGeneratedPatterns) {
  std::mt19937 random(20240611);  // NOLINT: the same patterns every time
  const std::vector<std::string> patternPieces = {
      "a", "a", "b", "B", "*",  "*",    "?",    "\xE4",  "-",    ".",          "[a-",
      "[", "]", "!", "^", "\\", "[aB]", "[!b]", "[^A-]", "[\\]", "[b-\\\xFF]", "\1"};
  const std::vector<std::string> textPieces = {"a", "a", "b",  "B",    "-",
                                               ".", "]", "\\", "\xE4", "\1"};
  int matched = 0;
  for (int i = 0; i < 1000000; ++i) {
    const std::string pattern = randomText(random, patternPieces, 6);
    const std::string text = randomText(random, textPieces, 4);
    const bool caseSensitive = i % 2 != 0;
    const bool expected = SecondMatcher(!caseSensitive).match(pattern, text);
    ASSERT_EQ(wildcardMatch(pattern.c_str(), text.c_str(), caseSensitive ? 1 : 0), expected ? 1 : 0)
        << "pattern " << pattern << ", text " << text;
    if (expected) ++matched;
  }
  EXPECT_GT(matched, 50000);
}

}  // namespace
}  // namespace mtlrules
