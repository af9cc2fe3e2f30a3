// Comparing a local copy with a list, in this process.
#include "mtlsync/comparison.h"

#include <gmock/gmock.h>

#include "repair_fixture.h"
#include "support/no_access.h"

namespace {

namespace fs = std::filesystem;
using mtlsync::Difference;
using testing::ElementsAre;
using Kind = Difference::Kind;

/// What is found, "NAME TEXT" each.
class CompareCopyTest : public RemoveDamagedTest {
 protected:
  bool compare(const std::vector<library_list::ListedFile>& files) {
    return mtlsync::compareCopy(options_, files, observer_, [this](const Difference& difference) {
      kinds_.push_back(difference.kind);
      texts_.push_back(difference.file.name + ' ' + difference.text);
      return kinds_.size() < most_;
    });
  }

  std::size_t most_ = 100;
  std::vector<Kind> kinds_;
  std::vector<std::string> texts_;
};

TEST_F(CompareCopyTest, GoesOnBehindAFileThatItCannotRead) {
  writeFile(copy("closed/unread"), "abc");
  const NoAccess none({fs::u8path(copy("closed/unread"))});
  EXPECT_TRUE(compare({{"closed/unread", 3, "closed/unread", kDigestOfAbc}, {"gone", 3}}));
  EXPECT_THAT(kinds_, ElementsAre(Kind::kUnreadable, Kind::kMissing));
  EXPECT_THAT(texts_,
              ElementsAre("closed/unread cannot be read: Permission denied", "gone is missing"));
}

TEST_F(CompareCopyTest, EndsWhereItIsTold) {
  most_ = 1;
  EXPECT_FALSE(compare({{"gone", 3}, {"gone too", 3}}));
  EXPECT_THAT(texts_, ElementsAre("gone is missing"));
}

TEST_F(CompareCopyTest, ComparesNothingThatIsNotListed) {
  writeFile(copy("a"), "x");
  writeFile(copy("unlisted"), "x");
  EXPECT_TRUE(compare({{"a", std::nullopt}}));
  EXPECT_TRUE(kinds_.empty());
}

}  // namespace
