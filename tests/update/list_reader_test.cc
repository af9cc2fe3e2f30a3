// Tests reading a list as it arrives: in pieces of any size, with the verdicts of the module.
#include "update/list_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using mtlrules::DownloadPolicy;
using mtlupdate::Entry;
using mtlupdate::Failure;
using mtlupdate::Listing;
using mtlupdate::ListProblem;
using mtlupdate::ListReader;
using mtlupdate::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

Outcome readPieces(std::string_view text, std::size_t piece, ListReader& reader) {
  for (; !text.empty(); text.remove_prefix(std::min(piece, text.size()))) {
    if (Outcome failure = reader.feed(text.substr(0, piece))) return failure;
  }
  return reader.finish();
}

std::vector<std::string> pathsOf(const Listing& listing) {
  std::vector<std::string> paths;
  for (const Entry& entry : listing)
    paths.emplace_back(entry.path);
  return paths;
}

/// The paths of a list that is good, the same for pieces of any size.
std::vector<std::string> pathsIn(const std::string& text) {
  Listing whole;
  ListReader reader(whole);
  const Outcome outcome = readPieces(text, text.size(), reader);
  EXPECT_FALSE(outcome) << outcome->text << " in " << text;
  for (const std::size_t piece : {1, 2, 3, 7}) {
    Listing listing;
    ListReader inPieces(listing);
    EXPECT_FALSE(readPieces(text, piece, inPieces)) << text;
    EXPECT_EQ(pathsOf(listing), pathsOf(whole)) << text;
  }
  return pathsOf(whole);
}

/// Why a list is refused, the same for pieces of any size.
std::string refusalOf(const std::string& text) {
  std::string refusal;
  for (const std::size_t piece : {text.size() + 1, std::size_t{1}, std::size_t{3}}) {
    Listing listing;
    ListReader reader(listing);
    const Outcome outcome = readPieces(text, piece, reader);
    if (!outcome) {
      ADD_FAILURE() << text << " is taken";
      return "";
    }
    EXPECT_EQ(outcome->kind, Failure::Kind::kContent);
    EXPECT_TRUE(refusal.empty() || outcome->text == refusal) << outcome->text;
    refusal = outcome->text;
  }
  return refusal;
}

Listing listingOf(const std::string& text) {
  Listing listing;
  ListReader reader(listing);
  const Outcome outcome = readPieces(text, text.size(), reader);
  EXPECT_FALSE(outcome) << outcome->text;
  return listing;
}

TEST(ListReader, TakesEveryEntryInOrder) {
  EXPECT_THAT(pathsIn("[{\"path\": \"b\"}, {\"path\": \"a\"},{\"path\":\"c/d\"}]\n"),
              ElementsAre("b", "a", "c/d"));
  EXPECT_THAT(pathsIn("[]\n"), IsEmpty());
  EXPECT_THAT(pathsIn(" [ \n ] \n"), IsEmpty());
}

TEST(ListReader, DropsTheLastByteWhateverItIs) {
  EXPECT_THAT(pathsIn("[{\"path\": \"a\"}]]"), ElementsAre("a"));
  EXPECT_THAT(refusalOf("[{\"path\": \"a\"}]"), HasSubstr("is incomplete"));
}

TEST(ListReader, ReadsOverCommentsAndWhiteSpace) {
  EXPECT_THAT(pathsIn("/* ] */ [ // {\n {\"path\" /* \"x\" **/ : \"a\" // "
                      "}\n}/**/,\t{\"path\":\"b\"}] // end\n"),
              ElementsAre("a", "b"));
}

TEST(ListReader, TakesBracketsQuotesAndCommentsWithinTextsAsTheyAre) {
  EXPECT_THAT(pathsIn(R"([{"note": "]}[{,\\", "path": "a \"//b\" /*c*/ ],"}])"
                      "\n"),
              ElementsAre("a \"/b\" /*c*/ ],"))
      << "slashes in a row are one separator";
}

