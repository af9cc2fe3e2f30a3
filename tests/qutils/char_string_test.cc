// Tests CharString: sharing, copying on write, and records that another module made.
#include "mtllib/char_string.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using QUtils::boundedCopy;
using QUtils::CharString;
using QUtils::CharStringBuffer;

// The allocator of another module: its blocks begin within a larger block, so that the
// C runtime's own realloc and free would stumble over them.
class ForeignModule {
 public:
  ForeignModule() { reset(); }

  static void reset() {
    live.clear();
    reallocCalls = 0;
    failing = false;
  }

  static CharString makeText(const char* text) {
    auto* record = new (reallocate(nullptr, sizeof(CharStringBuffer)))
        CharStringBuffer{&ForeignModule::reallocate, &ForeignModule::free, nullptr, {1}};
    record->data = static_cast<char*>(reallocate(nullptr, std::strlen(text) + 1));
    std::memcpy(record->data, text, std::strlen(text) + 1);
    reallocCalls = 0;
    CharString result;
    std::memcpy(static_cast<void*>(&result), &record, sizeof(void*));
    return result;
  }

  static void* reallocate(void* block, std::size_t size) {
    ++reallocCalls;
    if (failing) return nullptr;
    if (block != nullptr) {
      EXPECT_EQ(live.erase(block), 1U) << "a block of another module";
      block = static_cast<char*>(block) - kOffset;
    }
    const bool isNew = block == nullptr;
    auto* whole = static_cast<char*>(std::realloc(block, size + kOffset));
    if (isNew) std::memset(whole, 'x', size + kOffset);
    char* fresh = whole + kOffset;
    live.insert(fresh);
    lastSize = size;
    return fresh;
  }

  static void free(void* block) {
    if (block == nullptr) return;
    EXPECT_EQ(live.erase(block), 1U) << "a block of another module, or freed twice";
    std::free(static_cast<char*>(block) - kOffset);
  }

  static constexpr std::size_t kOffset = 16;
  static std::set<void*> live;
  static int reallocCalls;
  static std::size_t lastSize;
  static bool failing;
};

std::set<void*> ForeignModule::live;
int ForeignModule::reallocCalls = 0;
std::size_t ForeignModule::lastSize = 0;
bool ForeignModule::failing = false;

TEST(CharString, IsEmptyWithoutARecordByDefault) {
  const CharString text;
  EXPECT_STREQ(text.text(), "");
  EXPECT_EQ(text.buffer(), nullptr);
  EXPECT_TRUE(text.empty());
}

TEST(CharString, CopiesTheTextItIsMadeFrom) {
  char source[] = "abc";
  const CharString text(source);
  source[0] = 'x';
  EXPECT_STREQ(text.text(), "abc");
  EXPECT_EQ(text.length(), 3U);
  EXPECT_EQ(text.buffer()->refCount.load(), 1U);
}

TEST(CharString, MadeFromNullIsEmpty) {
  EXPECT_EQ(CharString(nullptr).buffer(), nullptr);
}

TEST(CharString, MadeFromAnEmptyTextHoldsARecord) {
  const CharString text("");
  ASSERT_NE(text.buffer(), nullptr);
  EXPECT_STREQ(text.buffer()->data, "");
}

TEST(CharString, CopiesShareTheRecord) {
  const CharString first("abc");
  const CharString second(first);  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(first.buffer(), second.buffer());
  EXPECT_EQ(first.buffer()->refCount.load(), 2U);
}

TEST(CharString, CopyAssignmentSharesAndReleasesTheOldRecord) {
  ForeignModule::reset();
  CharString target = ForeignModule::makeText("old");
  const CharString source("new");
  target = source;
  EXPECT_EQ(target.buffer(), source.buffer());
  EXPECT_EQ(source.buffer()->refCount.load(), 2U);
  EXPECT_THAT(ForeignModule::live, testing::IsEmpty());
}

