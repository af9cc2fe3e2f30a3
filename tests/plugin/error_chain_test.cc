// Tests error chains: making, extending, printing, sharing and releasing them.
#include "plugin/error_chain.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string format(const ErrorChain& chain, std::int32_t size) {
  std::vector<char> buffer(static_cast<std::size_t>(size) + 1, 'x');
  formatErrorChain(chain, buffer.data(), size);
  EXPECT_EQ(buffer.back(), 'x') << "written past the end";
  return buffer.data();
}

std::string toString(const ErrorChain& chain) {
  return errorChainToString(chain).text();
}

// [DownloaderImpl::download] -1: Create download directory failed | 3
ErrorChain makeTwoRecords() {
  ErrorChain chain;
  setError(chain, nullptr, 3, nullptr);
  pushError(chain, "DownloaderImpl::download", -1, "Create download directory failed");
  return chain;
}

// Records of another module, which counts those that come back.
class ForeignRecords {
 public:
  ForeignRecords() { deleted.clear(); }

  static ErrorChain make(std::int32_t code) {
    auto* record = new ErrorRecord{};
    record->code = code;
    record->deleter = &ForeignRecords::destroy;
    record->refCount = 1;
    ErrorChain chain;
    chain.head = record;
    return chain;
  }

  static void destroy(void* block) {
    auto* record = static_cast<ErrorRecord*>(block);
    EXPECT_EQ(record->next, nullptr);
    deleted.push_back(record->code);
    delete record;
  }

  static std::vector<int> deleted;
};

std::vector<int> ForeignRecords::deleted;

TEST(SetError, FillsARecord) {
  static const char kTag[] = "DownloaderImpl::saveFile";
  ErrorChain chain;
  setError(chain, kTag, -1, "%s: %d", "count", 5);
  ASSERT_TRUE(chain);
  EXPECT_EQ(chain.head->tag, kTag);
  EXPECT_STREQ(chain.head->message, "count: 5");
  EXPECT_EQ(chain.head->code, -1);
  EXPECT_EQ(chain.head->next, nullptr);
  EXPECT_EQ(chain.head->deleter, &std::free);
  EXPECT_EQ(chain.head->refCount, 1U);
}

TEST(SetError, WithoutAFormatLeavesTheMessageEmpty) {
  ErrorChain chain;
  setError(chain, "A::b", 5, nullptr);
  EXPECT_STREQ(chain.head->message, "");
}

TEST(SetError, OverwritesWithoutReleasing) {
  ErrorChain chain;
  setError(chain, "A::b", 1, "first");
  ErrorRecord* first = chain.head;
  setError(chain, "A::b", 2, "second");
  EXPECT_STREQ(chain.head->message, "second");
  EXPECT_EQ(chain.head->next, nullptr);
  EXPECT_EQ(first->refCount, 1U);
  releaseErrorRecord(first);
}

TEST(SetError, KeepsTheFirst510CharactersOfAMessage) {
  const std::string message = std::string(508, 'a') + "bcdefgh" + std::string(85, 'i');
  const std::pair<int, std::string> kept[] = {{0, ""},
                                              {1, "a"},
                                              {509, std::string(508, 'a') + "b"},
                                              {510, std::string(508, 'a') + "bc"},
                                              {511, std::string(508, 'a') + "bc"},
                                              {512, std::string(508, 'a') + "bc"},
                                              {513, std::string(508, 'a') + "bc"},
                                              {600, std::string(508, 'a') + "bc"}};
  for (const auto& [length, expected] : kept) {
    ErrorChain chain;
    setError(chain, "A::b", -1, "%.*s", length, message.c_str());
    EXPECT_EQ(chain.head->message, expected) << length;
    EXPECT_EQ(chain.head->code, -1);
    pushError(chain, "A::b", -1, "%.*s", length, message.c_str());
    EXPECT_EQ(chain.head->message, expected) << length;
  }
}

TEST(SetError, LeavesTheLastByteOfTheFieldAlone) {
  const ErrorChain chain = makeError("A::b", -1, "%s", std::string(600, 'a').c_str());
  EXPECT_EQ(chain.head->message[509], 'a');
  EXPECT_EQ(chain.head->message[510], '\0');
  EXPECT_EQ(chain.head->message[511], '\0');
}

TEST(SetError, TakesATagOfNull) {
  ErrorChain chain;
  setError(chain, nullptr, 2147483647, "why");
  pushError(chain, nullptr, -2147483647 - 1, nullptr);
  EXPECT_EQ(chain.head->tag, nullptr);
  EXPECT_EQ(chain.head->next->tag, nullptr);
  EXPECT_EQ(toString(chain), "-2147483648 | 2147483647: why");
  EXPECT_EQ(format(chain, 100), "-2147483648 | 2147483647: why");
}

