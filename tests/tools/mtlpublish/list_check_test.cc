// Tests the problems that are reported for lists, which are the same on every system.
#include "mtlpublish/list_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using mtlpublish::checkList;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

std::vector<std::string> problemsOf(const std::string& text) {
  return checkList(text).problems;
}

/// Of a list with these paths.
std::vector<std::string> problemsWith(const std::vector<std::string>& paths) {
  std::string text = "[";
  for (const std::string& path : paths)
    text += (text.size() > 1 ? ",{\"path\":\"" : "{\"path\":\"") + path + "\"}";
  return problemsOf(text + "]\n");
}

TEST(ListCheck, FindsNothingWrongWithAGoodList) {
  const auto list = checkList(
      "[{\"path\":\"a b/é木 50%+#.tx\",\"jpegSize\":3},\n"
      "{\"path\":\"a b/c\",\"size\":1},{\"path\":\"A B/d\"},\n"
      "{\"path\":\"con\",\"download\":\"never\"}]\n");
  EXPECT_THAT(list.problems, IsEmpty());
  ASSERT_EQ(list.files.size(), 3U);
  EXPECT_EQ(list.files[0].remotePath, "a b/é木 50%+#.jpeg.tx");
  EXPECT_THAT(problemsOf("[]\n"), IsEmpty());
}

TEST(ListCheck, WantsALineBreakAtTheEnd) {
  constexpr const char* kProblem =
      "filelist.json: does not end in a line break; clients leave out the last byte";
  EXPECT_THAT(problemsOf("[]"), ElementsAre(kProblem));
  EXPECT_THAT(problemsOf("[] "), ElementsAre(kProblem)) << "which is not seen in an editor";
}

TEST(ListCheck, SaysInOneLineWhatClientsCannotRead) {
  EXPECT_THAT(problemsOf(""), ElementsAre("filelist.json: clients refuse it: it is empty"));
  EXPECT_THAT(problemsOf("[{]\n"),
              ElementsAre("filelist.json: clients refuse it: it is not JSON: * Line 1, Column 3 "
                          "Missing '}' or object member name"));
  EXPECT_THAT(problemsOf(std::string(100'000, '[') + "\n"),
              ElementsAre(StartsWith("filelist.json: clients refuse it: ")));
}

TEST(ListCheck, NamesEveryEntryThatClientsRefuse) {
  EXPECT_THAT(
      problemsOf("[1,{\"path\":\"../a\"},{\"path\":\"ok\"},{\"path\":\"a.png\",\"jpegSize\":1}]\n"),
      ElementsAre("filelist.json: entry 1: clients refuse the list: an entry is not an object",
                  "../a: clients refuse the list: a path leaves the target directory",
                  "a.png: clients refuse the list: a lossy map does not end in \".tx\""));
}

TEST(ListCheck, NamesWhatClientsPassOver) {
  const std::string digest(64, 'a');
  EXPECT_THAT(
      problemsOf(R"([{"path":"a","download":"Always"},{"path":"b","download":7},
                     {"path":"c","sha256":"aa"},{"path":"d","sha256":")" +
                 digest + R"("},{"size":2},{"path":""},{"path":7,"download":"never"}])" + "\n"),
      ElementsAre("a: its \"download\" is not always, missing or never",
                  "b: its \"download\" is not always, missing or never",
                  "c: its \"sha256\" is not 64 lower-case hexadecimal digits",
                  "filelist.json: entry 5: has no \"path\"",
                  "filelist.json: entry 6: has no \"path\"",
                  "filelist.json: entry 7: has no \"path\""));
  for (const char* list : {"null\n", "{}\n"})
    EXPECT_THAT(problemsOf(list), ElementsAre("filelist.json: is not an array"));
}

TEST(ListCheck, NamesPathsThatSomeClientsCannotHold) {
  const std::string longPath = "d/" + std::string(257, 'f');
  EXPECT_THAT(problemsWith({"a/nul.txt", "b:c", "c?", "d./e", "e\\nf", "g\\\\h ", longPath}),
              ElementsAre("a/nul.txt: Windows cannot hold the name \"nul.txt\"",
                          "b:c: Windows cannot hold the name \"b:c\"",
                          "c?: Windows cannot hold the name \"c?\"",
                          "d./e: Windows cannot hold the name \"d.\"",
                          "e\\x0Af: Windows cannot hold the name \"e\\x0Af\"",
                          "g\\h : Windows cannot hold the name \"h \"",
                          longPath + ": the path has 259 bytes, no client can hold more than 258"));
  EXPECT_THAT(problemsWith({"a\xFF"}), ElementsAre("a\\xFF: the name is not valid UTF-8"));
}

TEST(ListCheck, NamesPathsThatGetInEachOthersWay) {
  EXPECT_THAT(problemsWith({"a/b", "A/B", "a//b", "a/./c", "a\\\\c", "É", "é", "x", "x/y/z",
                            "p/q/r", "P/q"}),
              ElementsAre("A/B: differs from \"a/b\" only in case, or in how accents are written",
                          "a//b: is listed more than once", "a\\c: is listed more than once",
                          "é: differs from \"É\" only in case, or in how accents are written",
                          "x/y/z: lies in \"x\", a file", "P/q: is a folder of other files, too"));
}

TEST(ListCheck, NamesWhatClientsWriteThemselves) {
  const auto problems = problemsWith({"id.txt", "a/id.txt", "Id.Txt/x", "id.txt. ", ".MTLLIB/a"});
  ASSERT_EQ(problems.size(), 4U);
  const std::string kProblem = ": has a name that clients keep for their own files";
  EXPECT_THAT(problems, ElementsAre("id.txt" + kProblem, "Id.Txt/x" + kProblem,
                                    "id.txt. " + kProblem, ".MTLLIB/a" + kProblem));
}

TEST(ListCheck, TakesManyEntries) {
  constexpr std::size_t kCount = 50'000;
  std::string text = "[";
  for (std::size_t i = 0; i < kCount; ++i) {
    text += (i == 0 ? "{\"path\":\"" : ",\n{\"path\":\"") + std::to_string(i % 100) + "/" +
            std::to_string(i) + "\"}";
  }
  const auto list = checkList(text + "]\n");
  EXPECT_EQ(list.files.size(), kCount);
  EXPECT_THAT(list.problems, IsEmpty());
}

}  // namespace