TEST(CharString, AssignedToItselfDoesNotChange) {
  CharString text("abc");
  const CharString& alias = text;
  text = alias;
  EXPECT_STREQ(text.text(), "abc");
  EXPECT_EQ(text.buffer()->refCount.load(), 1U);
}

TEST(CharString, MoveConstructionTakesTheRecord) {
  CharString source("abc");
  const CharStringBuffer* record = source.buffer();
  const CharString target(std::move(source));
  EXPECT_EQ(target.buffer(), record);
  EXPECT_EQ(source.buffer(), nullptr);  // NOLINT: that it is empty is the point
}

TEST(CharString, MoveAssignmentTakesTheRecord) {
  CharString source("abc");
  CharString target("old");
  target = std::move(source);
  EXPECT_STREQ(target.text(), "abc");
  EXPECT_EQ(source.buffer(), nullptr);  // NOLINT: that it is empty is the point
}

TEST(CharString, MoveAssignmentBetweenSharersDoesNothing) {
  CharString source("abc");
  CharString target(source);
  target = std::move(source);
  EXPECT_EQ(source.buffer(), target.buffer());  // NOLINT: that it is empty is the point
  EXPECT_EQ(target.buffer()->refCount.load(), 2U);
}

TEST(CharString, AssigningItsOwnTextAllocatesNothing) {
  ForeignModule::reset();
  CharString text = ForeignModule::makeText("abc");
  const char* data = text.text();
  text.assign(data);
  EXPECT_EQ(text.text(), data);
  EXPECT_STREQ(text.text(), "abc");
  EXPECT_EQ(ForeignModule::reallocCalls, 0);
}

TEST(CharString, AssigningAPartOfItselfKeepsThatPart) {
  CharString text("abcdef");
  text.assign(std::strstr(text.text(), "def"));
  EXPECT_STREQ(text.text(), "def");
}

TEST(CharString, AssigningToASharerLeavesTheOtherUntouched) {
  CharString first("abc");
  const CharString second(first);
  first.assign("longer text");
  EXPECT_STREQ(first.text(), "longer text");
  EXPECT_STREQ(second.text(), "abc");
  EXPECT_EQ(second.buffer()->refCount.load(), 1U);
}

TEST(CharString, AssigningNullReleasesTheRecord) {
  ForeignModule::reset();
  CharString text = ForeignModule::makeText("abc");
  text.assign(nullptr);
  EXPECT_EQ(text.buffer(), nullptr);
  EXPECT_STREQ(text.text(), "");
  EXPECT_THAT(ForeignModule::live, testing::IsEmpty());
}

TEST(CharString, AssigningALengthCopiesNoMore) {
  CharString text;
  text.assign("abcdef", 4);
  EXPECT_STREQ(text.text(), "abcd");
}

TEST(CharString, AssigningALengthStopsAtAZeroByte) {
  CharString text;
  text.assign("ab\0cd", 5);
  EXPECT_STREQ(text.text(), "ab");
}

TEST(CharString, AssigningALengthOfZeroReleasesTheRecord) {
  CharString text("abc");
  text.assign("xyz", 0);
  EXPECT_EQ(text.buffer(), nullptr);
}

TEST(CharString, AssigningNullWithALengthReleasesTheRecord) {
  CharString text("abc");
  text.assign(nullptr, 3);
  EXPECT_EQ(text.buffer(), nullptr);
}

TEST(CharString, AssigningALengthOfItselfCutsIt) {
  CharString text("abcdef");
  text.assign(text.text(), 2);
  EXPECT_STREQ(text.text(), "ab");
}

TEST(CharString, AssigningALengthAtTheTextsOwnTakesItWhole) {
  CharString text;
  text.assign("abc", 2);
  EXPECT_STREQ(text.text(), "ab");
  text.assign("abc", 3);
  EXPECT_STREQ(text.text(), "abc");
  text.assign("abc", 4);
  EXPECT_STREQ(text.text(), "abc");
}

