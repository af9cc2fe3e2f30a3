// Names of the local copy.
#include "mtlsync/local_copy.h"

#include <gtest/gtest.h>

namespace mtlsync {
namespace {

TEST(UsableFolder, IsTheOneThatWasGivenWhereItCanBe) {
  for (const char* folder : {"copy", "some dir/copy", "./copy", "/data/copy", "a/../copy", "."})
    EXPECT_EQ(usableFolder(folder), folder);
}

TEST(UsableFolder, IsAbsoluteWhereItClimbs) {
  namespace fs = std::filesystem;
  const fs::path parent = fs::current_path().parent_path();
  EXPECT_EQ(usableFolder("../copy"), (parent / "copy").generic_u8string());
  EXPECT_EQ(usableFolder("a/../../copy"), (parent / "copy").generic_u8string());
}

TEST(StampFile, LiesBelowTheSubPath) {
  Options options;
  options.directory = "copy";
  EXPECT_EQ(stampFile(options).name, "id.txt");
  options.subPath = "beta/x";
  EXPECT_EQ(stampFile(options).name, "beta/x/id.txt");
  EXPECT_EQ(stampFile(options).path, std::filesystem::u8path("copy/beta/x/id.txt"));
}

}  // namespace
}  // namespace mtlsync
