// Tests a file in the target directory that cannot be replaced.
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "support/no_access.h"
#include "support/system_text.h"
#include "system_fixture.h"

namespace {

using UnwritableTarget = SystemTest;

TEST_F(UnwritableTarget, IsReported) {
  writeFile(target("a"), "old");
  publish("new", R"([{"path":"a"}])");
  server_.serve("/lib/a", "a");
  {
    const NoAccess kept({std::filesystem::u8path(target("a"))});
    EXPECT_LT(run(), 0);
    const std::string code = std::to_string(kept.code());
    EXPECT_EQ(callback_.errors(),
              std::vector<std::string>{"[DownloaderImpl::saveFile] -1: Could not create file "
                                       "\"a\" | [PFileStream::Create] " +
                                       code + ": (" + code + ") " +
                                       systemText(kept.code(), "Access is denied.\r\n")});
  }
  EXPECT_EQ(readTree(target_), (std::map<std::string, std::string>{{"a", "old"}}));
}

}  // namespace
