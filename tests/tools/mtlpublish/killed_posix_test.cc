// What is left when publishing is killed. Under Wine, a program that is killed while it starts
// never closes its output.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mtlpublish/verify.h"
#include "support/child_process.h"
#include "support/temp_dir.h"

namespace {

using testing::EndsWith;
using testing::IsEmpty;

TEST(PublishOrder, LeavesALibraryWhenItIsKilledAtAnyMoment) {
  const TempDir dir;
  const std::vector<std::string> build{MTLPUBLISH, "build", "-q", dir / ""};
  writeFile(dir / "a", "1");
  ASSERT_EQ(runProcess(build).exitCode, 0);
  for (int round = 1; round < 30; ++round) {
    const std::string id = readFile(dir / "id.txt");
    const std::string list = readFile(dir / "filelist.json");
    writeFile(dir / "a", std::string(static_cast<std::size_t>(round) + 1, '1'));
    {
      const ChildProcess killed(build);
      // A little later each time; its destructor kills.
      for (int i = 0; i < round * 10; ++i)
        readFile(dir / "filelist.json");
    }
    EXPECT_THAT(readFile(dir / "filelist.json"), EndsWith("}\n]\n")) << "whole";
    if (readFile(dir / "id.txt") != id) {
      EXPECT_NE(readFile(dir / "filelist.json"), list) << "a new id beside the old list";
    }
    ASSERT_EQ(runProcess(build).exitCode, 0);
    EXPECT_THAT(mtlpublish::verifyFolder(dir.path(), {}).problems, IsEmpty());
  }
}

}  // namespace