TEST(ListReader, TakesTheLastOfMembersWithTheSameName) {
  EXPECT_THAT(pathsIn("[{\"path\": \"a\", \"path\": \"b\"}, {\"path\": \"c\", \"path\": 1}]\n"),
              ElementsAre("b"));
}

TEST(ListReader, KeepsPathsInTheOneWayToWriteThem) {
  EXPECT_THAT(pathsIn("[{\"path\": \"./a//b/../c\\\\d\"}, {\"path\": \"/e\"}]\n"),
              ElementsAre("a/c/d", "e"));
  EXPECT_THAT(pathsIn("[{\"path\": \"a\\u0000b\"}, {\"path\": \"\\u00e9\"}]\n"),
              ElementsAre("a", "\xC3\xA9"));
}

TEST(ListReader, KeepsSizeDigestAndPolicy) {
  const std::string digest(64, 'a');
  const Listing listing = listingOf("[{\"path\":\"a\",\"size\":5,\"sha256\":\"" + digest +
                                    "\",\"download\":\"missing\"},{\"path\":\"b\",\"size\":-1,"
                                    "\"sha256\":\"A\",\"download\":7}]\n");
  ASSERT_EQ(listing.size(), 2U);
  EXPECT_EQ(listing[0].size, 5U);
  EXPECT_EQ(mtlupdate::hexText(listing[0].sha256), digest);
  EXPECT_EQ(listing[0].policy, DownloadPolicy::kMissing);
  EXPECT_EQ(listing[1].size, std::nullopt);
  EXPECT_EQ(listing[1].sha256, std::nullopt);
  EXPECT_EQ(listing[1].policy, DownloadPolicy::kAlways);
}

TEST(ListReader, TakesTheLossyVariantOfAMap) {
  const Listing listing = listingOf("[{\"path\":\"a/b.tx\",\"size\":50,\"jpegSize\":5}]\n");
  ASSERT_EQ(listing.size(), 1U);
  EXPECT_EQ(listing[0].path, "a/b.tx");
  EXPECT_EQ(listing[0].remotePath, "a/b.jpeg.tx");
  EXPECT_EQ(listing[0].size, 5U);
}

TEST(ListReader, LeavesOutWhatIsNeverFetched) {
  EXPECT_THAT(pathsIn("[{\"path\":\"../a\",\"download\":\"never\"},{\"path\":\"b\",\"download\":"
                      "\"sometimes\"},{\"size\":1},{\"path\":\"c\"}]\n"),
              ElementsAre("c"));
}

/// What a client keeps of the list, or that it refuses it.
std::string readingOf(const std::string& text) {
  Listing listing;
  ListReader reader(listing);
  if (readPieces(text, text.size(), reader)) return "refused";
  std::string reading;
  for (const Entry& entry : listing) {
    reading.append(entry.path).append(1, '|').append(entry.remotePath).append(1, '|');
    reading += entry.size ? std::to_string(*entry.size) : "no size";
    reading += '|' + mtlupdate::hexText(entry.sha256);
    reading += entry.policy == DownloadPolicy::kAlways ? "|always " : "|missing ";
  }
  return reading;
}

