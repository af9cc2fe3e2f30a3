// Tests error chains without memory, and that they leave none behind.
#include <gmock/gmock.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

#include "plugin/error_chain.h"
#include "support/counting_allocator.h"

namespace {

using QUtils::CharString;
using testing::ElementsAre;
using testing::IsEmpty;

// "[A::b] -1: effect | 3"
void makeChain(ErrorChain& chain) {
  setError(chain, nullptr, 3, nullptr);
  pushError(chain, "A::b", -1, "%s", "effect");
}

std::string formatted(const ErrorChain& chain) {
  char text[64];
  formatErrorChain(chain, text, sizeof(text));
  return text;
}

TEST(ErrorChainMemory, ARecordIsOneBlock) {
  const AllocationCount count;
  ErrorChain chain;
  setError(chain, "A::b", 3, "%s", "cause");
  EXPECT_EQ(count.outstanding(), 1U);
  pushError(chain, "A::b", -1, "%s", "effect");
  EXPECT_EQ(count.outstanding(), 2U);
  releaseErrorChain(chain);
  EXPECT_EQ(count.outstanding(), 0U);
  EXPECT_THAT(count.sizes(), ElementsAre(552, 552));
}

TEST(ErrorChainMemory, NothingIsLeftAfterTheLastHolder) {
  const AllocationCount count;
  {
    ErrorChain chain;
    makeChain(chain);
    ErrorChain copy(chain);
    ErrorChain assigned = makeError("A::b", 1, "replaced");
    assigned = copy;
    const ErrorChain moved(std::move(copy));
    ErrorChain extended(moved);
    pushError(extended, "C::d", -1, "on a shared chain");
    EXPECT_EQ(count.outstanding(), 3U);
    releaseErrorChain(chain);
    EXPECT_EQ(count.outstanding(), 3U);
  }
  EXPECT_EQ(count.outstanding(), 0U);
}

TEST(ErrorChainMemory, ReadingAChainTakesNone) {
  ErrorChain chain;
  makeChain(chain);
  const AllocationCount count;
  char text[64];
  formatErrorChain(chain, text, sizeof(text));
  EXPECT_EQ(errorCode(chain, 1), 3);
  const ErrorChain copy(chain);
  EXPECT_THAT(count.sizes(), IsEmpty());
}

TEST(ErrorChainMemory, TheTextOfAChainIsGivenBackWithTheText) {
  ErrorChain chain;
  makeChain(chain);
  const AllocationCount count;
  CharString text = errorChainToString(chain);
  EXPECT_EQ(count.outstanding(), 2U);
  text.release();
  EXPECT_EQ(count.outstanding(), 0U);
  text = errorChainToString(ErrorChain());
  text.release();
  EXPECT_EQ(count.outstanding(), 0U);
}

TEST(ErrorChainMemory, SetErrorLosesItsRecordAndLeavesTheHolderAsItWas) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    ErrorChain old = makeError("Old::chain", 5, "kept");
    ErrorChain chain(old);
    failing.arm();
    setError(chain, "A::b", -1, "%s", "lost");
    failing.disarm();
    EXPECT_EQ(chain.head == old.head, failing.happened());
    // The holder's reference, which a record that was stored has overwritten.
    if (!failing.happened()) releaseErrorRecord(old.head);
    EXPECT_EQ(old.head->refCount, failing.happened() ? 2U : 1U);
  });
  EXPECT_EQ(failures, 1);
}

TEST(ErrorChainMemory, PushErrorLosesItsRecordAndLeavesTheCauseToBeReported) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    ErrorChain chain = makeError("Old::chain", 5, "kept");
    const ErrorRecord* const old = chain.head;
    failing.arm();
    pushError(chain, "A::b", -1, "%s", "lost");
    failing.disarm();
    if (failing.happened()) {
      EXPECT_EQ(chain.head, old);
      EXPECT_EQ(formatted(chain), "[Old::chain] 5: kept");
    } else {
      EXPECT_EQ(formatted(chain), "[A::b] -1: lost | [Old::chain] 5: kept");
    }
    EXPECT_EQ(old->refCount, 1U);
  });
  EXPECT_EQ(failures, 1);
}

TEST(ErrorChainMemory, ARecordThatIsLostLeavesANewChainEmpty) {
  const int failures = failEachAllocation([](FailingAllocation& failing) {
    ErrorChain pushed;
    failing.arm();
    const ErrorChain made = makeError("A::b", -1, "%s", "message");
    pushError(pushed, "A::b", -1, "%s", "message");
    failing.disarm();
    if (failing.happened()) {
      EXPECT_NE(made.head == nullptr, pushed.head == nullptr);
    } else {
      EXPECT_EQ(formatted(made), "[A::b] -1: message");
      EXPECT_EQ(formatted(pushed), "[A::b] -1: message");
    }
  });
  EXPECT_EQ(failures, 2);
}

TEST(ErrorChainMemory, TheTextOfAChainIsCutOrEmptyWithoutIt) {
  std::string texts;
  texts.reserve(100);
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    ErrorChain chain;
    makeChain(chain);
    failing.arm();
    const CharString text = errorChainToString(chain);
    failing.disarm();
    texts.append("<").append(text.text()).append(">");
  });
  // The builder's buffer, then the text's record and its data.
  EXPECT_EQ(failures, 3);
  EXPECT_EQ(texts, "<A::b] -1: effect | 3><><><[A::b] -1: effect | 3>");
}

TEST(ErrorChainMemory, TheTextOfAnEmptyChainIsEmptyWithoutIt) {
  const int failures = failEachAllocation([&](FailingAllocation& failing) {
    failing.arm();
    const CharString text = errorChainToString(ErrorChain());
    failing.disarm();
    EXPECT_STREQ(text.text(), failing.happened() ? "" : "No error");
  });
  EXPECT_EQ(failures, 2);
}

}  // namespace
