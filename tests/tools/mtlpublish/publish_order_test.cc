// Tests what readers see while a library is published anew, and after that has failed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>
#include <vector>

#include "mtlpublish/publisher.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

/// The number of the build whose list this is: there is one file, of so many bytes.
std::size_t buildOf(const std::string& list) {
  const std::string mark = "\"size\":";
  const std::size_t at = list.find(mark);
  return at == list.npos ? 0 : std::stoul(list.substr(at + mark.size()));
}

/// A file cannot take the place of a folder that appears after the files were looked for.
mtlpublish::PublishResult publishWithoutRoomFor(const std::string& name, const TempDir& dir) {
  mtlpublish::PublishOptions options;
  options.onProgress = [&](const mtlpublish::WorkProgress& /*progress*/) {
    fs::remove(dir.path() / name);
    writeFile(dir / (name + "/inner"), "");
  };
  return mtlpublish::publish(dir.path(), options);
}

TEST(PublishOrder, ShowsNoNewIdBesideAnOldList) {
  constexpr std::size_t kBuilds = 60;
  const TempDir dir;
  writeFile(dir / "a", "1");
  EXPECT_TRUE(mtlpublish::publish(dir.path(), {}).problems.empty());
  std::map<std::string, std::size_t> builds{{readFile(dir / "id.txt"), 1}};
  std::atomic<bool> done{false};
  struct Sight {
    std::string id;
    std::size_t list;
  };
  std::vector<Sight> sights;
  std::thread reader([&] {
    while (!done) {
      // As a client does.
      std::string id = readFile(dir / "id.txt");
      const std::string list = readFile(dir / "filelist.json");
      // Windows has moments in which a file that is being replaced cannot be opened.
      if (!id.empty() && !list.empty()) sights.push_back({std::move(id), buildOf(list)});
    }
  });
  for (std::size_t i = 2; i <= kBuilds; ++i) {
    writeFile(dir / "a", std::string(i, '1'));
    const auto result = mtlpublish::publish(dir.path(), {});
    EXPECT_TRUE(result.problems.empty());
    builds[readFile(dir / "id.txt")] = i;
  }
  done = true;
  reader.join();
  for (const Sight& sight : sights) {
    ASSERT_EQ(builds.count(sight.id), 1U) << "half an id: " << sight.id;
    ASSERT_GE(sight.list, builds[sight.id]);
  }
}

TEST(PublishOrder, LeavesTheOldIdWhenTheListCannotBeWritten) {
  const TempDir dir;
  writeFile(dir / "a", "1");
  EXPECT_TRUE(mtlpublish::publish(dir.path(), {}).problems.empty());
  const std::string stamp = readFile(dir / "id.txt");
  writeFile(dir / "a", "12");
  EXPECT_THAT(publishWithoutRoomFor("filelist.json", dir).problems,
              ElementsAre(StartsWith("filelist.json: cannot be written: ")));
  EXPECT_EQ(readFile(dir / "id.txt"), stamp);
}

TEST(PublishOrder, PutsTheOldListBackWhenTheIdCannotBeWritten) {
  const TempDir dir;
  writeFile(dir / "a", "1");
  mtlpublish::publish(dir.path(), {});
  writeFile(dir / "a", "12");
  EXPECT_THAT(publishWithoutRoomFor("id.txt", dir).problems,
              ElementsAre(StartsWith("id.txt: cannot be written: ")));
  EXPECT_EQ(buildOf(readFile(dir / "filelist.json")), 1U);
}

TEST(PublishOrder, NeedsNoCache) {
  const TempDir dir;
  writeFile(dir / "a", "1");
  const auto result = publishWithoutRoomFor(".mtlpublish-cache", dir);
  EXPECT_THAT(result.problems, IsEmpty());
  EXPECT_THAT(result.warnings,
              ElementsAre(AllOf(StartsWith(".mtlpublish-cache: cannot be written: "),
                                EndsWith("; the next build reads every file again"))));
  EXPECT_THAT(readFile(dir / "id.txt"), StartsWith(result.id + "\n"));
}

}  // namespace