TEST(CharString, AppendingNullOrNothingChangesNothing) {
  CharString text("abc");
  const char* data = text.text();
  text.append(nullptr);
  text.append("");
  EXPECT_EQ(text.text(), data);
  EXPECT_STREQ(text.text(), "abc");
}

TEST(CharString, AppendingToAnEmptyOneAssigns) {
  CharString text;
  text.append("abc");
  EXPECT_STREQ(text.text(), "abc");
}

TEST(CharString, AppendingToASharerLeavesTheOtherUntouched) {
  CharString first("ab");
  const CharString second(first);
  first.append("c");
  EXPECT_STREQ(first.text(), "abc");
  EXPECT_STREQ(second.text(), "ab");
}

TEST(CharString, AppendedToItselfDoubles) {
  CharString text("abc");
  text.append(text.text());
  EXPECT_STREQ(text.text(), "abcabc");
}

TEST(CharString, AppendingAPartOfItselfAppendsThatPart) {
  CharString text("abcdef");
  text.append(text.text() + 4);
  EXPECT_STREQ(text.text(), "abcdefef");
}

TEST(CharString, ConcatenationWithAnEmptyTextSharesTheLeftRecord) {
  const CharString left("ab");
  const CharString result = left + "";
  EXPECT_EQ(result.buffer(), left.buffer());
}

TEST(CharString, ConcatenationOfNoTextIsTheRightOne) {
  const CharString none;
  EXPECT_STREQ((none + "c").text(), "c");
  EXPECT_EQ((none + "").buffer(), nullptr);
  EXPECT_EQ(none.buffer(), nullptr);
}

TEST(CharString, ConcatenationWithItselfDoubles) {
  const CharString text("ab");
  EXPECT_STREQ((text + text).text(), "abab");
  EXPECT_STREQ(text.text(), "ab");
}

TEST(CharString, ConcatenationMakesARecordOfItsOwn) {
  const CharString left("ab");
  const CharString result = left + "c";
  EXPECT_STREQ(result.text(), "abc");
  EXPECT_STREQ(left.text(), "ab");
  EXPECT_NE(result.buffer(), left.buffer());
  EXPECT_EQ(left.buffer()->refCount.load(), 1U);
}

TEST(CharString, ConcatenationOfAForeignRecordMakesOneOfOurs) {
  ForeignModule::reset();
  const CharString left = ForeignModule::makeText("ab");
  const CharString result = left + CharString("c");
  EXPECT_STREQ(result.text(), "abc");
  EXPECT_EQ(result.buffer()->reallocFn, &QUtils::qrealloc);
  EXPECT_EQ(result.buffer()->freeFn, &QUtils::qfree);
  EXPECT_EQ(ForeignModule::reallocCalls, 0);
}

TEST(CharString, AForeignRecordIsResizedOnlyThroughItsOwnFunction) {
  ForeignModule::reset();
  {
    CharString text = ForeignModule::makeText("ab");
    text.assign("abcdef");
    EXPECT_EQ(ForeignModule::reallocCalls, 1);
    EXPECT_EQ(ForeignModule::lastSize, 7U);
    text.append("gh");
    EXPECT_EQ(ForeignModule::reallocCalls, 2);
    EXPECT_EQ(ForeignModule::lastSize, 9U);
    EXPECT_STREQ(text.text(), "abcdefgh");
  }
  EXPECT_THAT(ForeignModule::live, testing::IsEmpty());
}

TEST(CharString, AForeignRecordIsFreedOnceByTheLastOfItsSharers) {
  ForeignModule::reset();
  CharString first = ForeignModule::makeText("ab");
  CharString second(first);
  first.release();
  EXPECT_THAT(ForeignModule::live, testing::SizeIs(2));
  EXPECT_STREQ(second.text(), "ab");
  second.release();
  EXPECT_THAT(ForeignModule::live, testing::IsEmpty());
}

