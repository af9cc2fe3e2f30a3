// Tests that the list of messages is that of the sources, with something said about each.
#include "documents/messages_document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temp_dir.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kDocument =
    "# Title\n"
    "<!-- warn: begin -->\n"
    "| Text | File | What to do |\n"
    "|---|---|---|\n"
    "| `old` | a.cc | Wait. |\n"
    "| `gone %s` | a.cc | Run. |\n"
    "<!-- warn: end -->\n"
    "The end.\n";

TEST(MessagesDocument, IsUpToDate) {
  const std::string document = readFile(MTLLIB_FOLDER "/docs/messages.md");
  EXPECT_EQ(document, withMessages(document, allMessages(MTLLIB_FOLDER))) << "Run: make documents";
}

TEST(MessagesDocument, SaysSomethingAboutEveryMessage) {
  EXPECT_THAT(unexplainedRows(readFile(MTLLIB_FOLDER "/docs/messages.md")), IsEmpty());
}

TEST(MessagesDocument, KeepsWhatIsSaidAndDropsWhatIsGone) {
  const std::string updated = withMessages(
      kDocument, {{"warn", "new", {"Tag"}, {"-1"}, {"b.cc"}}, {"warn", "old", {}, {}, {"c.cc"}}});
  EXPECT_EQ(updated,
            "# Title\n"
            "<!-- warn: begin -->\n"
            "| Text | File | What to do |\n"
            "|---|---|---|\n"
            "| `new` | `Tag` | -1 | b.cc |  |\n"
            "| `old` | c.cc | Wait. |\n"
            "<!-- warn: end -->\n"
            "The end.\n");
  EXPECT_THAT(unexplainedRows(updated), ElementsAre("| `new` | "));
}

TEST(MessagesDocument, NeedsAPlaceForEveryWayOfReporting) {
  EXPECT_EQ(withMessages(kDocument, {{"shout", "new", {}, {}, {"a.cc"}}}), "");
}

}  // namespace
