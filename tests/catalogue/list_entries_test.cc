// Tests the two ways from the text of a list to its entries: what the first of them leaves to the
// second, and that it makes no difference which of them it was.
#include "catalogue/list_entries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "fakes/downloader_fixture.h"
#include "plugin/error_chain.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;

namespace {

std::string entryText(const ListFileEntry& entry) {
  return std::string(entry.localName.text()) + " from " + entry.remoteName.text() + ", " +
         std::to_string(entry.size);
}

/// What can be told of a list afterwards.
std::vector<std::string> describe(const DownloaderImpl::ListFile& list) {
  std::vector<std::string> lines;
  lines.reserve(static_cast<std::size_t>(list.count) + 1);
  for (std::int32_t i = 0; i < list.count; ++i)
    lines.push_back(entryText(list.entries[static_cast<std::size_t>(i)]));
  lines.push_back("capacity " + std::to_string(list.capacity));
  return lines;
}

/// An array of arrays in each other.
std::string nestedArrays(int levels) {
  const auto count = static_cast<std::size_t>(levels);
  return std::string(count, '[') + std::string(count, ']');
}

class ListEntries : public DownloaderFixture {
 protected:
  bool takesOneByOne(std::string_view text) {
    list = DownloaderImpl::ListFile();
    return selectOneByOne(downloader, text, list);
  }

  /// Nothing is to be seen afterwards of what was done.
  void expectLeft(std::string_view text) {
    EXPECT_FALSE(takesOneByOne(text)) << text;
    EXPECT_EQ(list.count, 0) << text;
    EXPECT_EQ(list.capacity, 0) << text;
    EXPECT_EQ(list.entries, nullptr) << text;
    EXPECT_THAT(callback.calls(), IsEmpty()) << text;
  }

  using Select = void (*)(const LibraryCopy&, std::string_view, DownloaderImpl::ListFile&,
                          ErrorChain&);

  /// The list that comes of the text, and the error.
  std::vector<std::string> outcomeOf(Select select, std::string_view text) {
    DownloaderImpl::ListFile selected;
    ErrorChain error;
    select(downloader, text, selected, error);
    std::vector<std::string> lines = describe(selected);
    lines.push_back(chainText(error));
    return lines;
  }

  void expectSameOutcome(std::string_view text) {
    EXPECT_EQ(outcomeOf(selectEntries, text), outcomeOf(selectFromWhole, text)) << text;
  }