// Another module's free function, which looks at the record that comes back.
struct FreedRecord {
  static void free(void* block) {
    if (block == record->data) {
      order += "text ";
      return;
    }
    EXPECT_EQ(block, record);
    EXPECT_EQ(record->data, nullptr);
    EXPECT_EQ(record->refCount.load(), 0U);
    order += "record";
  }

  static inline CharStringBuffer* record = nullptr;
  static inline std::string order;
};

TEST(CharString, TheTextIsFreedFirstAndARecordIsClearedBeforeItGoes) {
  char data[] = "abc";
  CharStringBuffer record{&ForeignModule::reallocate, &FreedRecord::free, data, {1}};
  FreedRecord::record = &record;
  FreedRecord::order.clear();
  CharStringBuffer* address = &record;
  CharString text;
  std::memcpy(static_cast<void*>(&text), &address, sizeof(void*));
  text.release();
  EXPECT_EQ(FreedRecord::order, "text record");
  EXPECT_EQ(text.buffer(), nullptr);
}

TEST(CharString, AForeignRecordThatIsSharedIsNeverChanged) {
  ForeignModule::reset();
  CharString assigned = ForeignModule::makeText("ab");
  CharString assignedLength(assigned);
  CharString appended(assigned);
  const CharString kept(assigned);
  EXPECT_EQ(kept.buffer()->refCount.load(), 4U);
  assigned.assign("abcdef");
  EXPECT_EQ(kept.buffer()->refCount.load(), 3U);
  assignedLength.assign("abcdef", 4);
  EXPECT_EQ(kept.buffer()->refCount.load(), 2U);
  appended.append("c");
  EXPECT_EQ(kept.buffer()->refCount.load(), 1U);
  EXPECT_STREQ(kept.text(), "ab");
  EXPECT_EQ(ForeignModule::reallocCalls, 0);
  for (const CharString* text : {&assigned, &assignedLength, &appended}) {
    EXPECT_EQ(text->buffer()->reallocFn, &QUtils::qrealloc);
    EXPECT_EQ(text->buffer()->freeFn, &QUtils::qfree);
    EXPECT_EQ(text->buffer()->refCount.load(), 1U);
  }
}

TEST(CharString, AForeignRecordThatIsNoLongerSharedIsChangedInPlace) {
  ForeignModule::reset();
  CharString text = ForeignModule::makeText("ab");
  CharString sharer(text);
  sharer.release();
  const CharStringBuffer* record = text.buffer();
  text.assign("abcdef", 4);
  EXPECT_STREQ(text.text(), "abcd");
  EXPECT_EQ(text.buffer(), record);
  EXPECT_EQ(ForeignModule::reallocCalls, 1);
  EXPECT_EQ(ForeignModule::lastSize, 5U);
}

TEST(CharString, AForeignRecordAppendedToItselfStaysWithItsModule) {
  ForeignModule::reset();
  {
    CharString text = ForeignModule::makeText("ab");
    text.append(text.text());
    EXPECT_STREQ(text.text(), "abab");
  }
  EXPECT_THAT(ForeignModule::live, testing::IsEmpty());
}

TEST(CharString, BecomesEmptyWhenAssigningRunsOutOfMemory) {
  ForeignModule::reset();
  {
    CharString text = ForeignModule::makeText("ab");
    ForeignModule::failing = true;
    text.assign("abcdef");
    EXPECT_STREQ(text.text(), "");
    EXPECT_EQ(text.buffer()->data, nullptr);
  }
  EXPECT_THAT(ForeignModule::live, testing::IsEmpty());
}

TEST(CharString, BecomesEmptyWhenAppendingRunsOutOfMemory) {
  ForeignModule::reset();
  {
    CharString text = ForeignModule::makeText("ab");
    ForeignModule::failing = true;
    text.append("cd");
    EXPECT_STREQ(text.text(), "");
    EXPECT_EQ(text.buffer()->data, nullptr);
  }
  EXPECT_THAT(ForeignModule::live, testing::IsEmpty());
}