// Entries with an escape in them are left to the parser that the module has.
TEST(ListReader, ReadsGeneratedEntriesAsIfTheyHadAnEscape) {
  const std::string digest(64, 'b');
  const std::vector<std::string> names{"path",   "path",     "path", "size", "size", "jpegSize",
                                       "sha256", "download", "Path", "",     "note"};
  const std::vector<std::string> values{"\"a/b.tx\"",
                                        "\"./a//c.tx\"",
                                        "\"../d\"",
                                        "\"\xC3\xA9\xFF\"",
                                        "\"\"",
                                        "\"always\"",
                                        "\"missing\"",
                                        "\"never\"",
                                        "\"" + digest + "\"",
                                        "\"" + digest + "b\"",
                                        "0",
                                        "-0",
                                        "5",
                                        "-1",
                                        "4294967296",
                                        "9223372036854775807",
                                        "9223372036854775808",
                                        "18446744073709551616",
                                        "5.0",
                                        "5.5",
                                        "-0.0",
                                        "5e1",
                                        "1e400",
                                        "05",
                                        "+5",
                                        "0x5",
                                        "null",
                                        "true",
                                        "false",
                                        "nul",
                                        "NaN",
                                        "[]",
                                        "[5]",
                                        "{}",
                                        "{\"path\":\"e\"}",
                                        "\"tab\there\"",
                                        "\"line\nhere\"",
                                        "\"\x7F\"",
                                        std::string("\"zero\0here\"", 11),
                                        "",
                                        "5 6",
                                        "\"f\" \"g\""};
  const std::vector<std::string> ends{"}",  "}", "}",  "}",   "}", "} ",
                                      ",}", "",  "}}", "} 5", "]", std::string("}\0", 2)};
  std::mt19937 random(20260101);
  const auto oneOf = [&](const std::vector<std::string>& choices) {
    return choices[random() % choices.size()];
  };
  std::size_t taken = 0;
  for (int i = 0; i < 20'000; ++i) {
    std::string members;
    for (auto count = random() % 5; count > 0; --count) {
      members += (members.empty() ? "\"" : ",\"") + oneOf(names) + "\":" + oneOf(values);
    }
    const std::string end = oneOf(ends);
    const std::string plain = "[{" + members + end + "]\n";
    const std::string escaped =
        "[{\"\\n\":0" + (members.empty() ? "" : "," + members) + end + "]\n";
    ASSERT_EQ(readingOf(plain), readingOf(escaped)) << plain;
    if (readingOf(plain) != "refused") ++taken;
  }
  EXPECT_GT(taken, 2000U);
  EXPECT_LT(taken, 18'000U);
}

TEST(ListReader, RefusesWhatTheModuleRefuses) {
  EXPECT_EQ(refusalOf("[{\"path\":\"../a\"}]\n"), "a path leaves the target directory: \"../a\"");
  EXPECT_EQ(refusalOf("[{\"path\":\"a/..\"}]\n"), "a path leaves the target directory: \"a/..\"");
  EXPECT_EQ(refusalOf("[{\"path\":\"a.png\",\"jpegSize\":1}]\n"),
            "a lossy map does not end in \".tx\": \"a.png\"");
  EXPECT_EQ(refusalOf("[{\"path\":\"a\"},5]\n"), "an entry is not an object");
  EXPECT_EQ(refusalOf(""), "the list is empty");
  for (const char* text :
       {"[{\"path\":\"a\"},]\n", "[,{\"path\":\"a\"}]\n", "[{\"path\":\"a\"} {\"path\":\"b\"}]\n",
        "[{\"path\":\"a\"/,}]\n", "[{\"path\":\"a\"]\n]\n", "[}]\n", "[{\"path\":1 2}]\n"}) {
    EXPECT_THAT(refusalOf(text), HasSubstr("is not valid JSON")) << text;
  }
  EXPECT_THAT(refusalOf("[{\"path\":" + std::string(5000, '[') + std::string(5000, ']') + "}]\n"),
              HasSubstr("is not valid JSON"));
}

TEST(ListReader, RefusesACutListWhereverItIsCut) {
  const std::string text = "[{\"path\": \"a\", /* c */ \"size\": 5}, {\"path\": \"b\\\"\"}]";
  EXPECT_THAT(pathsIn(text + "\n"), ElementsAre("a", "b\""));
  for (std::size_t size = 0; size <= text.size(); ++size)
    EXPECT_NE(refusalOf(text.substr(0, size)), "") << size;
}

TEST(ListReader, RefusesWhatIsNotAnArrayOrHasMoreBehindIt) {
  for (const char* text : {"{}\n", "null\n", "<html></html>\n", "\n", "\xEF\xBB\xBF[]\n"})
    EXPECT_EQ(refusalOf(text), "the list is not a JSON array") << text;
  for (const char* text : {"[] x\n", "[]]]\n", "[],\n", "[]/\n\n"})
    EXPECT_EQ(refusalOf(text), "something follows the array of the list") << text;
}

TEST(ListReader, RefusesAnEntryThatIsTooLongBeforeItIsWhole) {
  Listing listing;
  ListReader reader(listing);
  Outcome outcome = reader.feed("[{\"path\": \"a\"}, {\"note\": \"");
  const std::string piece(65536, 'x');
  for (int i = 0; i < 20 && !outcome; ++i)
    outcome = reader.feed(piece);
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->text, "entry 2 of the list is longer than 1048576 bytes");
}

