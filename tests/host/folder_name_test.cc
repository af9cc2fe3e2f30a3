// Tests names of folders above the current one.
#include "mtlhost/folder_name.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace mtlhost {
namespace {

TEST(FolderName, StaysWhereItDoesNotClimb) {
  for (const char* folder : {"copy", "some dir/copy", "./copy", "/data/copy", "a/../copy", "."})
    EXPECT_EQ(withoutClimbing(folder), folder);
}

TEST(FolderName, IsAbsoluteWhereItClimbs) {
  namespace fs = std::filesystem;
  const fs::path parent = fs::current_path().parent_path();
  EXPECT_EQ(withoutClimbing("../copy"), (parent / "copy").generic_u8string());
  EXPECT_EQ(withoutClimbing("a/../../copy"), (parent / "copy").generic_u8string());
}

}  // namespace
}  // namespace mtlhost
