// Tests what patterns match.
#include "mtlpublish/glob.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using mtlpublish::Glob;

bool matches(const std::string& pattern, const std::string& path) {
  std::string problem;
  const auto glob = Glob::parse(pattern, problem);
  EXPECT_TRUE(glob) << pattern << ' ' << problem;
  return glob && glob->matches(path);
}

std::string problemOf(const std::string& pattern) {
  std::string problem;
  EXPECT_FALSE(Glob::parse(pattern, problem)) << pattern;
  return problem;
}

TEST(Glob, WithoutASlashMatchesTheFileName) {
  EXPECT_TRUE(matches("oak.tx", "oak.tx"));
  EXPECT_TRUE(matches("oak.tx", "maps/wood/oak.tx"));
  EXPECT_FALSE(matches("wood", "maps/wood/oak.tx"));
  EXPECT_FALSE(matches("oak.tx", "maps/dark oak.tx"));
}

TEST(Glob, WithASlashMatchesTheWholePath) {
  EXPECT_TRUE(matches("maps/oak.tx", "maps/oak.tx"));
  EXPECT_FALSE(matches("maps/oak.tx", "old/maps/oak.tx"));
  EXPECT_TRUE(matches("*/oak.tx", "old/maps/oak.tx"));
}

TEST(Glob, StarTakesAnyTextSlashesToo) {
  EXPECT_TRUE(matches("*", ""));
  EXPECT_TRUE(matches("*", "a/b"));
  EXPECT_TRUE(matches("maps/*", "maps/a/b/c.tx"));
  EXPECT_TRUE(matches("maps/*", "maps/"));
  EXPECT_TRUE(matches("maps/*.tx", "maps/a/b/c.tx"));
  EXPECT_FALSE(matches("maps/*.tx", "maps/a/b/c.txt"));
  EXPECT_TRUE(matches("**a**", "xax"));
}

TEST(Glob, StarTakesMoreWhenWhatFollowsDoesNotMatch) {
  EXPECT_TRUE(matches("*ab", "aab"));
  EXPECT_TRUE(matches("a*b*c", "abxbc"));
  EXPECT_TRUE(matches("*.jpeg.tx", "a.jpeg.jpeg.tx"));
  EXPECT_FALSE(matches("a*b*c", "abxb"));
}

TEST(Glob, ManyStarsTakeNoTime) {
  std::string pattern;
  for (int i = 0; i < 100; ++i)
    pattern += "*a";
  EXPECT_FALSE(matches(pattern + "b", std::string(20'000, 'a')));
}

TEST(Glob, QuestionMarkTakesOneCharacterHoweverManyBytes) {
  EXPECT_TRUE(matches("?.tx", "é.tx"));
  EXPECT_TRUE(matches("?.tx", "🌳.tx"));
  EXPECT_FALSE(matches("?.tx", ".tx"));
  EXPECT_FALSE(matches("?.tx", "ab.tx"));
}

TEST(Glob, SetTakesOneOfItsCharacters) {
  EXPECT_TRUE(matches("[abc]", "b"));
  EXPECT_FALSE(matches("[abc]", "d"));
  EXPECT_TRUE(matches("v[0-9a-f]", "v7"));
  EXPECT_TRUE(matches("v[0-9a-f]", "ve"));
  EXPECT_FALSE(matches("v[0-9a-f]", "vg"));
  EXPECT_TRUE(matches("[à-ü]", "é"));
  EXPECT_FALSE(matches("[ab]", "ab"));
}

TEST(Glob, SetMayExcludeCharacters) {
  EXPECT_FALSE(matches("[!0-9]x", "1x"));
  EXPECT_TRUE(matches("[!0-9]x", "ax"));
  EXPECT_TRUE(matches("[^0-9]x", "éx"));
  EXPECT_FALSE(matches("[!0-9]x", "x"));
}

TEST(Glob, SetHoldsItsOwnSignsWhereTheyMeanNothing) {
  EXPECT_TRUE(matches("[]]", "]"));
  EXPECT_TRUE(matches("[!]]", "a"));
  EXPECT_FALSE(matches("[!]]", "]"));
  EXPECT_TRUE(matches("[a-]", "-"));
  EXPECT_TRUE(matches("[-a]", "-"));
  EXPECT_TRUE(matches("[*]", "*"));
  EXPECT_FALSE(matches("[*]", "a"));
  EXPECT_TRUE(matches("[[]", "["));
  EXPECT_TRUE(matches("a]", "a]"));
}

TEST(Glob, KeepsUpperAndLowerCaseApart) {
  EXPECT_FALSE(matches("*.TX", "a.tx"));
}

TEST(Glob, RefusesWhatIsNoPattern) {
  EXPECT_EQ(problemOf(""), "is empty");
  EXPECT_EQ(problemOf("\xFF"), "is not valid UTF-8");
  EXPECT_EQ(problemOf("maps/[ab"), "has a '[' without its ']'");
  EXPECT_EQ(problemOf("[]"), "has a '[' without its ']'");
  EXPECT_EQ(problemOf("[!]"), "has a '[' without its ']'");
  EXPECT_EQ(problemOf("["), "has a '[' without its ']'");
}

std::string regexOf(const std::string& pattern) {
  std::string problem;
  return Glob::parse(pattern, problem).value().regex();
}

TEST(Glob, IsTheSameAsARegularExpression) {
  EXPECT_EQ(regexOf("*.p?g"), "(.*/)?[^/]*\\.p[^/]g");
  EXPECT_EQ(regexOf("maps/*-1_?.tx"), "maps/.*-1_.\\.tx");
  EXPECT_EQ(regexOf("a/[b-dé]"), "a/[\\x{62}-\\x{64}\\x{e9}-\\x{e9}]");
  EXPECT_EQ(regexOf("[!+-9]"), "(.*/)?(?!/)[^\\x{2b}-\\x{39}]");
  EXPECT_EQ(regexOf("木+"), "(.*/)?\\x{6728}\\x{2b}");
  EXPECT_EQ(regexOf("a/[9-0][!9-0]"), "a/(?!).") << "which no character is one of";
}

}  // namespace
