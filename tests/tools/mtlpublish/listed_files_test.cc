// Tests what is read out of a list.
#include "mtlpublish/listed_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

namespace mtlpublish {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

using Files = std::vector<std::pair<std::string, std::int64_t>>;
constexpr std::int64_t kNone = -1;

/// Path and size of each file of a list that is accepted.
Files filesOf(const std::string& text) {
  std::vector<ListedFile> files;
  EXPECT_EQ(readList(text, "", files), "");
  Files pairs;
  for (const ListedFile& file : files)
    pairs.emplace_back(file.path, file.size.value_or(kNone));
  return pairs;
}

std::string problemWith(const std::string& text) {
  std::vector<ListedFile> files;
  return readList(text, "", files);
}

TEST(ReadList, TakesWhatClientsFetch) {
  EXPECT_THAT(filesOf(R"([{"path":"a","download":"always","size":1},
                          {"path":"b","download":"missing","size":2},
                          {"path":"c","size":3},
                          {"path":"d","download":5,"size":4},
                          {"path":"e","download":"never","size":5},
                          {"path":"f","download":"","size":6},
                          {"path":"g","download":"Always","size":7}]
)"),
              ElementsAre(Pair("a", 1), Pair("b", 2), Pair("c", 3), Pair("d", 4)));
}

TEST(ReadList, TakesTheSizeOfTheFileThatIsKept) {
  EXPECT_THAT(filesOf(R"([{"path":"a.tx","size":9000,"jpegSize":5000},
                          {"path":"b.tx","size":9000,"jpegSize":0},
                          {"path":"c.png","size":9000,"jpegSize":-1},
                          {"path":"d","size":0},
                          {"path":"e","size":7.0}]
)"),
              ElementsAre(Pair("a.tx", 5000), Pair("b.tx", 9000), Pair("c.png", 9000), Pair("d", 0),
                          Pair("e", 7)));
}

TEST(ReadList, TellsWhatIsFetchedForALossyMap) {
  std::vector<ListedFile> files;
  EXPECT_EQ(readList(R"([{"path":"a/b.tx","size":9,"jpegSize":5},{"path":"c.tx","size":9}]
)",
                     "", files),
            "");
  ASSERT_EQ(files.size(), 2U);
  EXPECT_EQ(files[0].remotePath, "a/b.jpeg.tx");
  EXPECT_EQ(files[1].remotePath, "c.tx");
}

TEST(ReadList, TakesDigestsThatAreSome) {
  const std::string digest(64, 'a');
  std::vector<ListedFile> files;
  EXPECT_EQ(readList(R"([{"path":"a","sha256":")" + digest +
                         R"("},{"path":"b","sha256":"aa"},{"path":"c","sha256":7},{"path":"d"},)" +
                         R"({"path":"e","sha256":")" + std::string(64, 'g') + R"("}]
)",
                     "", files),
            "");
  ASSERT_EQ(files.size(), 5U);
  EXPECT_EQ(files[0].sha256, digest);
  for (std::size_t i = 1; i < files.size(); ++i)
    EXPECT_EQ(files[i].sha256, "") << files[i].path;
}

TEST(ReadList, KnowsNoSizeWhereThereIsNone) {
  EXPECT_THAT(filesOf(R"([{"path":"a"},{"path":"b","size":"12"},{"path":"c","size":1.5},
                          {"path":"d","size":-1},{"path":"e","size":9223372036854775808}]
)"),
              ElementsAre(Pair("a", kNone), Pair("b", kNone), Pair("c", kNone), Pair("d", kNone),
                          Pair("e", kNone)));
}

TEST(ReadList, SkipsEntriesWithoutAPath) {
  EXPECT_THAT(filesOf("[{},{\"path\":\"\"},{\"path\":7},{\"path\":\"\\u0000a\"}]\n"), IsEmpty());
  EXPECT_THAT(filesOf("[]\n"), IsEmpty());
  EXPECT_THAT(filesOf("null\n"), IsEmpty());
}

TEST(ReadList, DropsTheLastByteBeforeParsing) {
  EXPECT_THAT(filesOf("[]x"), IsEmpty());
  EXPECT_THAT(problemWith("[]"), HasSubstr("it is not JSON: "));
  EXPECT_EQ(problemWith(""), "it is empty");
}