TEST(ListReader, TakesAnEntryAmidstAnyAmountOfWhiteSpaceAndComments) {
  const std::string spaces(ListReader::kLongestEntry, ' ');
  EXPECT_THAT(
      pathsIn("[{" + spaces + "\"path\"" + spaces + ":/*" + spaces + "*/\"a\"" + spaces + "}]\n"),
      ElementsAre("a"));
}

TEST(ListReader, ReportsWhateverIsNotAsAPublisherWouldHaveWrittenIt) {
  Listing listing;
  std::vector<std::string> problems;
  ListReader reader(
      listing,
      [&](const ListProblem& problem) {
        problems.push_back(std::to_string(problem.number) + " " + problem.path + ": " +
                           problem.reason + (problem.isRefused ? "!" : ""));
      },
      "sub");
  EXPECT_FALSE(
      readPieces("[{\"size\":1},{\"path\":\"a\",\"download\":\"x\"},{\"path\":\"b\","
                 "\"sha256\":\"0\"},{\"path\":\"../c\"},1,{\"path\":\"sub/id.txt\"},"
                 "{\"path\":\".mtllib/state\"},{\"path\":\"d\"}]\n",
                 5, reader));
  EXPECT_THAT(
      problems,
      ElementsAre("1 : has no \"path\"", "2 a: its \"download\" is not always, missing or never",
                  "3 b: its \"sha256\" is not 64 lower-case hexadecimal digits",
                  "4 ../c: a path leaves the target directory!", "5 : an entry is not an object!",
                  "6 sub/id.txt: has a name that clients keep for their own files",
                  "7 .mtllib/state: has a name that clients keep for their own files"));
  EXPECT_THAT(pathsOf(listing), ElementsAre("b", "sub/id.txt", ".mtllib/state", "d"));
}

TEST(ListReaderMirrors, AreEntriesWithoutAPath) {
  Listing listing;
  ListReader reader(listing);
  ASSERT_FALSE(
      readPieces("[{\"mirror\": \"https://b.example/lib\"}, {\"path\": \"a.tx\"},"
                 " {\"mirror\": \"https://\\u0063.example\"},"
                 " {\"mirror\": \"ftp://d.example/lib\"}, {\"mirror\": 7},"
                 " {\"path\": \"e.tx\", \"mirror\": \"https://e.example/\"}]\n",
                 5, reader));
  EXPECT_THAT(pathsOf(listing), ElementsAre("a.tx", "e.tx"));
  EXPECT_THAT(listing.mirrors(), ElementsAre("https://b.example/lib", "https://c.example"));
}

TEST(ListReaderMirrors, AreNotMoreThanSome) {
  std::string text = "[";
  for (int i = 0; i < 100; ++i)
    text += "{\"mirror\": \"http://h" + std::to_string(i) + "/\"},";
  text += "{}]\n";
  Listing listing;
  ListReader reader(listing);
  ASSERT_FALSE(readPieces(text, text.size(), reader));
  EXPECT_EQ(listing.mirrors().size(), mtlrules::kMostMirrors);
}

TEST(ListReaderMirrors, AreNotEntriesThatLackAPath) {
  Listing listing;
  std::vector<std::string> problems;
  ListReader reader(listing,
                    [&](const ListProblem& problem) { problems.push_back(problem.reason); });
  ASSERT_FALSE(
      readPieces("[{\"mirror\": \"https://b.example/lib\"}, {\"mirror\": \"b\"}]\n", 99, reader));
  EXPECT_THAT(problems, ElementsAre("its \"mirror\" is not an address to publish"));
}

}  // namespace
