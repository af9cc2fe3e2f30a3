// Tests texts and their builder without memory: each allocation of each operation fails once.
#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <utility>

#include "mtllib/char_string.h"
#include "qutils/text_builder.h"
#include "support/counting_allocator.h"

namespace {

using QUtils::CharString;
using QUtils::TextBuilder;

// Expects that `change` turns "old text" into `expected`, that it makes `allocations`
// blocks, and that the text is empty but usable when one of them fails.
template <typename Change>
void expectEmptyOnFailure(const char* expected, int allocations, Change change) {
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    CharString text("old text");
    failing.arm();
    change(text);
    failing.disarm();
    EXPECT_STREQ(text.text(), failing.happened() ? "" : expected);
    text.append("usable");
    EXPECT_STREQ(text.text(),
                 ((failing.happened() ? "" : expected) + std::string("usable")).c_str());
  });
  EXPECT_EQ(failures, allocations);
}

TEST(CharStringMemory, ChangesInPlaceTakeOneBlock) {
  expectEmptyOnFailure("new", 1, [](CharString& text) { text.assign("new"); });
  expectEmptyOnFailure("new", 1, [](CharString& text) { text.assign("newer", 3); });
  expectEmptyOnFailure("old text and more", 1, [](CharString& text) { text.append(" and more"); });
  expectEmptyOnFailure("old text", 1, [](CharString& text) { text.unshare(); });
}

TEST(CharStringMemory, ChangesByItsOwnTextTakeARecordOfTheirOwn) {
  expectEmptyOnFailure("text", 2,
                       [](CharString& text) { text.assign(std::strstr(text.text(), "text")); });
  expectEmptyOnFailure("old texttext", 2,
                       [](CharString& text) { text.append(std::strstr(text.text(), "text")); });
}

TEST(CharStringMemory, ChangesThatNeedNoneCannotFail) {
  expectEmptyOnFailure("old text", 0, [](CharString& text) { text.assign(text.text()); });
  expectEmptyOnFailure("old text", 0, [](CharString& text) { text.append(""); });
  expectEmptyOnFailure("", 0, [](CharString& text) { text.assign(nullptr); });
  expectEmptyOnFailure("", 0, [](CharString& text) { text.assign("none", 0); });
  expectEmptyOnFailure("", 0, [](CharString& text) { text.release(); });
  expectEmptyOnFailure("old text", 0, [](CharString& text) {
    const CharString copy(text);
    CharString moved(std::move(text));
    text = copy;
    text = std::move(moved);
    EXPECT_STREQ(text.text(), copy.text());
  });
}

// The same for a text whose record another one holds too, and which must keep it.
template <typename Change>
void expectSharerUntouched(const char* expected, int allocations, Change change) {
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    const CharString sharer("shared");
    CharString text(sharer);
    failing.arm();
    change(text);
    failing.disarm();
    EXPECT_STREQ(text.text(), failing.happened() ? "" : expected);
    EXPECT_STREQ(sharer.text(), "shared");
    EXPECT_EQ(sharer.buffer()->refCount.load(), 1U);
  });
  EXPECT_EQ(failures, allocations);
}

TEST(CharStringMemory, ChangesOfASharedTextTakeANewRecord) {
  expectSharerUntouched("new", 2, [](CharString& text) { text.assign("new"); });
  expectSharerUntouched("ne", 2, [](CharString& text) { text.assign("new", 2); });
  expectSharerUntouched("shared!", 2, [](CharString& text) { text.append("!"); });
  expectSharerUntouched("shared", 2, [](CharString& text) { text.unshare(); });
}

TEST(CharStringMemory, ConcatenationLeavesItsOperandsAlone) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    const CharString left("left ");
    const CharString right("right");
    failing.arm();
    const CharString both = left + right;
    failing.disarm();
    EXPECT_STREQ(both.text(), failing.happened() ? "" : "left right");
    EXPECT_STREQ(left.text(), "left ");
    EXPECT_STREQ(right.text(), "right");
    EXPECT_EQ(left.buffer()->refCount.load(), 1U);
  });
  EXPECT_EQ(failures, 2);
}

TEST(CharStringMemory, MakingOneTakesARecordAndItsData) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    failing.arm();
    const CharString text("text");
    failing.disarm();
    EXPECT_STREQ(text.text(), failing.happened() ? "" : "text");
  });
  EXPECT_EQ(failures, 2);
}

TEST(CharStringMemory, ARecordForSomeBytesMayComeWithoutThem) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    failing.arm();
    CharString text = CharString::withSize(8);
    failing.disarm();
    EXPECT_EQ(text.data() == nullptr, failing.happened());
    EXPECT_STREQ(text.text(), "");
  });
  EXPECT_EQ(failures, 2);
}

TEST(TextBuilderMemory, DropsThePieceThatFindsNone) {
  std::string texts;
  texts.reserve(200);
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    TextBuilder builder(16, 0);
    failing.arm();
    builder.append("first");
    builder.appendInteger(-12, 10);
    builder.append(" beyond sixteen");
    failing.disarm();
    EXPECT_EQ(builder.length(), std::strlen(builder.text()));
    texts.append("<").append(builder.text()).append(">");
  });
  EXPECT_EQ(failures, 2);
  EXPECT_EQ(texts, "<-12 beyond sixteen><first-12><first-12 beyond sixteen>");
}

TEST(TextBuilderMemory, IsEmptyAfterAReleaseThatFindsNone) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    TextBuilder builder;
    builder.append("text");
    failing.arm();
    const CharString text = builder.releaseText();
    failing.disarm();
    EXPECT_STREQ(text.text(), failing.happened() ? "" : "text");
    EXPECT_EQ(builder.length(), 0U);
    EXPECT_EQ(builder.capacity(), 0U);
  });
  EXPECT_EQ(failures, 2);
}

TEST(TextBuilderMemory, StaysInTheCallersBufferWhenThereIsNoOther) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    char buffer[8];
    TextBuilder builder(buffer, sizeof(buffer), false);
    builder.append("abc");
    failing.arm();
    builder.append("longer than that");
    failing.disarm();
    EXPECT_STREQ(builder.text(), failing.happened() ? "abc" : "abclonger than that");
    EXPECT_EQ(builder.text() == buffer, failing.happened());
  });
  EXPECT_EQ(failures, 1);
}

}  // namespace
