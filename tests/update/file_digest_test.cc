// Tests digests of whole files.
#include "update/file_digest.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <system_error>

#include "support/temp_dir.h"

namespace {

TEST(FileDigest, IsOfManyPieces) {
  const TempDir dir;
  writeFile(dir / "million", std::string(1'000'000, 'a'));
  mtlupdate::FileDigest digest;
  EXPECT_FALSE(mtlupdate::digestFile(dir.path() / "million", digest));
  EXPECT_EQ(digest.size, 1'000'000U);
  EXPECT_EQ(mtlupdate::hexText(digest.sha256),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(FileDigest, EndsWhenToldTo) {
  const TempDir dir;
  writeFile(dir / "million", std::string(1'000'000, 'a'));
  mtlupdate::FileDigest digest;
  std::uint64_t told = 0;
  EXPECT_EQ(mtlupdate::digestFile(dir.path() / "million", digest,
                                  [&told](std::uint64_t bytes) {
                                    told = bytes;
                                    return bytes < 300'000;
                                  }),
            std::errc::operation_canceled);
  EXPECT_GE(told, 300'000U);
  EXPECT_LT(told, 1'000'000U);
  EXPECT_FALSE(mtlupdate::digestFile(dir.path() / "million", digest, [&told](std::uint64_t bytes) {
    told = bytes;
    return true;
  }));
  EXPECT_EQ(told, 1'000'000U);
}

TEST(FileDigest, SaysThatAFileHasGone) {
  const TempDir dir;
  mtlupdate::FileDigest digest;
  EXPECT_EQ(mtlupdate::digestFile(dir.path() / "gone", digest),
            std::errc::no_such_file_or_directory);
}

}  // namespace