TEST(CharString, CanBeFilledAgainAfterRunningOutOfMemory) {
  ForeignModule::reset();
  {
    CharString text = ForeignModule::makeText("ab");
    ForeignModule::failing = true;
    text.assign("abcdef");
    ForeignModule::failing = false;
    text.assign("xyz");
    EXPECT_STREQ(text.text(), "xyz");
  }
  EXPECT_THAT(ForeignModule::live, testing::IsEmpty());
}

TEST(CharString, ABufferOfSizeZeroHoldsNoData) {
  CharString text = CharString::withSize(0);
  ASSERT_NE(text.buffer(), nullptr);
  EXPECT_EQ(text.data(), nullptr);
  EXPECT_EQ(text.buffer()->refCount.load(), 1U);
  EXPECT_STREQ(text.text(), "");
}

TEST(CharString, ABufferOfANegativeSizeHoldsNoData) {
  EXPECT_EQ(CharString::withSize(-1).data(), nullptr);
}

TEST(CharString, ABufferMadeHereCarriesTheLibrarysFunctions) {
  CharString text = CharString::withSize(4);
  EXPECT_EQ(text.buffer()->reallocFn, &QUtils::qrealloc);
  EXPECT_EQ(text.buffer()->freeFn, &QUtils::qfree);
  std::memcpy(text.data(), "abc", 4);
  EXPECT_STREQ(text.text(), "abc");
}

TEST(CharString, UnsharingGivesItARecordOfItsOwn) {
  CharString first("abc");
  const CharString second(first);
  first.unshare();
  first.data()[0] = 'x';
  EXPECT_STREQ(first.text(), "xbc");
  EXPECT_STREQ(second.text(), "abc");
}

TEST(CharString, UnsharingARecordWithoutDataGivesItAnEmptyText) {
  ForeignModule::reset();
  {
    CharString text = ForeignModule::makeText("ab");
    ForeignModule::failing = true;
    text.assign("abcdef");
    ForeignModule::failing = false;
    text.unshare();
    ASSERT_NE(text.data(), nullptr);
    EXPECT_EQ(text.data()[0], '\0');
  }
  EXPECT_THAT(ForeignModule::live, testing::IsEmpty());
}

TEST(CharString, SharersMayBeCopiedAndReleasedOnDifferentThreads) {
  const CharString text("shared");
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([copy = text] {
      for (int round = 0; round < 10000; ++round) {
        CharString another(copy);
        another.append("!");
        if (another.length() != 7) std::abort();
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  threads.clear();
  EXPECT_EQ(text.buffer()->refCount.load(), 1U);
}

TEST(BoundedCopy, CopiesWhatFitsAndTerminates) {
  char buffer[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(boundedCopy(buffer, "abcdef", 4), 4);
  EXPECT_STREQ(buffer, "abc");
}

TEST(BoundedCopy, StopsAtTheEndOfTheSource) {
  char buffer[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(boundedCopy(buffer, "ab", 8), 3);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(buffer[3], 'x');
  EXPECT_EQ(boundedCopy(buffer, "", 8), 1);
  EXPECT_EQ(std::string(buffer, 3), std::string("\0b\0", 3));
}

TEST(BoundedCopy, OfATextThatJustFitsCopiesAllOfIt) {
  char buffer[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(boundedCopy(buffer, "abc", 4), 4);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(boundedCopy(buffer, "abc", 3), 3);
  EXPECT_STREQ(buffer, "ab");
}

TEST(BoundedCopy, OfOneByteOnlyTerminates) {
  char buffer[2] = {'x', 'x'};
  EXPECT_EQ(boundedCopy(buffer, "ab", 1), 1);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], 'x');
}

TEST(BoundedCopy, BelowOneByteCopiesNothing) {
  char buffer[1] = {'x'};
  EXPECT_EQ(boundedCopy(buffer, "ab", 0), 0);
  EXPECT_EQ(boundedCopy(buffer, "ab", -1), 0);
  EXPECT_EQ(buffer[0], 'x');
}

}  // namespace
