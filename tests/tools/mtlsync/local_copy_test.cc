// Names of the local copy.
#include "mtlsync/local_copy.h"

#include <gtest/gtest.h>

namespace mtlsync {
namespace {

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