  DownloaderImpl::ListFile list;
};

TEST_F(ListEntries, AreTakenOneByOneFromAnArrayOfObjects) {
  EXPECT_TRUE(takesOneByOne(R"([{"path":"a","size":1},{"path":"b.tx","jpegSize":2}])"));
  EXPECT_THAT(describe(list), ElementsAre("a from a, 1", "b.tx from b.jpeg.tx, 2", "capacity 100"));
}

TEST_F(ListEntries, AreNoneInAnEmptyArray) {
  for (const char* text : {"[]", " [ ] ", "\n[\r\n\t]\n"}) {
    EXPECT_TRUE(takesOneByOne(text)) << text;
    EXPECT_EQ(list.count, 0) << text;
    EXPECT_EQ(list.capacity, 0) << text;
    EXPECT_EQ(list.entries, nullptr) << text;
  }
}

TEST_F(ListEntries, MayHaveAnyWhiteSpaceAroundThem) {
  EXPECT_TRUE(takesOneByOne("\r\n [\t{ \"path\" : \"a\" }\n\n,\r{\"path\":\"b\"}\t ] \n"));
  EXPECT_THAT(describe(list), ElementsAre("a from a, 0", "b from b, 0", "capacity 100"));
}

TEST_F(ListEntries, MayHoldBracketsQuotesAndLineBreaksInTheirTexts) {
  EXPECT_TRUE(takesOneByOne("[{\"path\":\"]},{\\\"[\\\\\"},{\"path\":\"a\nb\\u005d\"}]"));
  EXPECT_THAT(describe(list),
              ElementsAre("]},{\"[\\ from ]},{\"[\\, 0", "a\nb] from a\nb], 0", "capacity 100"));
}

TEST_F(ListEntries, MayHoldCommentsAndOtherValues) {
  EXPECT_TRUE(takesOneByOne("[{/*}*/\"path\"://]\n\"a\",\"tags\":[{\"x\":[]},null]}]"));
  EXPECT_THAT(describe(list), ElementsAre("a from a, 0", "capacity 100"));
}

TEST_F(ListEntries, AreTakenOneByOneHoweverManyThereAre) {
  std::string text = R"([{"path":"0"})";
  for (int i = 1; i < 250; ++i)
    text += ",\n{\"path\":\"" + std::to_string(i) + "\"}";
  EXPECT_TRUE(takesOneByOne(text + "]"));
  EXPECT_EQ(list.count, 250);
  EXPECT_EQ(list.capacity, 300);
  expectSameOutcome(text + "]");
}

TEST_F(ListEntries, KeepTheStepOfTheList) {
  list.growStep = 7;
  EXPECT_TRUE(selectOneByOne(downloader, R"([{"path":"a"}])", list));
  EXPECT_EQ(list.growStep, 7);
  EXPECT_EQ(list.capacity, 7);
}

TEST_F(ListEntries, StopAtACommentBetweenThem) {
  for (const char* text :
       {"/**/[{}]", "[/**/{}]", "[{}/**/]", "[{}//\n,{}]", "[{},/**/{}]", "[{}]//", "[/**/]"}) {
    expectLeft(text);
    expectSameOutcome(text);
  }
}

TEST_F(ListEntries, StopAtAnElementThatIsNoObject) {
  for (const char* text : {"[5]", "[{\"path\":\"a\"},5]", "[{},[]]", "[\"{}\"]", "[null,{}]"}) {
    expectLeft(text);
    expectSameOutcome(text);
  }
}

TEST_F(ListEntries, StopAtATextThatIsNoArray) {
  for (const char* text : {"", " ", "{}", "{\"a\":{\"path\":\"b\"}}", "5", "null", "x[{}]",
                           "\xEF\xBB\xBF[{}]", "\f[{}]"}) {
    expectLeft(text);
    expectSameOutcome(text);
  }
}

TEST_F(ListEntries, StopAtACommaThatIsMissingOrTooMany) {
  for (const char* text : {"[{\"path\":\"a\"}{}]", "[{},]", "[,{}]", "[{},,{}]", "[,]",
                           "[{\"a\":1,}]", "[{} {}]", "[{}:{}]"}) {
    expectLeft(text);
    expectSameOutcome(text);
  }
}

TEST_F(ListEntries, StopAtWhateverFollowsTheArray) {
  for (const std::string& text : {"[{}]]"s, "[{}] x"s, "[] []"s, "[{}],"s, "[{}]\0"s}) {
    expectLeft(text);
    expectSameOutcome(text);
  }
}

TEST_F(ListEntries, StopWhereTheTextIsCut) {
  const std::string text = R"([{"path":"a","size":12},{"path":"b\u00e9","tags":[true,-1.5e3]}])";
  for (std::size_t length = 0; length < text.size(); ++length) {
    expectLeft(text.substr(0, length));
    expectSameOutcome(text.substr(0, length));
  }
}

TEST_F(ListEntries, StopAtAnObjectThatTheParserRefuses) {
  for (const std::string& member :
       {"\"\\x\""s, "tru"s, "NaN"s, "Infinity"s, "1e999999"s, "\"\\ud83d\""s, "'a'"s, "\0"s,
        "0x10"s, "\"a"s, "[1,]"s, "/*"s}) {
    const std::string text = R"([{"path":"a"},{"path":"b","size":)" + member + "},{}]";
    expectLeft(text);
    expectSameOutcome(text);
  }
}

TEST_F(ListEntries, StopAtAnEntryThatIsRefused) {
  for (const char* text : {R"([{"path":"a"},{"path":"../x"},{"path":"b"}])",
                           R"([{"path":"a"},{"path":"b.png","jpegSize":4},{"path":"c"}])",
                           // The error after it is the one that is reported.
                           R"([{"path":"../x"},{"path":"a")"}) {
    expectLeft(text);
    expectSameOutcome(text);
  }
}

TEST_F(ListEntries, StopLongBeforeTheParserDoesAtDeepNesting) {
  const std::string head = R"([{"path":"a","tags":)";
  EXPECT_TRUE(takesOneByOne(head + nestedArrays(99) + "}]"));
  expectLeft(head + nestedArrays(100) + "}]");
  for (const int levels : {99, 100, 101, 996, 997, 998, 999, 1000, 1001, 100000}) {
    expectSameOutcome(head + nestedArrays(levels) + "}]");
    expectSameOutcome(head + nestedArrays(levels) + "},5]");
  }
}

TEST_F(ListEntries, AreNotTakenOneByOneIntoAListThatHasSome) {
  EXPECT_TRUE(takesOneByOne(R"([{"path":"a"}])"));
  EXPECT_FALSE(selectOneByOne(downloader, R"([{"path":"b"}])", list));
  EXPECT_THAT(describe(list), ElementsAre("a from a, 0", "capacity 100"));
  ErrorChain error;
  selectEntries(downloader, R"([{"path":"b"}])", list, error);
  EXPECT_FALSE(error);
  EXPECT_THAT(describe(list), ElementsAre("a from a, 0", "b from b, 0", "capacity 100"));
}

// Generated texts.

class Generator {
 public:
  /// A list as a server should send it, with what may differ in it.
  std::string list() {
    std::string text = space() + "[" + space();
    const std::size_t count = below(6);
    for (std::size_t i = 0; i < count; ++i)
      text += (i > 0 ? "," : "") + space() + entry() + space();
    return text + "]" + space();
  }

