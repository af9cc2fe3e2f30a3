// Tests how a plan reads.
#include "mtlsync/plan_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mtlsync {
namespace {

using Kind = mtlhost::FileChange::Kind;
using testing::ElementsAre;

TEST(PlanLines, AreOneAFileAndThenTheTotals) {
  mtlhost::Plan plan;
  plan.files = {{Kind::kFetched, "a.tx", 1500},
                {Kind::kCopied, "b.tx", 3, "old.tx"},
                {Kind::kRemoved, "c.tx", 1},
                {Kind::kWithdrawn, "d.tx", 2},
                {Kind::kSkipped, "e.tx", std::nullopt, "", "its place is taken by a link"}};
  plan.fetched = {1, 1500};
  plan.copied = {1, 3};
  plan.removed = {1, 1};
  plan.withdrawn = {2, 2};
  plan.unchanged = {70, 5000};
  plan.spaceNeeded = 1503;
  plan.spaceAvailable = 2000000;
  EXPECT_THAT(
      planLines(plan),
      ElementsAre("fetch   a.tx (1.5 kB)", "copy    b.tx, from old.tx (3 bytes)",
                  "remove  c.tx (1 byte)", "leave   d.tx: the library no longer has it (2 bytes)",
                  "skip    e.tx: its place is taken by a link", "To fetch: 1 file, 1.5 kB.",
                  "To copy: 1 file, 3 bytes.", "To remove: 1 file, 1 byte.",
                  "No longer of the library: 2 files, 2 bytes.", "Unchanged: 70 files, 5.0 kB.",
                  "Room: 1.5 kB needed, 2.0 MB free."));
}

TEST(PlanLines, PrintHostileNamesHarmlessly) {
  mtlhost::Plan plan;
  plan.files = {{Kind::kFetched, "\x1B[2J", 1}};
  EXPECT_EQ(planLines(plan)[0], "fetch   \\x1B[2J (1 byte)");
}

}  // namespace
}  // namespace mtlsync