TEST(ReadList, RefusesWhatClientsRefuse) {
  EXPECT_THAT(problemWith("[{\"path\":\"a\"},]\n"), HasSubstr("it is not JSON: "));
  EXPECT_EQ(problemWith("[{\"path\":\"a\"},7]\n"), "an entry is not an object");
  EXPECT_EQ(problemWith("[{\"path\":\"../x\"}]\n"), "a path leaves the target directory: \"../x\"");
  EXPECT_EQ(problemWith("[{\"path\":\"a.png\",\"jpegSize\":5}]\n"),
            "a lossy map does not end in \".tx\": \"a.png\"");
  EXPECT_EQ(problemWith("[{\"path\":\"x\",\"jpegSize\":5}]\n"),
            "a lossy map does not end in \".tx\": \"x\"");
}

TEST(ReadList, GoesOnAfterWhatClientsRefuseWhenAsked) {
  std::vector<ListedFile> files;
  std::vector<ListProblem> problems;
  EXPECT_EQ(
      readList("[7,{\"path\":\"a\"},{\"path\":\"../x\"},{\"path\":\"b\"}]\n", "", files, problems),
      "");
  ASSERT_EQ(files.size(), 2U);
  EXPECT_EQ(files[1].path, "b");
  ASSERT_EQ(problems.size(), 2U);
  EXPECT_EQ(problems[0].number, 1U);
  EXPECT_EQ(problems[0].path, "");
  EXPECT_EQ(problems[0].reason, "an entry is not an object");
  EXPECT_EQ(problems[1].number, 3U);
  EXPECT_EQ(problems[1].path, "../x");
  EXPECT_EQ(problems[1].reason, "a path leaves the target directory");
  EXPECT_TRUE(problems[0].isRefused && problems[1].isRefused);
  EXPECT_THAT(readList("[", "", files, problems), HasSubstr("it is not JSON: "));
}

TEST(ReadList, TakesAListForWhatItIsToClientsThoughItHasOtherProblems) {
  std::vector<ListedFile> files;
  std::vector<ListProblem> problems;
  EXPECT_EQ(readList("{\"x\":{\"path\":\"a\",\"download\":7}}\n", "", files, problems), "");
  EXPECT_EQ(files.size(), 1U);
  ASSERT_EQ(problems.size(), 2U);
  EXPECT_EQ(problems[0].number, 0U);
  EXPECT_EQ(problems[0].reason, "is not an array");
  EXPECT_EQ(problems[1].path, "a");
  EXPECT_FALSE(problems[0].isRefused || problems[1].isRefused);
  EXPECT_EQ(problemWith("{\"x\":{\"path\":\"a\",\"download\":7}}\n"), "");
}

TEST(ReadList, PassesOverWhatClientsWriteThemselves) {
  EXPECT_THAT(filesOf(R"([{"path":"id.txt","size":1},{"path":"a/id.txt","size":2},
                          {"path":"ID.TXT ","size":3},{"path":"id.txt/x","size":4},
                          {"path":".mtllib/state","size":5},{"path":"beta/id.txt","size":6}]
)"),
              ElementsAre(Pair("a/id.txt", 2), Pair("beta/id.txt", 6)));
  std::vector<ListedFile> files;
  EXPECT_EQ(readList(R"([{"path":"id.txt"},{"path":"a/id.txt"},{"path":"beta/id.txt/x"}]
)",
                     "beta", files),
            "");
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].path, "a/id.txt");
}

TEST(ReadList, SaysWhatClientsWriteThemselves) {
  std::vector<ListedFile> files;
  std::vector<ListProblem> problems;
  EXPECT_EQ(readList("[{\"path\":\"a\"},{\"path\":\"id.txt/x\"}]\n", "", files, problems), "");
  ASSERT_EQ(problems.size(), 1U);
  EXPECT_EQ(problems[0].number, 2U);
  EXPECT_EQ(problems[0].path, "id.txt/x");
  EXPECT_EQ(problems[0].reason, "has a name that clients keep for their own files");
  EXPECT_FALSE(problems[0].isRefused);
}

TEST(ReadList, IgnoresBadPathsThatNobodyFetches) {
  EXPECT_THAT(filesOf("[{\"path\":\"../x\",\"download\":\"never\"}]\n"), IsEmpty());
}

TEST(ReadList, RefusesListsThatAreNestedTooDeeply) {
  EXPECT_NE(problemWith(std::string(2000, '[') + std::string(2000, ']') + "\n"), "");
}

}  // namespace
TEST(ListedFiles, AreNotMirrors) {
  std::vector<ListedFile> files;
  std::vector<ListProblem> problems;
  EXPECT_EQ(readList(R"([{"mirror":"https://b.example/lib"},{"mirror":"b"},{"path":"a"}]
)",
                     "", files, problems),
            "");
  EXPECT_EQ(files.size(), 1U);
  ASSERT_EQ(problems.size(), 1U);
  EXPECT_EQ(problems[0].reason, "its \"mirror\" is not an address to publish");
}

}  // namespace mtlpublish