  /// The same with something done to it.
  std::string damaged(std::string text) {
    const std::size_t place = below(text.size());
    switch (below(5)) {
      case 0:
        return text.substr(0, place);
      case 1:
        return text.erase(place, 1 + below(4));
      case 2:
        return text.insert(place, text.substr(below(text.size()), 1 + below(20)));
      case 3:
        text[place] = static_cast<char>(below(256));
        return text;
      default:
        return text.insert(place, oneOf({",",    "/**/", "//\n", "/*",  "[",
                                         "]",    "{",    "}",    "\"",  "\\",
                                         ":",    "{}",   "[]",   "\0"s, "\xEF\xBB\xBF",
                                         "\xFF", "\r\n", "null", "1",   "{\"path\":\"../x\"},"}));
    }
  }

  std::size_t below(std::size_t limit) { return random_() % limit; }

 private:
  std::string oneOf(const std::vector<std::string>& choices) {
    return choices[below(choices.size())];
  }

  std::string space() { return below(4) > 0 ? "" : oneOf({" ", "\n", "\t", "\r\n  "}); }

  std::string entry() {
    std::string text = "{" + space();
    const std::size_t count = below(5);
    for (std::size_t i = 0; i < count; ++i)
      text += (i > 0 ? "," : "") + space() + member() + space();
    return text + "}";
  }

  std::string member() {
    switch (below(5)) {
      case 0:
        return R"("download":)" + space() +
               oneOf({R"("always")", R"("missing")", R"("never")", "1"});
      case 1:
        return R"("size":)" + space() + number();
      case 2:
        return R"("jpegSize":)" + space() + (below(8) > 0 ? "0" : number());
      case 3:
        return oneOf({R"("tags")", R"("")", R"("pa\u0074h")"}) + ":" + value();
      default:
        return R"("path":)" + path();
    }
  }

  std::string path() {
    return oneOf({R"("a")", R"("maps/oak.tx")", R"("maps\\ash.tx")", R"("here")", R"("\u00e9.tx")",
                  R"("]},{\"[")", R"("")", R"("b\u0000c")", "\"\xFF\xC0\"", R"("\ud83d\ude00")",
                  "5", below(20) > 0 ? R"("d")" : R"("../x")"});
  }

  std::string number() {
    return oneOf({"0", "7", "-1", "12.0", "1.5", "1e3", "9223372036854775808", "2147483648",
                  "18446744073709551616", R"("12")", "true", below(20) > 0 ? "3" : "1e999999"});
  }

  std::string value() {
    return oneOf({"[]", "{}", R"([1,"2",[null,{"a":[false]}]])", R"({"path":"x","path":"y"})",
                  "\"/* \n\t */\"", "1 /* one */", nestedArrays(below(20) > 0 ? 3 : 998)});
  }

  std::mt19937 random_{20260101};
};

TEST_F(ListEntries, AreTheSameBothWaysInGeneratedTexts) {
  writeFile(directory / "here", "here");
  Generator generate;
  int taken = 0;
  int left = 0;
  for (int i = 0; i < 20000 && !HasFailure(); ++i) {
    std::string text = generate.list();
    for (std::size_t times = generate.below(3); times > 0 && !text.empty(); --times)
      text = generate.damaged(text);
    expectSameOutcome(text);
    ++(takesOneByOne(text) ? taken : left);
  }
  EXPECT_GT(taken, 5000);
  EXPECT_GT(left, 5000);
}

}  // namespace