TEST(PushError, PutsTheRecordOnTopOfTheCause) {
  ErrorChain chain;
  setError(chain, "A::b", 5, "cause");
  ErrorRecord* cause = chain.head;
  pushError(chain, "C::d", -1, "effect");
  EXPECT_STREQ(chain.head->tag, "C::d");
  EXPECT_STREQ(chain.head->message, "effect");
  EXPECT_EQ(chain.head->next, cause);
  EXPECT_EQ(cause->refCount, 1U);
  EXPECT_EQ(chain.head->refCount, 1U);
  EXPECT_EQ(chain.head->code, -1);
  EXPECT_EQ(chain.head->deleter, &std::free);
}

TEST(PushError, MayUseTheTextOfTheCause) {
  ErrorChain chain = makeError("A::b", 5, "cause");
  pushError(chain, "C::d", -1, "because of \"%s\"", chain.head->message);
  EXPECT_EQ(toString(chain), "[C::d] -1: because of \"cause\" | [A::b] 5: cause");
}

TEST(PushError, OnAnEmptyChainMakesOneRecord) {
  ErrorChain chain;
  pushError(chain, "A::b", -1, "message");
  EXPECT_EQ(toString(chain), "[A::b] -1: message");
  EXPECT_EQ(chain.head->next, nullptr);
}

TEST(MakeError, GivesAChainOfOneRecord) {
  const ErrorChain chain = makeError("A::b", 7, "%d", 8);
  EXPECT_EQ(toString(chain), "[A::b] 7: 8");
  EXPECT_EQ(chain.head->refCount, 1U);
}

TEST(ErrorCode, CountsFromTheNewestRecord) {
  const ErrorChain chain = makeTwoRecords();
  EXPECT_EQ(errorCode(chain, 0), -1);
  EXPECT_EQ(errorCode(chain, 1), 3);
}

TEST(ErrorCode, BeyondTheLastRecordIsZero) {
  EXPECT_EQ(errorCode(makeError("A::b", 7, nullptr), 1), 0);
  EXPECT_EQ(errorCode(makeTwoRecords(), 2), 0);
  EXPECT_EQ(errorCode(makeTwoRecords(), 2147483647), 0);
}

TEST(ErrorCode, OfAnEmptyChainIsZero) {
  EXPECT_EQ(errorCode(ErrorChain(), 0), 0);
  EXPECT_EQ(errorCode(ErrorChain(), 1), 0);
}

TEST(ErrorChainText, OfAnEmptyChainIsNoError) {
  EXPECT_EQ(toString(ErrorChain()), "No error");
  EXPECT_EQ(format(ErrorChain(), 100), "No error");
}

TEST(ErrorChainText, HoldsTheRecordsNewestFirst) {
  const char* expected = "[DownloaderImpl::download] -1: Create download directory failed | 3";
  EXPECT_EQ(toString(makeTwoRecords()), expected);
  EXPECT_EQ(format(makeTwoRecords(), 100), expected);
}

TEST(ErrorChainText, OfARecordWithoutTagAndMessageIsItsCode) {
  EXPECT_EQ(toString(makeError(nullptr, 3, nullptr)), "3");
  EXPECT_EQ(format(makeError(nullptr, 3, nullptr), 100), "3");
}

TEST(ErrorChainText, OfARecordWithoutATagIsCodeAndMessage) {
  EXPECT_EQ(toString(makeError(nullptr, 3, "why")), "3: why");
  EXPECT_EQ(format(makeError(nullptr, 3, "why"), 100), "3: why");
}

TEST(ErrorChainText, OfARecordWithoutAMessageIsTagAndCode) {
  EXPECT_EQ(toString(makeError("A::b", -2, nullptr)), "[A::b] -2");
  EXPECT_EQ(format(makeError("A::b", -2, nullptr), 100), "[A::b] -2");
}

TEST(ErrorChainText, HasNoLengthLimit) {
  ErrorChain chain;
  std::string expected;
  for (int i = 0; i < 20; ++i) {
    pushError(chain, nullptr, 1, "%s", std::string(500, 'a').c_str());
    expected += (i > 0 ? " | 1: " : "1: ") + std::string(500, 'a');
  }
  EXPECT_EQ(toString(chain), expected);
}

TEST(ErrorChainText, DoesNotInterpretPercentSigns) {
  EXPECT_EQ(toString(makeError("A::b", 1, "%s", "100%s")), "[A::b] 1: 100%s");
  EXPECT_EQ(format(makeError("A::b", 1, "%s", "100%s"), 100), "[A::b] 1: 100%s");
}

