// Tests what is wrong with the names of a library for one client or another.
#include "rules/published_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rules/ascii.h"

namespace {

using mtlrules::faultNamed;
using mtlrules::findingsOf;
using mtlrules::NameFault;
using mtlrules::NameFinding;
using mtlrules::PublishedNames;
using testing::ElementsAre;
using testing::IsEmpty;

std::string asciiFolded(const std::string& text) {
  std::string folded = text;
  for (char& character : folded)
    character = mtlrules::asciiLower(character);
  return folded;
}

std::vector<std::string> textsOf(const std::vector<NameFinding>& findings) {
  std::vector<std::string> texts;
  texts.reserve(findings.size());
  for (const NameFinding& finding : findings) {
    const std::string word = wordFor(finding.fault);
    texts.push_back(word + (word.empty() ? "" : ": ") + finding.text);
  }
  return texts;
}

/// Of all these names, in their order.
std::vector<std::string> textsOf(const std::vector<std::string>& paths,
                                 const std::string& subPath = "") {
  PublishedNames names(subPath, asciiFolded);
  std::vector<std::string> texts;
  for (const std::string& path : paths) {
    for (const std::string& text : textsOf(names.add(path)))
      texts.push_back(path + ": " + text);
  }
  return texts;
}

TEST(PublishedNames, LeaveNothingToSayOfGoodOnes) {
  EXPECT_THAT(textsOf({"a b/é木.tx", "a b/c", "A B/d", "d/id.txt"}), IsEmpty());
}

TEST(PublishedNames, AreRefusedWhereWindowsCannotHoldThem) {
  EXPECT_THAT(textsOf(findingsOf("a/nul.txt")),
              ElementsAre("windows-names: Windows cannot hold the name \"nul.txt\""));
  EXPECT_THAT(textsOf(findingsOf("what?/a.")),
              ElementsAre("windows-names: Windows cannot hold the name \"what?\""))
      << "one finding a path";
}

TEST(PublishedNames, AreRefusedWhereTheyLeaveNoRoomForAFolder) {
  EXPECT_THAT(findingsOf(std::string(198, 'f')), IsEmpty());
  EXPECT_THAT(textsOf(findingsOf(std::string(199, 'f'))),
              ElementsAre("long-paths: the path has 199 bytes, more than the 198 that a client can "
                          "hold in a folder of 60"));
  EXPECT_THAT(textsOf(findingsOf(std::string(258, 'f'))).size(), 1U);
  EXPECT_THAT(textsOf(findingsOf(std::string(259, 'f'))),
              ElementsAre("the path has 259 bytes, no client can hold more than 258"));
}

TEST(PublishedNames, HaveEveryFindingAtOnce) {
  EXPECT_THAT(textsOf({"a", "A/" + std::string(200, 'f') + "?"}).size(), 3U);
}

TEST(PublishedNames, AreRefusedWhereTheyGetInEachOthersWay) {
  EXPECT_THAT(
      textsOf({"a/b", "A/B", "a//b", "x", "X/y/z", "p/q/r", "P/q"}),
      ElementsAre(
          "A/B: same-names: differs from \"a/b\" only in case, or in how accents are written",
          "a//b: same-names: is listed more than once", "X/y/z: same-names: lies in \"x\", a file",
          "P/q: same-names: is a folder of other files, too"));
}

TEST(PublishedNames, AreRefusedWhereClientsOfTheSubPathHaveFilesOfTheirOwn) {
  const std::string problem = ": unused-entries: has a name that clients keep for their own files";
  EXPECT_THAT(textsOf({"beta/id.txt", "beta/x", "b"}, "beta"),
              ElementsAre("beta/id.txt" + problem));
  EXPECT_THAT(textsOf({"beta"}, "beta"), ElementsAre("beta" + problem));
}

TEST(PublishedNames, HaveAWordForEachFaultThatMayPass) {
  for (const NameFault fault : {NameFault::kWindowsName, NameFault::kSameName, NameFault::kLongPath,
                                NameFault::kUnusedEntry}) {
    EXPECT_EQ(faultNamed(wordFor(fault)), fault);
  }
  EXPECT_EQ(faultNamed(wordFor(NameFault::kUnsavable)), std::nullopt);
  EXPECT_EQ(faultNamed("names"), std::nullopt);
}

}  // namespace
