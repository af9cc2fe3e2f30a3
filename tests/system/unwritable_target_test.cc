// A target directory that the user may not write. On Windows only access control lists
// can make one.
#include <filesystem>
#include <string>
#include <vector>

#include "support/unprivileged.h"
#include "system_fixture.h"

namespace {

using UnwritableTarget = SystemTest;

TEST_F(UnwritableTarget, IsReported) {
  std::filesystem::create_directory(target_);
  publish("new", R"([{"path":"a"}])");
  server_.serve("/lib/a", "a");
  std::filesystem::permissions(
      target_, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  {
    const Unprivileged unprivileged;
    EXPECT_LT(run(), 0);
  }
  EXPECT_EQ(callback_.errors(),
            std::vector<std::string>{"[DownloaderImpl::saveFile] -1: Could not create file "
                                     "\"a\" | [PFileStream::Create] 5: (5) Access is denied.\r\n"});
}

}  // namespace