TEST(FormatErrorChain, OfSizeOneWritesASingleZeroByte) {
  char buffer[2] = {'x', 'x'};
  formatErrorChain(makeTwoRecords(), buffer, 1);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], 'x');
  buffer[0] = 'x';
  formatErrorChain(ErrorChain(), buffer, 1);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], 'x');
}

TEST(FormatErrorChain, OfSizeZeroWritesNothing) {
  char buffer[1] = {'x'};
  formatErrorChain(makeTwoRecords(), buffer, 0);
  formatErrorChain(ErrorChain(), buffer, 0);
  EXPECT_EQ(buffer[0], 'x');
}

// What fits of a text whose pieces are cut or dropped: each text holds from its size on.
using Cuts = std::vector<std::pair<std::int32_t, std::string>>;

void expectCuts(const ErrorChain& chain, const Cuts& cuts) {
  std::size_t current = 0;
  for (std::int32_t size = 1; size < cuts.back().first + 10; ++size) {
    if (current + 1 < cuts.size() && cuts[current + 1].first == size) ++current;
    EXPECT_EQ(format(chain, size), cuts[current].second) << "size " << size;
  }
}

TEST(FormatErrorChain, CutsNoErrorAtAnyCharacter) {
  expectCuts(ErrorChain(), {{1, ""},
                            {2, "N"},
                            {3, "No"},
                            {4, "No "},
                            {5, "No e"},
                            {6, "No er"},
                            {7, "No err"},
                            {8, "No erro"},
                            {9, "No error"}});
}

TEST(FormatErrorChain, DropsATagOrMessageThatDoesNotFit) {
  expectCuts(makeError("A::b", 7, "message"), {{1, ""}, {8, "[A::b] "}, {18, "[A::b] 7: message"}});
}

TEST(FormatErrorChain, DropsACodeThatDoesNotFit) {
  expectCuts(makeError(nullptr, -123, nullptr), {{1, ""}, {5, "-123"}});
  expectCuts(makeError("A::b", -123, nullptr), {{1, ""}, {8, "[A::b] "}, {12, "[A::b] -123"}});
  expectCuts(makeError(nullptr, -123, "why"), {{1, ""}, {10, "-123: why"}});
}

TEST(FormatErrorChain, CutsEachPieceOfALongChainByItsRule) {
  ErrorChain chain;
  setError(chain, nullptr, 12, "x");
  pushError(chain, "C::d", 7, nullptr);
  pushError(chain, nullptr, 3, nullptr);
  pushError(chain, "A::b", -1, "why");
  ASSERT_EQ(toString(chain), "[A::b] -1: why | 3 | [C::d] 7 | 12: x");
  expectCuts(chain, {{1, ""},
                     {8, "[A::b] "},
                     {15, "[A::b] -1: why"},
                     {16, "[A::b] -1: why "},
                     {17, "[A::b] -1: why |"},
                     {18, "[A::b] -1: why | "},
                     {19, "[A::b] -1: why | 3"},
                     {20, "[A::b] -1: why | 3 "},
                     {21, "[A::b] -1: why | 3 |"},
                     {22, "[A::b] -1: why | 3 | "},
                     {29, "[A::b] -1: why | 3 | [C::d] "},
                     {30, "[A::b] -1: why | 3 | [C::d] 7"},
                     {31, "[A::b] -1: why | 3 | [C::d] 7 "},
                     {32, "[A::b] -1: why | 3 | [C::d] 7 |"},
                     {33, "[A::b] -1: why | 3 | [C::d] 7 | "},
                     {38, "[A::b] -1: why | 3 | [C::d] 7 | 12: x"}});
}

TEST(FormatErrorChain, OfANegativeSizeWritesNothing) {
  char buffer[1] = {'x'};
  formatErrorChain(makeTwoRecords(), buffer, -1);
  formatErrorChain(ErrorChain(), buffer, -2147483647 - 1);
  EXPECT_EQ(buffer[0], 'x');
}

TEST(ReleaseErrorChain, LeavesTheHolderEmpty) {
  ErrorChain chain = makeTwoRecords();
  releaseErrorChain(chain);
  EXPECT_EQ(chain.head, nullptr);
  releaseErrorChain(chain);
  EXPECT_EQ(chain.head, nullptr);
}

TEST(ReleaseErrorChain, FreesNothingWhileAnotherHoldsTheHead) {
  ForeignRecords::deleted.clear();
  ErrorChain chain = ForeignRecords::make(1);
  ErrorChain other = chain;
  EXPECT_EQ(chain.head->refCount, 2U);
  releaseErrorChain(chain);
  EXPECT_EQ(chain.head, nullptr);
  EXPECT_THAT(ForeignRecords::deleted, IsEmpty());
  EXPECT_EQ(other.head->refCount, 1U);
  EXPECT_EQ(errorCode(other, 0), 1);
}

TEST(ReleaseErrorChain, OfTheLastHolderFreesEveryRecordOnceTheCauseFirst) {
  ForeignRecords::deleted.clear();
  ErrorChain chain = ForeignRecords::make(1);
  ErrorChain cause = ForeignRecords::make(2);
  chain.head->next = std::exchange(cause.head, nullptr);
  releaseErrorChain(chain);
  EXPECT_THAT(ForeignRecords::deleted, ElementsAre(2, 1));
}

TEST(ReleaseErrorChain, FreesRecordsOfSeveralModulesThroughTheirOwnDeleters) {
  ForeignRecords::deleted.clear();
  ErrorChain chain = ForeignRecords::make(7);
  pushError(chain, "A::b", -1, "ours");
  EXPECT_EQ(toString(chain), "[A::b] -1: ours | 7");
  releaseErrorChain(chain);
  EXPECT_THAT(ForeignRecords::deleted, ElementsAre(7));
}

TEST(ReleaseErrorChain, KeepsACauseThatAnotherHolds) {
  ForeignRecords::deleted.clear();
  ErrorChain chain = ForeignRecords::make(7);
  const ErrorChain cause = chain;
  pushError(chain, "A::b", -1, "effect");
  releaseErrorChain(chain);
  EXPECT_THAT(ForeignRecords::deleted, IsEmpty());
  EXPECT_EQ(cause.head->refCount, 1U);
}

TEST(ErrorChain, IsReleasedByItsDestructor) {
  ForeignRecords::deleted.clear();
  { const ErrorChain chain = ForeignRecords::make(1); }
  EXPECT_THAT(ForeignRecords::deleted, ElementsAre(1));
}

TEST(ErrorChain, MovingAddsNoReference) {
  ErrorChain chain = makeTwoRecords();
  const ErrorChain moved = std::move(chain);
  EXPECT_FALSE(chain);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(moved.head->refCount, 1U);
}

TEST(ErrorChain, AssignmentReleasesTheOldChain) {
  ForeignRecords::deleted.clear();
  ErrorChain chain = ForeignRecords::make(1);
  const ErrorChain other = ForeignRecords::make(2);
  chain = other;
  EXPECT_THAT(ForeignRecords::deleted, ElementsAre(1));
  EXPECT_EQ(other.head->refCount, 2U);
}

TEST(ErrorChain, SelfAssignmentKeepsTheChain) {
  ErrorChain chain = makeTwoRecords();
  const ErrorChain& alias = chain;
  chain = alias;
  EXPECT_EQ(chain.head->refCount, 1U);
}

TEST(BoundedFormat, ReturnsTheNumberOfCharactersWhenTheTerminatorFitsToo) {
  const struct {
    std::int32_t size;
    std::int32_t result;
    const char* text;
  } cases[] = {{1, -1, ""},       {2, -1, "1"},      {3, -1, "12"},    {6, -1, "12-ab"},
               {7, -1, "12-abc"}, {8, 7, "12-abcd"}, {9, 7, "12-abcd"}};
  for (const auto& [size, result, text] : cases) {
    char buffer[12];
    std::memset(buffer, 'x', sizeof(buffer));
    EXPECT_EQ(boundedFormat(buffer, size, "%d-%s", 12, "abcd"), result) << size;
    EXPECT_STREQ(buffer, text);
    EXPECT_EQ(buffer[size - 1], '\0');
    EXPECT_EQ(buffer[size], 'x') << size;
  }
}

TEST(BoundedFormat, OfAnEmptyTextReturnsZero) {
  char buffer[2] = {'x', 'x'};
  EXPECT_EQ(boundedFormat(buffer, 1, "%s", ""), 0);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], 'x');
}

TEST(BoundedFormat, LeavesTheLastByteZero) {
  char buffer[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(boundedFormat(buffer, 8, "ab"), 2);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(buffer[7], '\0');
}

TEST(BoundedFormat, BelowSizeOneWritesNothing) {
  char buffer[1] = {'x'};
  EXPECT_EQ(boundedFormat(buffer, 0, "abc"), 0);
  EXPECT_EQ(boundedFormat(buffer, -1, "abc"), 0);
  EXPECT_EQ(buffer[0], 'x');
}

}  // namespace
